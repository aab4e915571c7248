// Error objects: CreateErrorInfo's object and each thread's current error
// object (SetErrorInfo, GetErrorInfo).
#include <atomic>
#include <mutex>
#include <new>

#include "platform/combase.h"
#include "platform/refcounted.h"
#include "platform/oleauto.h"

namespace {

// One object answering ICreateErrorInfo (to fill it) and IErrorInfo (to
// read it), as Windows' error object does. Any thread may call it; the
// fields are guarded by m_lock.
class ErrorObject final : public IErrorInfo, public ICreateErrorInfo, public ISupportErrorInfo, private platform::RefCounted {
public:
    ~ErrorObject()
    {
        SysFreeString(m_source);
        SysFreeString(m_description);
        SysFreeString(m_helpFile);
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        if (!object)
            return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IErrorInfo)
            *object = static_cast<IErrorInfo *>(this);
        else if (riid == IID_ICreateErrorInfo)
            *object = static_cast<ICreateErrorInfo *>(this);
        else if (riid == IID_ISupportErrorInfo)
            *object = static_cast<ISupportErrorInfo *>(this);
        else {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    PLATFORM_REFCOUNTED_IUNKNOWN

    HRESULT STDMETHODCALLTYPE GetGUID(GUID *guid) override
    {
        if (!guid)
            return E_INVALIDARG;
        std::lock_guard<std::mutex> guard(m_lock);
        *guid = m_guid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR *source) override { return copyOut(m_source, source); }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR *description) override { return copyOut(m_description, description); }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR *helpFile) override { return copyOut(m_helpFile, helpFile); }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD *helpContext) override
    {
        if (!helpContext)
            return E_INVALIDARG;
        std::lock_guard<std::mutex> guard(m_lock);
        *helpContext = m_helpContext;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetGUID(REFGUID guid) override
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_guid = guid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR source) override { return store(m_source, source); }
    HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR description) override { return store(m_description, description); }
    HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR helpFile) override { return store(m_helpFile, helpFile); }
    HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD helpContext) override
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_helpContext = helpContext;
        return S_OK;
    }

    // S_OK when the error was raised by the interface it names, else S_FALSE.
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override
    {
        std::lock_guard<std::mutex> guard(m_lock);
        return riid == m_guid ? S_OK : S_FALSE;
    }

private:
    // Takes m_lock.
    HRESULT copyOut(const BSTR &field, BSTR *out)
    {
        if (!out)
            return E_INVALIDARG;
        std::lock_guard<std::mutex> guard(m_lock);
        *out = field ? SysAllocStringLen(field, SysStringLen(field)) : nullptr;
        return field && !*out ? E_OUTOFMEMORY : S_OK;
    }
    // Takes m_lock. NULL text clears the field.
    HRESULT store(BSTR &field, LPCOLESTR text)
    {
        BSTR copy = text ? SysAllocString(text) : nullptr;
        if (text && !copy)
            return E_OUTOFMEMORY;
        std::lock_guard<std::mutex> guard(m_lock);
        SysFreeString(field);
        field = copy;
        return S_OK;
    }

    std::mutex m_lock;
    GUID m_guid{};
    BSTR m_source = nullptr;
    BSTR m_description = nullptr;
    BSTR m_helpFile = nullptr;
    DWORD m_helpContext = 0;
};

// The thread's current error object; its reference is dropped when the
// thread ends.
struct ThreadErrorSlot {
    IErrorInfo *errorInfo = nullptr;
    ~ThreadErrorSlot()
    {
        if (IErrorInfo *left = errorInfo) {
            errorInfo = nullptr;
            left->Release();
        }
    }
};
thread_local ThreadErrorSlot currentError;

} // namespace

/// CreateErrorInfo: makes an empty error object.
///   errorInfo [out]  receives its ICreateErrorInfo; QueryInterface gives its
///                    IErrorInfo (and ISupportErrorInfo).
/// Returns S_OK; E_INVALIDARG for a null pointer; E_OUTOFMEMORY.
PLATFORM_API HRESULT CreateErrorInfo(ICreateErrorInfo **errorInfo)
{
    if (!errorInfo)
        return E_INVALIDARG;
    auto *object = new (std::nothrow) ErrorObject();
    *errorInfo = object;
    return object ? S_OK : E_OUTOFMEMORY;
}

/// SetErrorInfo: makes an error object the calling thread's current one.
///   reserved  [in]  must be 0.
///   errorInfo [in]  the object (a reference is taken), or NULL to clear.
/// Returns S_OK; E_INVALIDARG for reserved not 0. The object replaced is
/// released.
PLATFORM_API HRESULT SetErrorInfo(ULONG reserved, IErrorInfo *errorInfo)
{
    if (reserved != 0)
        return E_INVALIDARG;
    if (errorInfo)
        errorInfo->AddRef();
    IErrorInfo *replaced = currentError.errorInfo;
    currentError.errorInfo = errorInfo;
    if (replaced)
        replaced->Release(); // last, as its release may set a new error
    return S_OK;
}

/// GetErrorInfo: hands over the calling thread's current error object.
///   reserved  [in]   must be 0.
///   errorInfo [out]  receives the object with the slot's reference; the
///                    thread then has none.
/// Returns S_OK; S_FALSE with NULL when there is none; E_INVALIDARG for
/// reserved not 0 or a null pointer.
PLATFORM_API HRESULT GetErrorInfo(ULONG reserved, IErrorInfo **errorInfo)
{
    if (reserved != 0 || !errorInfo)
        return E_INVALIDARG;
    *errorInfo = currentError.errorInfo;
    currentError.errorInfo = nullptr;
    return *errorInfo ? S_OK : S_FALSE;
}
