#include "events/combolistener.h"

#include <QComboBox>
#include <QMouseEvent>
#include <QStyle>
#include <QStyleOptionComboBox>

#include "controls/itemkeys.h"
#include "events/eventvalues.h"
#include "interfaces/controls.h"
#include "controls/helperfactories.h"
#include "runtime/comobject.h"

namespace {

// Whether the popup is on show, asked of the combo box helper as a host
// asks; false when the helper cannot answer.
bool IsPopupShown(QComboBox *combo)
{
    ComPtr<IUnknown> created;
    ComPtr<IvrQtComboBoxHelper> helper;
    if (FAILED(CreateComboBoxHelper(created.put()))
        || FAILED(created->QueryInterface(IID_IvrQtComboBoxHelper, helper.putVoid())))
        return false;
    VARIANT_BOOL visible = VARIANT_FALSE;
    return SUCCEEDED(helper->IsPopupVisible(combo, &visible)) && visible == VARIANT_TRUE;
}

// The arrow's rectangle as the style places it on a combo box described by
// the widget's common state alone. Not mirrored: that correction belongs to
// one version of one other platform.
QRect ArrowRect(const QComboBox *combo)
{
    QStyleOptionComboBox option;
    option.initFrom(combo);
    return combo->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxArrow, combo);
}

} // namespace

void CQComboBoxListener::Attach()
{
    CQObjectWithEventsListener::Attach();
    ConnectSignal("2activated(int)", "1handleActivated(int)");
}

bool CQComboBoxListener::HandleMouseEvent(QObject *, QMouseEvent *event)
{
    if (event->type() != QEvent::MouseButtonPress)
        return false;
    RunHandler([&] {
        auto *combo = qobject_cast<QComboBox *>(sender);
        if (!combo)
            return;
        if (!ArrowRect(combo).contains(EventPosition(event), false) && combo->isEditable())
            return;
        if (!combo->isEnabled() || combo->count() < 1 || event->button() != Qt::LeftButton)
            return;
        const GUID &eventId = IsPopupShown(combo) ? EventComboPopupClosing : EventComboPopupOpening;
        OwnedVariant nothing;
        Notify(&eventId, nothing.bits(), nullptr);
    });
    return false;
}

void CQComboBoxListener::handleActivated(int index)
{
    RunHandler([this, index] {
        const auto *combo = qobject_cast<QComboBox *>(sender);
        if (!combo)
            return;
        OwnedVariant key;
        CComboBoxItems(combo).MakeItemKey(index, key.get());
        Notify(&EventComboItemActivated, key.bits(), nullptr);
    });
}
