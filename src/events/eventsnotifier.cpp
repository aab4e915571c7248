#include "events/eventsnotifier.h"

#include <new>

#include "events/combolistener.h"
#include "events/itemlisteners.h"
#include "events/tablisteners.h"
#include "events/valuelisteners.h"
#include "runtime/objectprobe.h"

namespace {

template <typename Listener>
CQObjectListener *makeListener()
{
    return new Listener;
}

// The listener each subscription identifier makes, in the order tried.
struct ListenerKind {
    const GUID *subscriptionId;
    CQObjectListener *(*make)();
};
const ListenerKind listenerKinds[] = {
    { &SubscriptionCheckBox, makeListener<CQCheckBoxListener> },
    { &SubscriptionSlider, makeListener<CQAbstractSliderListener> },
    { &SubscriptionScrollBar, makeListener<CQAbstractSliderListener> },
    { &SubscriptionListWidget, makeListener<CQListWidgetListener> },
    { &SubscriptionTableWidget, makeListener<CQTableWidgetListener> },
    { &SubscriptionTreeWidget, makeListener<CQTreeWidgetListener> },
    { &SubscriptionHeaderView, makeListener<CQHeaderViewListener> },
    { &SubscriptionComboBox, makeListener<CQComboBoxListener> },
    { &SubscriptionToolButton, makeListener<CQToolButtonListener> },
    { &SubscriptionTabWidget, makeListener<CQTabWidgetListener> },
    { &SubscriptionSpinBox, makeListener<CQSpinBoxListener> },
    { &SubscriptionDoubleSpinBox, makeListener<CQDoubleSpinBoxListener> },
    { &SubscriptionDateTimeEdit, makeListener<CQDateTimeEditListener> },
    { &SubscriptionCalendarWidget, makeListener<CQCalendarWidgetListener> },
};

// A new listener for the identifier, or null when none answers to it.
CQObjectListener *makeListenerFor(REFGUID subscriptionId)
{
    for (const ListenerKind &kind : listenerKinds) {
        if (*kind.subscriptionId == subscriptionId)
            return kind.make();
    }
    return nullptr;
}

} // namespace

HRESULT CvrQtEventsNotifier::CreateInstance(CvrQtEventsNotifier **notifier)
{
    if (!notifier)
        return E_POINTER;
    *notifier = new (std::nothrow) CvrQtEventsNotifier;
    if (!*notifier)
        return E_OUTOFMEMORY;
    (*notifier)->AddRef();
    return S_OK;
}

CvrQtEventsNotifier::~CvrQtEventsNotifier()
{
    // Listeners left here hold references to this object, so there are
    // none: the owner has ended every subscription.
    if (eventSink)
        eventSink->Release();
}

HRESULT CvrQtEventsNotifier::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtEventsNotifier;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtEventsNotifier>(IID_IvrQtEventsNotifier),
                                 Implements<Self, IvrQtEventsNotifierInternal>(IID_IvrQtEventsNotifierInternal) },
                               riid, object);
}

HRESULT CvrQtEventsNotifier::SetEventSink(IUnknown *sink)
{
    if (!sink)
        return E_FAIL;
    IvrQtEventsSink *asked = nullptr;
    if (FAILED(sink->QueryInterface(IID_IvrQtEventsSink, reinterpret_cast<void **>(&asked))) || !asked)
        return E_FAIL;
    if (asked != eventSink) {
        asked->AddRef();
        if (eventSink)
            eventSink->Release();
        eventSink = asked;
    }
    asked->Release();
    return S_OK;
}

HRESULT CvrQtEventsNotifier::Subscribe(QObject *object, REFGUID subscriptionId)
{
    if (!IsLiveQObject(object))
        return E_INVALIDARG;
    const auto found = listeners.find(object);
    if (found != listeners.end()) {
        if (found->second->SubscriptionId() == subscriptionId)
            return S_OK;
        delete found->second;
        listeners.erase(found);
    }
    CQObjectListener *listener = makeListenerFor(subscriptionId);
    if (!listener)
        return S_OK;
    // Attached from here on: its slots may run.
    listener->Initialize(object, subscriptionId, this);
    listeners.emplace(object, listener);
    return S_OK;
}

HRESULT CvrQtEventsNotifier::UnsubscribeAll()
{
    // The listeners are not disconnected one by one: their connections go
    // with them in Qt's own clean-up.
    for (auto &entry : listeners)
        delete entry.second;
    listeners.clear();
    return S_OK;
}

HRESULT CvrQtEventsNotifier::OnObjectEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId,
                                           VARIANT value, void *extra)
{
    if (!eventSink)
        return E_UNEXPECTED;
    return eventSink->OnEvent(sender, subscriptionId, eventId, value, extra);
}

HRESULT CvrQtEventsNotifier::OnObjectDestroyed(QObject *object)
{
    const auto found = listeners.find(object);
    if (found == listeners.end())
        return S_OK;
    CQObjectListener *dying = found->second;
    listeners.erase(found);
    delete dying;
    return S_OK;
}
