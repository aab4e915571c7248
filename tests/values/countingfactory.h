// A stand-in for the host's object factory: it records every WrapStorage
// call and gives back wrappers that answer IvrQtValueStorage and free their
// storage by type name on their last Release.
#pragma once

#include <vector>

#include <QString>

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

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **object) override { *object = nullptr; return E_NOINTERFACE; }
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
        *result = new Wrapper(*this, storage, BstrToQString(typeName));
        ++liveStorage;
        return S_OK;
    }

    std::vector<Call> calls;
    int liveStorage = 0;
    HRESULT failWith = S_OK;

private:
    class Wrapper final : public IDispatch, public IvrQtValueStorage
    {
    public:
        Wrapper(CountingFactory &factory, void *storage, QString typeName)
            : factory(factory), storage(storage), typeName(std::move(typeName)) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
        {
            *object = nullptr;
            if (riid == IID_IvrQtValueStorage)
                *object = static_cast<IvrQtValueStorage *>(this);
            else if (riid == IID_IDispatch || riid == IID_IUnknown)
                *object = static_cast<IDispatch *>(this);
            if (!*object)
                return E_NOINTERFACE;
            ++references;
            return S_OK;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
        ULONG STDMETHODCALLTYPE Release() override
        {
            if (--references)
                return references;
            DestroyValue(storage, typeName);
            --factory.liveStorage;
            delete this;
            return 0;
        }
        HRESULT STDMETHODCALLTYPE GetStorage(void **result) override { *result = storage; return S_OK; }
        HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override
        {
            return E_NOTIMPL;
        }

    private:
        CountingFactory &factory;
        void *storage;
        QString typeName;
        ULONG references = 1;
    };
};
