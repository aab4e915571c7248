#include "reflection/propertyexposer.h"

#include <QObject>

#include "reflection/classrecord.h"
#include "values/propertyvalues.h"
#include "values/stringbridges.h"

bool CvrQtPropertyExposer::IsHidden()
{
    // Deliberate: the one property left out by name.
    BSTR ownerName = owner->GetName();
    const bool dockTitle = NameEquals(ownerName, u"QDockWidget") && NameEquals(name, u"windowTitle");
    SysFreeString(ownerName);
    return dockTitle || descriptions.front()->vt > 0xFFFE;
}

void CvrQtPropertyExposer::BuildFuncDescs(FUNCDESC ***result)
{
    const int count = GetFuncDescCount();
    if (count == 0) {
        *result = nullptr;
        return;
    }
    FUNCDESC **records = NewFuncDescs(count);
    const VARTYPE vt = descriptions.front()->vt;
    int next = 0;
    for (INVOKEKIND kind : { INVOKE_PROPERTYGET, INVOKE_PROPERTYPUT }) {
        const bool present = kind == INVOKE_PROPERTYGET ? property.isReadable() : property.isWritable();
        if (!present)
            continue;
        FUNCDESC &record = *records[next++];
        record.funckind = FUNC_DISPATCH;
        record.invkind = kind;
        record.elemdescFunc.tdesc.vt = vt;
    }
    *result = records;
}

HRESULT CvrQtPropertyExposer::CheckArguments(DISPPARAMS *params)
{
    return CoerceArguments(params, descriptions.size(), 0);
}

void CvrQtPropertyExposer::Initialize(CvrQtBaseObjectExposer *newOwner)
{
    if (initialized)
        return;
    CvrQtBaseMemberExposer::Initialize(newOwner);
    name = NarrowToBstr(property.name());
    // Plain scalars and Qt value classes only; an enumeration or flag type
    // without a row travels as "long".
    auto *description = new QtTypeDescription;
    DescribePropertyType(property, *description);
    descriptions.push_back(description);
}

int CvrQtPropertyExposer::GetFuncDescCount()
{
    return (property.isReadable() ? 1 : 0) + (property.isWritable() ? 1 : 0);
}

HRESULT CvrQtPropertyExposer::Invoke(IUnknown *context, DISPPARAMS *params, VARIANT *result)
{
    if (result) {
        const HRESULT hr = CheckResultArgument(result);
        return FAILED(hr) ? hr : Read(context, result);
    }
    const HRESULT hr = CheckArguments(params);
    return FAILED(hr) ? hr : Write(context, params);
}

HRESULT CvrQtPropertyExposer::Read(IUnknown *context, VARIANT *result)
{
    QObject *object = nullptr;
    const HRESULT hr = ContextObject(context, property.enclosingMetaObject(), &object);
    if (FAILED(hr))
        return hr;
    return PropertyValueToVariant(property.read(object), *descriptions.front(), Wrapper(context), result);
}

HRESULT CvrQtPropertyExposer::Write(IUnknown *context, DISPPARAMS *params)
{
    const QVariant value = PropertyWriteValue(params->rgvarg[0], *descriptions.front(), property);
    QObject *object = nullptr;
    const HRESULT hr = ContextObject(context, property.enclosingMetaObject(), &object);
    if (FAILED(hr))
        return hr;
    return property.write(object, value) ? S_OK : E_FAIL;
}
