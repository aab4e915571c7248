#include "objects/controllerproxy.h"

#include <new>

#include "runtime/errors.h"

HRESULT CvrQtObjectControllerProxy::CreateInstance(IUnknown *target, IvrQtObjectProxy **proxy)
{
    if (!proxy)
        return E_POINTER;
    *proxy = nullptr;
    auto *created = new (std::nothrow) CvrQtObjectControllerProxy;
    if (!created)
        return E_OUTOFMEMORY;
    created->AddRef();
    if (!InitializeCriticalSectionAndSpinCount(&created->lock, 0)) {
        const HRESULT failure = HResultFromSystemError(LONG(GetLastError()));
        created->Release();
        return failure;
    }
    created->lockReady = true;
    created->target = target;
    *proxy = created;
    return S_OK;
}

CvrQtObjectControllerProxy::~CvrQtObjectControllerProxy()
{
    ClearTarget();
    if (lockReady)
        DeleteCriticalSection(&lock);
}

HRESULT CvrQtObjectControllerProxy::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtObjectControllerProxy;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtObjectController>(IID_IvrQtObjectController),
                                 Implements<Self, IvrQtEventsNotifierInternal>(IID_IvrQtEventsNotifierInternal),
                                 Implements<Self, IvrQtObjectProxy>(IID_IvrQtObjectProxy) },
                               riid, object);
}

template <typename Interface>
ComPtr<Interface> CvrQtObjectControllerProxy::targetAs(REFIID iid) const
{
    ComPtr<Interface> result;
    if (target)
        target->QueryInterface(iid, result.putVoid());
    return result;
}

VARIANT_BOOL CvrQtObjectControllerProxy::IsObjectAlive()
{
    const ComPtr<IvrQtObjectController> controller = targetAs<IvrQtObjectController>(IID_IvrQtObjectController);
    return controller ? controller->IsObjectAlive() : VARIANT_FALSE;
}

HRESULT CvrQtObjectControllerProxy::OnObjectEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId,
                                                  VARIANT value, void *extra)
{
    if (const auto sink = targetAs<IvrQtEventsNotifierInternal>(IID_IvrQtEventsNotifierInternal))
        sink->OnObjectEvent(sender, subscriptionId, eventId, value, extra);
    return S_OK;
}

HRESULT CvrQtObjectControllerProxy::OnObjectDestroyed(QObject *object)
{
    if (const auto sink = targetAs<IvrQtEventsNotifierInternal>(IID_IvrQtEventsNotifierInternal))
        sink->OnObjectDestroyed(object);
    return S_OK;
}

void CvrQtObjectControllerProxy::ClearTarget()
{
    target = nullptr;
}
