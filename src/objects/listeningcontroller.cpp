#include "objects/listeningcontroller.h"

#include <QMutex>
#include <QThread>

#include <utility>

#include "events/objectlistener.h"
#include "objects/controllerproxy.h"
#include "runtime/dispatch/execution.h"
#include "runtime/dispatch/nativewindow.h"

namespace {

// Trivially destructible, both: the list is emptied at the module's
// detach, after the library's ordinary statics are gone.
struct AbandonedListener {
    CQObjectListener *listener;
    AbandonedListener *next;
};
QBasicMutex abandonedLock;
AbandonedListener *abandonedListeners = nullptr;

// The object's thread.
void deleteListener(void *listener)
{
    delete static_cast<CQObjectListener *>(listener);
}

// Any thread; takes abandonedLock.
void abandonListener(CQObjectListener *listener)
{
    QMutexLocker locker(&abandonedLock);
    abandonedListeners = new AbandonedListener{ listener, abandonedListeners };
}

} // namespace

HRESULT CvrQtObjectController_ObjectListener::Attach(QObject *object)
{
    if (!proxy) {
        const HRESULT hr = CvrQtObjectControllerProxy::CreateInstance(static_cast<IvrQtObjectController *>(this), &proxy);
        if (FAILED(hr))
            return hr;
    }
    ComPtr<IvrQtEventsNotifierInternal> sink;
    proxy->QueryInterface(IID_IvrQtEventsNotifierInternal, sink.putVoid());
    objectThread = ThreadIdOfQThread(object->thread());
    listener = new CQObjectListener;
    listener->Initialize(object, SubscriptionObjectController, sink.get());
    return S_OK;
}

CvrQtObjectController_ObjectListener::~CvrQtObjectController_ObjectListener()
{
    if (proxy) {
        // From here on a report that reaches the proxy ends there.
        proxy->ClearTarget();
        proxy->Release();
        proxy = nullptr;
    }
    if (listener) {
        // A listener is deleted on its object's thread, never beside a
        // death report running there; where that thread cannot be reached it
        // stays connected, reporting into the cleared proxy, until shut-down.
        if (!objectThread || !ExecuteInThread(objectThread, deleteListener, listener))
            abandonListener(listener);
        listener = nullptr;
    }
}

HRESULT CvrQtObjectController_ObjectListener::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtObjectController_ObjectListener;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtObjectController>(IID_IvrQtObjectController),
                                 Implements<Self, IvrQtEventsNotifierInternal>(IID_IvrQtEventsNotifierInternal) },
                               riid, object);
}

VARIANT_BOOL CvrQtObjectController_ObjectListener::IsObjectAlive()
{
    return listener ? VARIANT_TRUE : VARIANT_FALSE;
}

HRESULT CvrQtObjectController_ObjectListener::OnObjectEvent(QObject *, const GUID *, const GUID *, VARIANT, void *)
{
    return S_OK;
}

HRESULT CvrQtObjectController_ObjectListener::OnObjectDestroyed(QObject *)
{
    if (CQObjectListener *dying = listener) {
        listener = nullptr;
        delete dying;
    }
    return S_OK;
}

void DeleteAbandonedListeners()
{
    AbandonedListener *first = nullptr;
    {
        QMutexLocker locker(&abandonedLock);
        std::swap(first, abandonedListeners);
    }
    while (AbandonedListener *entry = first) {
        first = entry->next;
        delete entry->listener;
        delete entry;
    }
}
