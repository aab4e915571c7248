// The base of every listener: a QObject that watches one object and
// reports to a sink. This class itself reports the watched object's death;
// the listeners of widget classes derive from it.
#pragma once

#include <vector>

#include <QObject>

#include "interfaces/events.h"

class CQObjectListener : public QObject
{
    Q_OBJECT

public:
    // Always made on the heap, without a Qt parent: its life never passes to
    // Qt's parent ownership.
    CQObjectListener();
    ~CQObjectListener() override;

    // The only entry after construction, on the thread that made the
    // listener: takes a reference to sink (the old one is released), keeps
    // subscriptionId and sender, moves to sender's thread (where its slots
    // and event filter run) and attaches.
    void Initialize(QObject *sender, const GUID &subscriptionId, IvrQtEventsNotifierInternal *sink);

    const GUID &SubscriptionId() const { return subscriptionId; }

    // Connects sender's signal to this listener's slot, direct; the result
    // is not looked at.
    virtual void ConnectSignal(const char *signal, const char *slot);
    // Makes the class's connections; the base connects the death report.
    virtual void Attach();
    // Undoes Attach: deletes the child listeners and, with disconnectAll,
    // disconnects from sender and forgets it.
    virtual void Detach(bool disconnectAll);
    // Called by Attach after the death report is connected.
    virtual void OnAttached();
    // Passes one notification to the sink. value is a bitwise copy that
    // the sink may read during the call only.
    virtual void Notify(const GUID *eventId, VARIANT value, void *extra);

protected:
    // Moves this listener to watched's thread, where its slots and event
    // filter run: Qt filters an object's events only through a filter of
    // the object's own thread. The thread that made the listener.
    void AdoptThreadOf(QObject *watched);

    QObject *sender = nullptr; // not owned; null before attaching and after its death
    GUID subscriptionId = GUID_NULL;
    std::vector<CQObjectListener *> children; // owned
    IvrQtEventsNotifierInternal *sink = nullptr; // one reference
    bool attached = false;

private slots:
    // The watched object's thread, inside its destruction. The sink
    // usually deletes this listener within the call.
    void handleDestroyed(QObject *Obj);
};
