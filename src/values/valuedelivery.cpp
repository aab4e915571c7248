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
        DestroyValue(storage, description.typeName); // nothing reads it again
        return S_OK;
    }
    int hostContext = 0;
    if (host.hostContext) {
        const HRESULT hr = host.hostContext(&hostContext);
        if (FAILED(hr)) {
            DestroyValue(storage, description.typeName);
            return hr;
        }
    }
    const QByteArray latin1 = description.typeName.toLatin1();
    const QString wide = QString::fromLatin1(latin1);
    BSTR typeName = SysAllocStringLen(reinterpret_cast<const OLECHAR *>(wide.utf16()), UINT(wide.size()));
    if (!typeName) {
        DestroyValue(storage, description.typeName);
        return E_OUTOFMEMORY;
    }
    IDispatch *wrapped = nullptr;
    const HRESULT hr = WrapValue(host.factory, storage, hostContext, typeName, &wrapped);
    SysFreeString(typeName);
    // Once offered, the storage is the wrapper's, even when the wrap failed.
    if (!host.factory)
        DestroyValue(storage, description.typeName);
    if (FAILED(hr) && onWrapFailure == WrapFailure::Report)
        return hr;
    result->vt = VT_DISPATCH;
    result->pdispVal = wrapped;
    return S_OK;
}
