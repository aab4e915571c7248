// What the host passes as the instance of ITypeInfo::Invoke: the object the
// call is about, and the host's number for the script context values made
// during the call belong to.
#pragma once

#include "interfaces/values.h"
#include "platform/automation.h"

namespace vrqt::scripting {

// Made, used and released within one call, on the object's thread: its
// count is a plain number. The module asks it for the object on every call, so an
// atomic count would be a measurable part of a property read.
class CallContext final : public IvrQtCallContext, public IvrQtHostContext
{
public:
    // One reference, the caller's.
    static CallContext *create(QObject *object, int hostContext);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG remaining = --references;
        if (remaining == 0)
            delete this;
        return remaining;
    }

    // E_POINTER for a null target.
    HRESULT STDMETHODCALLTYPE GetContextObject(QObject **object) override;
    // Deliberately unused: the slot is kept free.
    HRESULT STDMETHODCALLTYPE Unused() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHostContext(int *hostContext) override;

private:
    CallContext(QObject *object, int hostContext) : object(object), hostContext(hostContext) {}
    ~CallContext() = default;

    QObject *const object;
    const int hostContext;
    ULONG references = 1; // the creator's
};

} // namespace vrqt::scripting
