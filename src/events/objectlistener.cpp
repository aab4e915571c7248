#include "events/objectlistener.h"

CQObjectListener::CQObjectListener() : QObject(nullptr) {}

CQObjectListener::~CQObjectListener()
{
    // sender stays as it is: Qt's own clean-up of this object removes the
    // connections, and the watched object may be dying right now.
    Detach(false);
    if (sink) {
        sink->Release();
        sink = nullptr;
    }
}

void CQObjectListener::Initialize(QObject *watched, const GUID &id, IvrQtEventsNotifierInternal *newSink)
{
    if (newSink)
        newSink->AddRef();
    if (sink)
        sink->Release();
    sink = newSink;
    subscriptionId = id;
    sender = watched;
    AdoptThreadOf(watched);
    Attach();
}

void CQObjectListener::AdoptThreadOf(QObject *watched)
{
    if (watched && thread() != watched->thread())
        moveToThread(watched->thread());
}

void CQObjectListener::ConnectSignal(const char *signal, const char *slot)
{
    QObject::connect(sender, signal, this, slot, Qt::DirectConnection);
}

void CQObjectListener::Attach()
{
    if (attached)
        return;
    // The texts carry Qt's signal and slot prefixes in place of the macros,
    // which would add a source location in debug builds.
    ConnectSignal("2destroyed(QObject*)", "1handleDestroyed(QObject*)");
    OnAttached();
    attached = true;
}

void CQObjectListener::Detach(bool disconnectAll)
{
    if (!attached)
        return;
    for (CQObjectListener *child : children)
        delete child;
    children.clear();
    if (sender && disconnectAll) {
        QObject::disconnect(sender, nullptr, this, nullptr);
        sender = nullptr;
    }
    attached = false;
}

void CQObjectListener::OnAttached() {}

void CQObjectListener::Notify(const GUID *eventId, VARIANT value, void *extra)
{
    if (sink)
        sink->OnObjectEvent(sender, &subscriptionId, eventId, value, extra);
}

void CQObjectListener::handleDestroyed(QObject *)
{
    QObject *dying = sender;
    sender = nullptr;
    IvrQtEventsNotifierInternal *target = sink;
    if (!target)
        return;
    // Nothing of this listener may be touched after the call: the sink
    // deletes it from within, and with it the listener's reference.
    target->AddRef();
    target->OnObjectDestroyed(dying);
    target->Release();
}
