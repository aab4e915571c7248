#include "controls/spinboxhelpers.h"

#include <QCalendarWidget>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QSpinBox>

#include "controls/helperfactories.h"
#include "controls/variantdates.h"

namespace {

// setValue on the widget's thread (ExecuteForWidget); S_OK also where no
// thread could be reached, as for every change a helper makes.
template <typename SpinBox, typename Value>
HRESULT SetSpinValue(QWidget *widget, Value value)
{
    return WithWidget<SpinBox>(widget, [&](SpinBox *spin) {
        RunForWidget(spin, [&] { spin->setValue(value); });
        return S_OK;
    });
}

// One getter of the widget, on the caller's thread.
template <typename SpinBox, typename Value>
HRESULT ReadSpin(QWidget *widget, Value *result, Value (SpinBox::*getter)() const)
{
    if (!result)
        return E_POINTER;
    return WithWidget<SpinBox>(widget, [&](SpinBox *spin) {
        *result = (spin->*getter)();
        return S_OK;
    });
}

// The virtual stepBy, so that a subclass's own stepping runs. The widget's
// thread (ExecuteForWidget).
HRESULT StepSpinBox(QWidget *widget, int steps)
{
    return WithWidget<QAbstractSpinBox>(widget, [&](QAbstractSpinBox *spin) {
        RunForWidget(spin, [&] { spin->stepBy(steps); });
        return S_OK;
    });
}

// One date-time getter of the edit as variant time, on the caller's thread:
// E_FAIL for an invalid value.
HRESULT ReadDateTime(QWidget *widget, double *result, QDateTime (QDateTimeEdit::*getter)() const)
{
    if (!result)
        return E_POINTER;
    return WithWidget<QDateTimeEdit>(widget, [&](QDateTimeEdit *edit) {
        const QDateTime value = (edit->*getter)();
        if (!value.isValid())
            return E_FAIL;
        // Deliberately S_OK with -1.0 for a value variant time cannot hold.
        *result = DateTimeToVariantTime(value);
        return S_OK;
    });
}

} // namespace

HRESULT CvrQtSpinBoxHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(this,
                               { Implements<CvrQtSpinBoxHelper, IvrQtSpinBoxHelper>(IID_IvrQtSpinBoxHelper),
                                 Implements<CvrQtSpinBoxHelper, IvrQtBaseSpinBoxHelper>(IID_IvrQtBaseSpinBoxHelper) },
                               riid, object);
}

HRESULT CvrQtSpinBoxHelper::SetValue(QWidget *widget, int value)
{
    return SetSpinValue<QSpinBox>(widget, value);
}

HRESULT CvrQtSpinBoxHelper::GetValue(QWidget *widget, int *value)
{
    return ReadSpin(widget, value, &QSpinBox::value);
}

HRESULT CvrQtSpinBoxHelper::GetMaximum(QWidget *widget, int *maximum)
{
    return ReadSpin(widget, maximum, &QSpinBox::maximum);
}

HRESULT CvrQtSpinBoxHelper::GetMinimum(QWidget *widget, int *minimum)
{
    return ReadSpin(widget, minimum, &QSpinBox::minimum);
}

HRESULT CvrQtSpinBoxHelper::StepBy(QWidget *widget, int steps)
{
    return StepSpinBox(widget, steps);
}

HRESULT CvrQtDoubleSpinBoxHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(
        this,
        { Implements<CvrQtDoubleSpinBoxHelper, IvrQtDoubleSpinBoxHelper>(IID_IvrQtDoubleSpinBoxHelper),
          Implements<CvrQtDoubleSpinBoxHelper, IvrQtBaseSpinBoxHelper>(IID_IvrQtBaseSpinBoxHelper) },
        riid, object);
}

HRESULT CvrQtDoubleSpinBoxHelper::SetValue(QWidget *widget, double value)
{
    return SetSpinValue<QDoubleSpinBox>(widget, value);
}

HRESULT CvrQtDoubleSpinBoxHelper::GetValue(QWidget *widget, double *value)
{
    return ReadSpin(widget, value, &QDoubleSpinBox::value);
}

HRESULT CvrQtDoubleSpinBoxHelper::GetMaximum(QWidget *widget, double *maximum)
{
    return ReadSpin(widget, maximum, &QDoubleSpinBox::maximum);
}

HRESULT CvrQtDoubleSpinBoxHelper::GetMinimum(QWidget *widget, double *minimum)
{
    return ReadSpin(widget, minimum, &QDoubleSpinBox::minimum);
}

HRESULT CvrQtDoubleSpinBoxHelper::StepBy(QWidget *widget, int steps)
{
    return StepSpinBox(widget, steps);
}

HRESULT CvrQtDateTimeEditHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(
        this,
        { Implements<CvrQtDateTimeEditHelper, IvrQtDateTimeEditHelper>(IID_IvrQtDateTimeEditHelper),
          Implements<CvrQtDateTimeEditHelper, IvrQtBaseSpinBoxHelper>(IID_IvrQtBaseSpinBoxHelper),
          Implements<CvrQtDateTimeEditHelper, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
        riid, object);
}

HRESULT CvrQtDateTimeEditHelper::SetDateTime(QWidget *widget, double dateTime)
{
    return WithWidget<QDateTimeEdit>(widget, [&](QDateTimeEdit *edit) {
        const QDateTime value = VariantTimeToDateTime(dateTime);
        // Refused before anything runs, so that the edit keeps its value.
        if (!value.isValid())
            return E_INVALIDARG;
        RunForWidget(edit, [&] { edit->setDateTime(value); });
        return S_OK;
    });
}

HRESULT CvrQtDateTimeEditHelper::GetDateTime(QWidget *widget, double *dateTime)
{
    return ReadDateTime(widget, dateTime, &QDateTimeEdit::dateTime);
}

HRESULT CvrQtDateTimeEditHelper::GetMaximumDateTime(QWidget *widget, double *dateTime)
{
    return ReadDateTime(widget, dateTime, &QDateTimeEdit::maximumDateTime);
}

HRESULT CvrQtDateTimeEditHelper::GetMinimumDateTime(QWidget *widget, double *dateTime)
{
    return ReadDateTime(widget, dateTime, &QDateTimeEdit::minimumDateTime);
}

HRESULT CvrQtDateTimeEditHelper::StepBy(QWidget *widget, int steps)
{
    return StepSpinBox(widget, steps);
}

HRESULT CvrQtDateTimeEditHelper::GetViewPort(QWidget *widget, int /*which*/, QWidget **viewPort)
{
    if (!viewPort)
        return E_POINTER;
    *viewPort = nullptr;
    return WithWidget<QDateTimeEdit>(widget, [&](QDateTimeEdit *edit) {
        // The popup's class is private to Qt: it is known by its name alone.
        QObject *popup = nullptr;
        for (QObject *child : edit->children()) {
            if (qstrcmp(child->metaObject()->className(), "QCalendarPopup") == 0) {
                popup = child;
                break;
            }
        }
        // Deliberately S_OK with null: no popup made yet is no failure.
        if (!popup || !popup->isWidgetType())
            return S_OK;
        for (QObject *child : popup->children()) {
            if (QCalendarWidget *calendar = qobject_cast<QCalendarWidget *>(child)) {
                *viewPort = calendar;
                return S_OK;
            }
        }
        return E_FAIL;
    });
}

HRESULT CreateSpinBoxHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtSpinBoxHelper, IvrQtSpinBoxHelper>(helper);
}

HRESULT CreateDoubleSpinBoxHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtDoubleSpinBoxHelper, IvrQtDoubleSpinBoxHelper>(helper);
}

HRESULT CreateDateTimeEditHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtDateTimeEditHelper, IvrQtDateTimeEditHelper>(helper);
}
