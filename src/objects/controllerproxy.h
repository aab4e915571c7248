// What a listener reports to on behalf of a listening controller. It
// points back at the controller without a reference, so that a listener
// still connected never keeps the controller alive; the controller clears
// that pointer when it goes.
#pragma once

#include "interfaces/events.h"
#include "interfaces/objects.h"
#include "runtime/comobject.h"

class CvrQtObjectControllerProxy : public ComObjectRoot,
                                   public IvrQtObjectController,
                                   public IvrQtEventsNotifierInternal,
                                   public IvrQtObjectProxy
{
public:
    // A proxy speaking for target (not counted), with one reference for the
    // caller. E_POINTER for a null proxy, E_OUTOFMEMORY, or the failure to
    // make the lock.
    static HRESULT CreateInstance(IUnknown *target, IvrQtObjectProxy **proxy);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // Any thread: asks the target, false without one.
    VARIANT_BOOL STDMETHODCALLTYPE IsObjectAlive() override;
    // The thread the listener runs on: passed to the target, dropped
    // without one.
    HRESULT STDMETHODCALLTYPE OnObjectEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId,
                                            VARIANT value, void *extra) override;
    HRESULT STDMETHODCALLTYPE OnObjectDestroyed(QObject *object) override;
    // Forgets the target; releases nothing.
    void STDMETHODCALLTYPE ClearTarget() override;

private:
    CvrQtObjectControllerProxy() = default;
    ~CvrQtObjectControllerProxy() override;

    // The target's interface with a reference; empty without a target.
    template <typename Interface>
    ComPtr<Interface> targetAs(REFIID iid) const;

    // Made with the proxy and entered by no operation.
    CRITICAL_SECTION lock{};
    bool lockReady = false;
    IUnknown *target = nullptr;
};
