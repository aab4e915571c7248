// The exposer of one class: the methods and properties the class itself
// declares (inherited ones stay with the base class's exposer), kept when
// usable and handed to the type description as a plain record.
#pragma once

#include <vector>

#include "reflection/exposerbase.h"

class CvrQtBaseMemberExposer;

class CvrQtObjectExposer : public CvrQtBaseObjectExposer
{
public:
    explicit CvrQtObjectExposer(const QMetaObject *metaObject) : metaObject(metaObject) {}
    ~CvrQtObjectExposer() override;

    // Deletes the members (the manager's reference stays until destruction).
    void ReleaseReferences() override;
    void Initialize(CvrQtExposerRegistry *registry, IvrQtHostObjectFactory *factory) override;
    ClassRecord *BuildTypeData() override;
    // DISP_E_MEMBERNOTFOUND for an index the class does not have.
    HRESULT InvokeMember(int memberIndex, IUnknown *context, DISPPARAMS *params, VARIANT *result) override;

    const QMetaObject *MetaObject() const { return metaObject; }

private:
    void BuildMembers();
    void Keep(CvrQtBaseMemberExposer *member);

    const QMetaObject *metaObject;
    // Kept methods first, then kept properties; the position is the member index.
    std::vector<CvrQtBaseMemberExposer *> members;
};
