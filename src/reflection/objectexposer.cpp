#include "reflection/objectexposer.h"

#include <QMetaObject>

#include "reflection/classrecord.h"
#include "reflection/exposerregistry.h"
#include "reflection/methodexposer.h"
#include "reflection/propertyexposer.h"
#include "values/stringbridges.h"

CvrQtObjectExposer::~CvrQtObjectExposer()
{
    ReleaseReferences();
}

void CvrQtObjectExposer::ReleaseReferences()
{
    for (CvrQtBaseMemberExposer *member : members)
        delete member;
    members.clear();
}

void CvrQtObjectExposer::Initialize(CvrQtExposerRegistry *newRegistry, IvrQtHostObjectFactory *factory)
{
    if (initialized)
        return;
    CvrQtBaseObjectExposer::Initialize(newRegistry, factory);
    name = NarrowToBstr(metaObject->className());
    BuildMembers();
}

void CvrQtObjectExposer::BuildMembers()
{
    for (int index = metaObject->methodOffset(); index < metaObject->methodCount(); ++index)
        Keep(new CvrQtMethodExposer(metaObject->method(index)));
    for (int index = metaObject->propertyOffset(); index < metaObject->propertyCount(); ++index)
        Keep(new CvrQtPropertyExposer(metaObject->property(index)));
}

void CvrQtObjectExposer::Keep(CvrQtBaseMemberExposer *member)
{
    member->Initialize(this);
    if (member->IsHidden())
        delete member;
    else
        members.push_back(member);
}

ClassRecord *CvrQtObjectExposer::BuildTypeData()
{
    if (!initialized)
        return nullptr;
    auto *record = new ClassRecord;
    record->name = GetName();
    if (const QMetaObject *super = metaObject->superClass())
        record->baseIndices.push_back(registry->GetExposerIndex(super->className()));
    record->memberRecords.resize(members.size());
    for (size_t index = 0; index < members.size(); ++index) {
        MemberRecord &entry = record->memberRecords[index];
        entry.funcCount = members[index]->GetFuncDescCount();
        entry.funcDescs = members[index]->GetFuncDescs();
        entry.memberIndex = int(index);
        entry.name = members[index]->GetName();
    }
    return record;
}

HRESULT CvrQtObjectExposer::InvokeMember(int memberIndex, IUnknown *context, DISPPARAMS *params, VARIANT *result)
{
    if (memberIndex < 0 || size_t(memberIndex) >= members.size())
        return DISP_E_MEMBERNOTFOUND;
    return members[size_t(memberIndex)]->Invoke(context, params, result);
}
