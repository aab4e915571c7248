// Small COM objects for the value tests: they count references and record
// calls, so that tests can check that every AddRef has its Release.
#pragma once

#include <cstring>

#include "platform/automation.h"

namespace testing_objects {

// The IUnknown part of the test objects: it counts references and answers
// no QueryInterface. The objects live on the test's stack; Release never
// deletes them.
template <typename Interface>
class Counting : public Interface {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **object) override
    {
        if (object)
            *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    ULONG references = 1;
};

// An IDispatch (hence also an IUnknown) that only counts references.
class CountingDispatch : public Counting<IDispatch> {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *count) override
    {
        if (count)
            *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override
    {
        return E_NOTIMPL;
    }
};

// An IRecordInfo for records of `size` bytes whose contents are plain bytes;
// it counts references, clears and copies.
class CountingRecordInfo : public Counting<IRecordInfo> {
public:
    explicit CountingRecordInfo(ULONG recordSize = 16) : size(recordSize) {}

    HRESULT STDMETHODCALLTYPE RecordInit(PVOID) override
    {
        ++inits;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RecordClear(PVOID) override
    {
        ++clears;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RecordCopy(PVOID existing, PVOID newRecord) override
    {
        ++copies;
        if (failCopy)
            return E_FAIL;
        if (existing && newRecord)
            std::memcpy(newRecord, existing, size);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetGuid(GUID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetName(BSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSize(ULONG *recordSize) override
    {
        *recordSize = size;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(ITypeInfo **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetField(PVOID, LPCOLESTR, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFieldNoCopy(PVOID, LPCOLESTR, VARIANT *, PVOID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutField(ULONG, PVOID, LPCOLESTR, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutFieldNoCopy(ULONG, PVOID, LPCOLESTR, VARIANT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFieldNames(ULONG *, BSTR *) override { return E_NOTIMPL; }
    BOOL STDMETHODCALLTYPE IsMatchingType(IRecordInfo *other) override { return other == this; }
    PVOID STDMETHODCALLTYPE RecordCreate() override { return nullptr; }
    HRESULT STDMETHODCALLTYPE RecordCreateCopy(PVOID, PVOID *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RecordDestroy(PVOID) override { return E_NOTIMPL; }

    ULONG size;
    int inits = 0;
    int clears = 0;
    int copies = 0;
    bool failCopy = false;
};

} // namespace testing_objects
