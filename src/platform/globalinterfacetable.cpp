// The process's global interface table: interface pointers parked under a
// cookie so that any thread can fetch them (CLSID_StdGlobalInterfaceTable).
#include <mutex>
#include <unordered_map>

#include "platform/combase.h"

namespace {

struct Entry {
    IUnknown *object; // the registered interface, holding the table's reference
};

// Any thread may call it; the entries are guarded by m_lock, and objects are
// only called (QueryInterface, Release) outside it.
class GlobalInterfaceTable final : public IGlobalInterfaceTable {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        if (!object)
            return E_POINTER;
        if (riid != IID_IUnknown && riid != IID_IGlobalInterfaceTable) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        *object = static_cast<IGlobalInterfaceTable *>(this);
        return S_OK;
    }
    // The table lives as long as the process; its count is not kept.
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    // Takes m_lock.
    // Holds object's riid (taken by QueryInterface, so E_NOINTERFACE when it
    // has none) under a new non-zero cookie; E_INVALIDARG for null arguments.
    HRESULT STDMETHODCALLTYPE RegisterInterfaceInGlobal(IUnknown *object, REFIID riid, DWORD *cookie) override
    {
        if (!object || !cookie)
            return E_INVALIDARG;
        *cookie = 0;
        IUnknown *registered = nullptr;
        const HRESULT result = object->QueryInterface(riid, reinterpret_cast<void **>(&registered));
        if (FAILED(result))
            return result;
        if (!registered)
            return E_NOINTERFACE;
        std::lock_guard<std::mutex> guard(m_lock);
        do
            m_lastCookie += cookieStep;
        while (m_lastCookie == 0 || m_entries.count(m_lastCookie));
        m_entries[m_lastCookie] = Entry{ registered };
        *cookie = m_lastCookie;
        return S_OK;
    }

    // Drops the entry and its reference; E_INVALIDARG for an unknown cookie.
    HRESULT STDMETHODCALLTYPE RevokeInterfaceFromGlobal(DWORD cookie) override
    {
        IUnknown *registered = take(cookie, true);
        if (!registered)
            return E_INVALIDARG;
        registered->Release();
        return S_OK;
    }

    // The entry's object asked for riid (what its QueryInterface answers);
    // E_INVALIDARG for an unknown cookie or a null object.
    HRESULT STDMETHODCALLTYPE GetInterfaceFromGlobal(DWORD cookie, REFIID riid, void **object) override
    {
        if (!object)
            return E_INVALIDARG;
        *object = nullptr;
        IUnknown *registered = take(cookie, false);
        if (!registered)
            return E_INVALIDARG;
        const HRESULT result = registered->QueryInterface(riid, object);
        registered->Release();
        return result;
    }

private:
    static constexpr DWORD cookieStep = 0x100;

    // The entry's object with a reference for the caller: the table's own
    // when the entry is removed, a new one otherwise (so that it stays alive
    // while used outside the lock). NULL for an unknown cookie. Takes m_lock.
    IUnknown *take(DWORD cookie, bool remove)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        const auto found = m_entries.find(cookie);
        if (found == m_entries.end())
            return nullptr;
        IUnknown *registered = found->second.object;
        if (remove)
            m_entries.erase(found);
        else
            registered->AddRef();
        return registered;
    }

    std::mutex m_lock;
    std::unordered_map<DWORD, Entry> m_entries;
    DWORD m_lastCookie = 0;
};

} // namespace

namespace platform {

// The one table of the process; never destroyed, as objects released at
// exit may still revoke their entries.
IGlobalInterfaceTable *globalInterfaceTable()
{
    static GlobalInterfaceTable *const table = new GlobalInterfaceTable();
    return table;
}

} // namespace platform
