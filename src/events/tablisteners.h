// The tab widget's listener and the child listener it keeps on the tab
// bar: a press on an enabled tab reports the tab as chosen, as coming from
// the tab widget.
#pragma once

#include "events/eventslistener.h"

class CQTabWidgetListener : public CQObjectListener
{
    Q_OBJECT

public:
    // Watches the tab bar: the first child that is a QTabBar.
    void OnAttached() override;

    // Reports the tab widget's presses on its tab bar as the tab widget's.
    // It has no meta-object of its own: Qt sees it as CQObjectChildListener.
    class CQTabBarListener : public CQObjectChildListener
    {
    public:
        // The only entry after construction: a null subscriptionId takes
        // the parent's; the parent's sink gets a reference of its own.
        void Initialize(CQObjectListener *parent, QObject *sender, const GUID &subscriptionId);

        // The sender becomes the tab widget.
        void Notify(const GUID *eventId, VARIANT value, void *extra) override;

    protected:
        // The object's thread.
        bool HandleMouseEvent(QObject *watched, QMouseEvent *event) override;

    private:
        CQTabWidgetListener *Parent() const;
    };

private:
    void AddChildListener(QObject *child, const GUID &subscriptionId);
};
