// A stand-in for the host's object factory: it records each WrapStorage
// call and gives back wrappers that answer IvrQtValueStorage and free their
// storage by type name on their last Release.
#pragma once

#include <vector>

#include "interfaces/values.h"
#include "values/stringbridges.h"
#include "values/valuestorage.h"

class CountingFactory : public IvrQtHostObjectFactory
{
public:
    struct Call {
        void *storage;
        int hostContext;
        QString typeName;
        VARIANT_BOOL flags[3];
    };

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE WrapStorage(void *storage, int hostContext, BSTR typeName, VARIANT_BOOL flag1,
                                          VARIANT_BOOL flag2, VARIANT_BOOL flag3, IDispatch **result) override
    {
        calls.push_back({ storage, hostContext, BstrToQString(typeName), { flag1, flag2, flag3 } });
        if (FAILED(failWith)) {
            DestroyValue(storage, BstrToQString(typeName));
            return failWith;
        }
        ++liveStorage;
        *result = new Wrapper(*this, storage, BstrToQString(typeName));
        return S_OK;
    }

    std::vector<Call> calls;
    int liveStorage = 0;
    HRESULT failWith = S_OK;

private:
    struct Wrapper final : IDispatch, IvrQtValueStorage {
        Wrapper(CountingFactory &factory, void *storage, QString typeName)
            : factory(factory), storage(storage), typeName(std::move(typeName)) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
        {
            *object = riid == IID_IvrQtValueStorage ? static_cast<IvrQtValueStorage *>(this) : nullptr;
            return *object ? (++references, S_OK) : E_NOINTERFACE;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
        ULONG STDMETHODCALLTYPE Release() override
        {
            if (--references == 0) {
                DestroyValue(storage, typeName);
                --factory.liveStorage;
                delete this;
                return 0;
            }
            return references;
        }
        HRESULT STDMETHODCALLTYPE GetStorage(void **result) override { *result = storage; return S_OK; }
        HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override { return E_NOTIMPL; }

        CountingFactory &factory;
        void *storage;
        QString typeName;
        ULONG references = 1;
    };
};
