// Small COM objects for the component runtime tests: they count references
// and record calls, so that tests can check every AddRef has its Release.
#pragma once

#include <atomic>

#include "counting_objects.h"
#include "platform/automation.h"

namespace com_objects {

// An IUnknown that may also answer one further interface (itself under that
// IID, as if it implemented it); its count is atomic for tests with threads.
// Lives on the test's stack.
class CountingUnknown : public IUnknown {
public:
    explicit CountingUnknown(const IID &extra = IID_NULL) : m_extra(extra) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        if (riid == IID_IUnknown || (m_extra != IID_NULL && riid == m_extra)) {
            *object = this;
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    std::atomic<ULONG> references{ 1 };

private:
    IID m_extra;
};

// A message filter that only counts references.
class CountingMessageFilter : public testing_objects::Counting<IMessageFilter> {
public:
    DWORD STDMETHODCALLTYPE HandleInComingCall(DWORD, HTASK, DWORD, LPINTERFACEINFO) override { return 0; }
    DWORD STDMETHODCALLTYPE RetryRejectedCall(HTASK, DWORD, DWORD) override { return DWORD(-1); }
    DWORD STDMETHODCALLTYPE MessagePending(HTASK, DWORD, DWORD) override { return 2; }
};

} // namespace com_objects
