// The free-threaded marshaler: an aggregatable object whose IMarshal passes
// an object's own pointer between apartments of the process.
#include <atomic>
#include <new>

#include "platform/combase.h"

namespace {

constexpr DWORD contextCrossContext = 4;                 // MSHCTX_CROSSCTX

// What MarshalInterface writes: the flags, the object's pointer (holding a
// reference unless table-weak) and a secret of the process, so that data
// from another process is never taken for a pointer here.
struct MarshalData {
    DWORD flags;
    DWORD padding;
    IUnknown *object;
    GUID processSecret;
};
static_assert(sizeof(MarshalData) == 32, "marshal data layout");

const GUID &processSecret()
{
    static const GUID secret = [] {
        GUID guid{};
        CoCreateGuid(&guid);
        return guid;
    }();
    return secret;
}

bool isInProcess(DWORD destContext)
{
    return destContext == MSHCTX_INPROC || destContext == contextCrossContext;
}

HRESULT readMarshalData(IStream *stream, MarshalData &data)
{
    ULONG read = 0;
    const HRESULT result = stream->Read(&data, sizeof(data), &read);
    if (result != S_OK || read != sizeof(data))
        return STG_E_READFAULT;
    return data.processSecret == processSecret() && data.object ? S_OK : E_UNEXPECTED;
}

class FreeThreadedMarshaler;

// The non-delegating IUnknown the aggregating object holds.
class InnerUnknown final : public IUnknown {
public:
    explicit InnerUnknown(FreeThreadedMarshaler &owner) : m_owner(owner) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

private:
    FreeThreadedMarshaler &m_owner;
};

// IMarshal, whose IUnknown methods go to the controlling object.
class MarshalFace final : public IMarshal {
public:
    explicit MarshalFace(FreeThreadedMarshaler &owner) : m_owner(owner) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID, void *, DWORD destContext, void *, DWORD, CLSID *clsid) override
    {
        if (!clsid)
            return E_POINTER;
        if (!isInProcess(destContext))
            return CO_E_NOT_SUPPORTED;
        *clsid = CLSID_InProcFreeMarshaler;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID, void *, DWORD destContext, void *, DWORD, DWORD *size) override
    {
        if (!size)
            return E_POINTER;
        if (!isInProcess(destContext))
            return CO_E_NOT_SUPPORTED;
        *size = sizeof(MarshalData);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE MarshalInterface(IStream *stream, REFIID riid, void *object, DWORD destContext, void *,
                                               DWORD marshalFlags) override
    {
        if (!isInProcess(destContext))
            return CO_E_NOT_SUPPORTED;
        if (!stream || !object)
            return E_INVALIDARG;
        MarshalData data{ marshalFlags, 0, nullptr, processSecret() };
        const HRESULT found = static_cast<IUnknown *>(object)->QueryInterface(riid, reinterpret_cast<void **>(&data.object));
        if (FAILED(found) || !data.object)
            return E_NOINTERFACE;
        const bool holdsReference = !(marshalFlags & MSHLFLAGS_TABLEWEAK);
        if (!holdsReference)
            data.object->Release();
        const HRESULT written = stream->Write(&data, sizeof(data), nullptr);
        if (FAILED(written) && holdsReference)
            data.object->Release();
        return FAILED(written) ? written : S_OK;
    }
    HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream *stream, REFIID riid, void **object) override
    {
        if (!stream || !object)
            return E_INVALIDARG;
        *object = nullptr;
        MarshalData data{};
        const HRESULT read = readMarshalData(stream, data);
        if (FAILED(read))
            return read;
        const HRESULT result = data.object->QueryInterface(riid, object);
        // Normal marshaling hands over its reference; table data keeps it.
        if (!(data.flags & (MSHLFLAGS_TABLESTRONG | MSHLFLAGS_TABLEWEAK)))
            data.object->Release();
        return result;
    }
    HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream *stream) override
    {
        if (!stream)
            return E_INVALIDARG;
        MarshalData data{};
        const HRESULT read = readMarshalData(stream, data);
        if (FAILED(read))
            return read;
        if (!(data.flags & MSHLFLAGS_TABLEWEAK))
            data.object->Release();
        return S_OK;
    }
    // Nothing to cut: the object has no remote clients here.
    HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD) override { return S_OK; }

private:
    FreeThreadedMarshaler &m_owner;
};

// Any thread may call it; its count is atomic.
class FreeThreadedMarshaler {
public:
    explicit FreeThreadedMarshaler(IUnknown *outer) : m_outer(outer ? outer : &m_inner) {}

    InnerUnknown m_inner{ *this };
    MarshalFace m_marshal{ *this };
    IUnknown *const m_outer;
    std::atomic<ULONG> m_references{ 1 };
};

HRESULT InnerUnknown::QueryInterface(REFIID riid, void **object)
{
    if (!object)
        return E_POINTER;
    if (riid == IID_IUnknown)
        *object = static_cast<IUnknown *>(&m_owner.m_inner);
    else if (riid == IID_IMarshal)
        *object = static_cast<IMarshal *>(&m_owner.m_marshal);
    else {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    static_cast<IUnknown *>(*object)->AddRef();
    return S_OK;
}

ULONG InnerUnknown::AddRef()
{
    return ++m_owner.m_references;
}

ULONG InnerUnknown::Release()
{
    const ULONG remaining = --m_owner.m_references;
    if (remaining == 0)
        delete &m_owner;
    return remaining;
}

HRESULT MarshalFace::QueryInterface(REFIID riid, void **object)
{
    return m_owner.m_outer->QueryInterface(riid, object);
}

ULONG MarshalFace::AddRef()
{
    return m_owner.m_outer->AddRef();
}

ULONG MarshalFace::Release()
{
    return m_owner.m_outer->Release();
}

} // namespace

/// CoCreateFreeThreadedMarshaler: makes a free-threaded marshaler.
///   outer     [in]   the controlling object that aggregates it, or NULL.
///   marshaler [out]  receives the marshaler's own (non-delegating) IUnknown;
///                    its IMarshal's IUnknown methods go to outer.
/// Returns S_OK; E_INVALIDARG for a null marshaler; E_OUTOFMEMORY.
/// In-process marshaling (MSHCTX_INPROC, MSHCTX_CROSSCTX) writes the object's
/// pointer and a reference, as Windows' free-threaded marshaler does; other
/// contexts get CO_E_NOT_SUPPORTED (there is no marshaling between
/// processes here). docs/platform.md describes each IMarshal method.
PLATFORM_API HRESULT CoCreateFreeThreadedMarshaler(IUnknown *outer, IUnknown **marshaler)
{
    if (!marshaler)
        return E_INVALIDARG;
    auto *object = new (std::nothrow) FreeThreadedMarshaler(outer);
    *marshaler = object ? &object->m_inner : nullptr;
    return object ? S_OK : E_OUTOFMEMORY;
}
