#include "values/hostarguments.h"

#include "interfaces/values.h"
#include "runtime/comobject.h"
#include "values/variantdata.h"

namespace {

// The object inside an object argument that CoerceArgument let pass.
IDispatch *ArgumentObject(const VARIANT &value)
{
    if (value.vt == VT_DISPATCH)
        return value.pdispVal;
    if (value.vt == (VT_BYREF | VT_VARIANT) && value.pvarVal && value.pvarVal->vt == VT_DISPATCH)
        return value.pvarVal->pdispVal;
    return nullptr;
}

} // namespace

HRESULT CoerceArgument(VARIANT *value, const QtTypeDescription &description)
{
    if (!value)
        return DISP_E_TYPEMISMATCH;
    if (!description.isObject)
        return VariantChangeType(value, value, VARIANT_ALPHABOOL, description.vt);
    if (value->vt == VT_DISPATCH)
        return S_OK;
    // Deliberate: a reference passes only to a non-null object, whereas a
    // plain VT_DISPATCH passes even when null.
    if (value->vt == (VT_BYREF | VT_VARIANT) && value->pvarVal && value->pvarVal->vt == VT_DISPATCH
        && value->pvarVal->pdispVal)
        return S_OK;
    return DISP_E_TYPEMISMATCH;
}

void *ArgumentDataPointer(const VARIANT &value, const QtTypeDescription &description)
{
    if (!description.isObject)
        return VariantDataPointer(value, description.isReference);
    IDispatch *object = ArgumentObject(value);
    if (!object)
        return nullptr;
    ComPtr<IvrQtValueStorage> storage;
    void *data = nullptr;
    if (SUCCEEDED(object->QueryInterface(IID_IvrQtValueStorage, storage.putVoid())) && storage
        && FAILED(storage->GetStorage(&data)))
        data = nullptr;
    return data;
}
