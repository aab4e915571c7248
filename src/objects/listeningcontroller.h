// The controller that follows its object's death through a listener on
// the object's destroyed signal: the form for the Qt 5 family (Qt
// generation 2). The listener reports to a proxy, not to the controller, so
// that the host's last release destroys the controller however long the
// listener stays connected.
#pragma once

#include "interfaces/events.h"
#include "interfaces/objects.h"
#include "runtime/comobject.h"

class CQObjectListener;

class CvrQtObjectController_ObjectListener : public ComObjectRoot,
                                             public IvrQtObjectController,
                                             public IvrQtEventsNotifierInternal
{
public:
    CvrQtObjectController_ObjectListener() = default;

    // Once, right after construction, on the thread that asks for the
    // controller. Fails only when the proxy cannot be made.
    HRESULT Attach(QObject *object);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // Any thread, no lock.
    VARIANT_BOOL STDMETHODCALLTYPE IsObjectAlive() override;
    // Ignored: a controller follows only the object's death.
    HRESULT STDMETHODCALLTYPE OnObjectEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId,
                                            VARIANT value, void *extra) override;
    // The object's thread, inside its destruction: deletes the listener.
    HRESULT STDMETHODCALLTYPE OnObjectDestroyed(QObject *object) override;

private:
    ~CvrQtObjectController_ObjectListener() override;

    CQObjectListener *listener = nullptr; // owned; non-null exactly while the object lives
    IvrQtObjectProxy *proxy = nullptr; // one reference
    DWORD objectThread = 0; // the object's thread, 0 when not known
};

// Deletes the listeners of controllers that were released while their
// object lived on a thread that could not be reached. Runs at the module's
// shut-down, so that no listener outlives the code it runs.
void DeleteAbandonedListeners();
