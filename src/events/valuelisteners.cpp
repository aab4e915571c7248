#include "events/valuelisteners.h"

#include <QAbstractItemView>
#include <QCalendarWidget>
#include <QCheckBox>
#include <QScrollBar>

#include "controls/variantdates.h"
#include "events/eventvalues.h"

namespace {

// The viewport of the item view that owns scrollBar (through the scroll
// bar's container), or null for any other scroll bar and for sliders.
QWidget *ViewportOfOwningView(QObject *scrollBar)
{
    if (!qobject_cast<QScrollBar *>(scrollBar))
        return nullptr;
    QObject *container = scrollBar->parent();
    if (!container || !container->isWidgetType())
        return nullptr;
    QObject *owner = container->parent();
    if (!owner || !owner->isWidgetType())
        return nullptr;
    auto *view = qobject_cast<QAbstractItemView *>(owner);
    return view ? view->viewport() : nullptr;
}

// Reports the value fill makes, in place of a VARIANT the report owns, as
// listener's event eventId without extra payload.
template <typename Fill>
void ReportValue(CQObjectListener *listener, const GUID &eventId, Fill &&fill)
{
    RunHandler([&] {
        OwnedVariant value;
        if (fill(value.get()))
            listener->Notify(&eventId, value.bits(), nullptr);
    });
}

} // namespace

// The signal and slot texts are Qt's prefixed forms, as the macros would
// write them without a source location.

void CQCheckBoxListener::Attach()
{
    CQObjectListener::Attach();
    ConnectSignal("2clicked(bool)", "1handleClicked(bool)");
}

void CQCheckBoxListener::handleClicked(bool)
{
    ReportValue(this, EventCheckStateChanged, [this](VARIANT *value) {
        const auto *checkBox = qobject_cast<QCheckBox *>(sender);
        if (!checkBox || !checkBox->isCheckable())
            return false;
        V_VT(value) = VT_I4;
        V_I4(value) = CheckStateCode(checkBox->checkState());
        return true;
    });
}

void CQToolButtonListener::Attach()
{
    CQObjectListener::Attach();
    ConnectSignal("2clicked(bool)", "1handleClicked(bool)");
}

void CQToolButtonListener::handleClicked(bool checked)
{
    ReportValue(this, EventToolButtonToggled, [this, checked](VARIANT *value) {
        const auto *button = qobject_cast<QAbstractButton *>(sender);
        if (!button || !button->isCheckable())
            return false;
        V_VT(value) = VT_BOOL;
        V_BOOL(value) = checked ? VARIANT_TRUE : VARIANT_FALSE;
        return true;
    });
}

void CQCalendarWidgetListener::Attach()
{
    CQObjectListener::Attach();
    ConnectSignal("2selectionChanged(void)", "1handleSelectionChanged(void)");
}

void CQCalendarWidgetListener::handleSelectionChanged()
{
    ReportValue(this, EventCalendarDateSelected, [this](VARIANT *value) {
        const auto *calendar = qobject_cast<QCalendarWidget *>(sender);
        if (calendar)
            MakeDateText(DateToVariantTime(calendar->selectedDate()), value);
        return calendar != nullptr;
    });
}

void CQAbstractSliderListener::Attach()
{
    CQObjectListener::Attach();
    ConnectSignal("2valueChanged(int)", "1handleValueChanged(int)");
}

void CQAbstractSliderListener::handleValueChanged(int newValue)
{
    RunHandler([this, newValue] {
        OwnedVariant value;
        V_VT(value.get()) = VT_I4;
        V_I4(value.get()) = newValue;
        QWidget *viewport = ViewportOfOwningView(sender);
        Notify(&EventSliderValueChanged, value.bits(), viewport ? &viewport : nullptr);
    });
}

void CQSpinBoxListener::Attach()
{
    CQObjectListener::Attach();
    ConnectSignal("2valueChanged(int)", "1handleValueChanged(int)");
}

void CQSpinBoxListener::handleValueChanged(int newValue)
{
    ReportValue(this, EventEditorValueChanged, [newValue](VARIANT *value) {
        V_VT(value) = VT_I4;
        V_I4(value) = newValue;
        return true;
    });
}

void CQDoubleSpinBoxListener::Attach()
{
    CQObjectListener::Attach();
    ConnectSignal("2valueChanged(double)", "1handleValueChanged(double)");
}

void CQDoubleSpinBoxListener::handleValueChanged(double newValue)
{
    ReportValue(this, EventEditorValueChanged, [newValue](VARIANT *value) {
        V_VT(value) = VT_R8;
        V_R8(value) = newValue;
        return true;
    });
}

void CQDateTimeEditListener::Attach()
{
    CQObjectListener::Attach();
    ConnectSignal("2dateTimeChanged(QDateTime)", "1handleDateTimeChanged(QDateTime)");
}

void CQDateTimeEditListener::handleDateTimeChanged(const QDateTime &newValue)
{
    ReportValue(this, EventEditorValueChanged, [&newValue](VARIANT *value) {
        MakeDateText(DateTimeToVariantTime(newValue), value);
        return true;
    });
}
