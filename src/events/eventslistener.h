// Listeners that also watch their object's mouse events through an event
// filter, and the child listeners that a listener keeps for parts of its
// object (the tab bar of a tab widget).
#pragma once

#include "events/objectlistener.h"

class QMouseEvent;
class QPoint;

class CQObjectWithEventsListener : public CQObjectListener
{
    Q_OBJECT

public:
    CQObjectWithEventsListener() = default;

    // The base's connections, then this listener as sender's event filter.
    // Deliberately installed at every attach and never removed by Detach:
    // the filter goes only when the listener dies.
    void Attach() override;
    void Detach(bool disconnectAll) override;

    // The object's thread, for each of its events: mouse events go to
    // HandleMouseEvent, whose answer is the filter's.
    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    // The object's thread. True would swallow the event; the listeners
    // never do.
    virtual bool HandleMouseEvent(QObject *watched, QMouseEvent *event);

    // The press or release position in the watched widget's coordinates.
    static QPoint EventPosition(const QMouseEvent *event);

    // Cleared at construction and never set.
    bool filterInstalled = false;
};

class CQObjectChildListener : public CQObjectWithEventsListener
{
    Q_OBJECT

public:
    CQObjectChildListener() = default;

protected:
    CQObjectListener *parentListener = nullptr; // not owned
};
