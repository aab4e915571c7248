// What the host passes as the instance of ITypeInfo::Invoke: the object the
// call is about, and the host's number for the script context values made
// during the call belong to.
#pragma once

#include "host/scripting/refcounted.h"
#include "interfaces/values.h"

namespace vrqt::scripting {

class CallContext final : public IvrQtCallContext, public IvrQtHostContext, public RefCounted<CallContext>
{
public:
    // One reference, the caller's.
    static CallContext *create(QObject *object, int hostContext);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return addReference(); }
    ULONG STDMETHODCALLTYPE Release() override { return releaseReference(); }

    // E_POINTER for a null target.
    HRESULT STDMETHODCALLTYPE GetContextObject(QObject **object) override;
    // Deliberately unused: the slot is kept free.
    HRESULT STDMETHODCALLTYPE Unused() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHostContext(int *hostContext) override;

private:
    friend class RefCounted<CallContext>;
    CallContext(QObject *object, int hostContext) : object(object), hostContext(hostContext) {}
    ~CallContext() = default;

    QObject *const object;
    const int hostContext;
};

} // namespace vrqt::scripting
