#include "values/valuedelivery.h"

#include "values/valuestorage.h"
#include "values/variantdata.h"

HRESULT WrapValue(IvrQtHostObjectFactory *factory, void *storage, int hostContext, BSTR typeName, IDispatch **result)
{
    if (!factory || !result)
        return E_POINTER;
    return factory->WrapStorage(storage, hostContext, typeName, VARIANT_TRUE, VARIANT_TRUE, VARIANT_TRUE, result);
}

HRESULT DeliverStorage(void *storage, const QtTypeDescription &description, const HostWrapper &host, WrapFailure onWrapFailure,
                       VARIANT *result)
{
    if (!description.isObject) {
        result->vt = description.vt;
        if (storage)
            StoreRawInVariant(storage, *result);
        DestroyValue(storage, description.storage); // nothing reads it again
        return S_OK;
    }
    int hostContext = 0;
    IvrQtHostContext *asker = nullptr;
    if (host.context)
        host.context->QueryInterface(IID_IvrQtHostContext, reinterpret_cast<void **>(&asker));
    if (asker) {
        const HRESULT hr = asker->GetHostContext(&hostContext);
        asker->Release();
        if (FAILED(hr)) {
            DestroyValue(storage, description.storage);
            return hr;
        }
    }
    // The name goes to the host as its Latin-1 text, which it already is: it
    // was read from a meta-object as Latin-1.
    BSTR typeName = SysAllocStringLen(reinterpret_cast<const OLECHAR *>(description.typeName.utf16()),
                                      UINT(description.typeName.size()));
    if (!typeName) {
        DestroyValue(storage, description.storage);
        return E_OUTOFMEMORY;
    }
    IDispatch *wrapped = nullptr;
    const HRESULT hr = WrapValue(host.factory, storage, hostContext, typeName, &wrapped);
    SysFreeString(typeName);
    // Once offered, the storage is the wrapper's, even when the wrap failed.
    if (!host.factory)
        DestroyValue(storage, description.storage);
    if (FAILED(hr) && onWrapFailure == WrapFailure::Report)
        return hr;
    result->vt = VT_DISPATCH;
    result->pdispVal = wrapped;
    return S_OK;
}
