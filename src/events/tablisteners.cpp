#include "events/tablisteners.h"

#include <QMouseEvent>
#include <QTabBar>
#include <QTabWidget>

#include "controls/itemkeys.h"
#include "events/eventvalues.h"

void CQTabWidgetListener::OnAttached()
{
    for (QObject *child : sender->children()) {
        if (qobject_cast<QTabBar *>(child)) {
            AddChildListener(child, GUID_NULL);
            return;
        }
    }
}

void CQTabWidgetListener::AddChildListener(QObject *child, const GUID &subscriptionId)
{
    auto *listener = new CQTabBarListener;
    children.push_back(listener);
    listener->Initialize(this, child, subscriptionId);
}

void CQTabWidgetListener::CQTabBarListener::Initialize(CQObjectListener *parent, QObject *watched, const GUID &id)
{
    parentListener = parent;
    const CQTabWidgetListener *tabWidgetListener = Parent();
    subscriptionId = id == GUID_NULL ? tabWidgetListener->subscriptionId : id;
    IvrQtEventsNotifierInternal *parentSink = tabWidgetListener->sink;
    if (parentSink)
        parentSink->AddRef();
    if (sink)
        sink->Release();
    sink = parentSink;
    sender = watched;
    AdoptThreadOf(watched);
    Attach();
}

void CQTabWidgetListener::CQTabBarListener::Notify(const GUID *eventId, VARIANT value, void *extra)
{
    // The sink may delete this listener within the call.
    IvrQtEventsNotifierInternal *target = sink;
    if (!target)
        return;
    target->AddRef();
    const GUID id = subscriptionId;
    target->OnObjectEvent(Parent()->sender, &id, eventId, value, extra);
    target->Release();
}

CQTabWidgetListener *CQTabWidgetListener::CQTabBarListener::Parent() const
{
    // Only a tab widget's listener makes tab bar listeners.
    return static_cast<CQTabWidgetListener *>(parentListener);
}

bool CQTabWidgetListener::CQTabBarListener::HandleMouseEvent(QObject *, QMouseEvent *event)
{
    if (event->type() != QEvent::MouseButtonPress || event->button() != Qt::LeftButton)
        return false;
    RunHandler([&] {
        const auto *tabBar = qobject_cast<QTabBar *>(sender);
        const int index = tabBar ? tabBar->tabAt(EventPosition(event)) : -1;
        if (index == -1)
            return;
        const auto *tabWidget = qobject_cast<QTabWidget *>(tabBar->parentWidget());
        if (!tabWidget || !tabWidget->isTabEnabled(index))
            return;
        OwnedVariant key;
        CTabWidgetItems(tabWidget).MakeItemKey(index, key.get());
        Notify(&EventTabSelected, key.bits(), nullptr);
    });
    return false;
}
