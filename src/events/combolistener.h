// The combo box's listener: the item the user activates, and presses that
// open or close its popup.
#pragma once

#include "events/eventslistener.h"

class CQComboBoxListener : public CQObjectWithEventsListener
{
    Q_OBJECT

public:
    // The event filter first, then the activation.
    void Attach() override;

protected:
    // A left press on an enabled combo box with items reports whether it
    // opens or closes the popup: anywhere on a combo box that is not
    // editable, on the arrow of one that is. The object's thread.
    bool HandleMouseEvent(QObject *watched, QMouseEvent *event) override;

private slots:
    void handleActivated(int index);
};
