#include "events/eventslistener.h"

#include <QMouseEvent>

void CQObjectWithEventsListener::Attach()
{
    CQObjectListener::Attach();
    if (!filterInstalled && sender)
        sender->installEventFilter(this);
}

void CQObjectWithEventsListener::Detach(bool disconnectAll)
{
    QObject *watched = sender;
    CQObjectListener::Detach(disconnectAll);
    if (filterInstalled && watched)
        watched->removeEventFilter(this);
}

bool CQObjectWithEventsListener::eventFilter(QObject *watched, QEvent *event)
{
    if (auto *mouseEvent = dynamic_cast<QMouseEvent *>(event))
        return HandleMouseEvent(watched, mouseEvent);
    return false;
}

bool CQObjectWithEventsListener::HandleMouseEvent(QObject *, QMouseEvent *)
{
    return false;
}

QPoint CQObjectWithEventsListener::EventPosition(const QMouseEvent *event)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return event->position().toPoint();
#else
    return event->pos();
#endif
}
