#include "controls/calendarhelper.h"

#include <QCalendarWidget>
#include <QTableView>

#include "controls/helperfactories.h"
#include "controls/variantdates.h"

namespace {

// One date getter of the calendar as variant time, on the caller's thread.
HRESULT ReadDate(QWidget *widget, double *result, QDate (QCalendarWidget::*getter)() const)
{
    if (!result)
        return E_POINTER;
    return WithWidget<QCalendarWidget>(widget, [&](QCalendarWidget *calendar) {
        // Deliberately S_OK with -1.0 for a date variant time cannot hold.
        *result = DateToVariantTime((calendar->*getter)());
        return S_OK;
    });
}

} // namespace

HRESULT CvrQtCalendarWidgetHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(
        this,
        { Implements<CvrQtCalendarWidgetHelper, IvrQtCalendarWidgetHelper>(IID_IvrQtCalendarWidgetHelper),
          Implements<CvrQtCalendarWidgetHelper, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
        riid, object);
}

HRESULT CvrQtCalendarWidgetHelper::SetSelectedDate(QWidget *widget, double date)
{
    return WithWidget<QCalendarWidget>(widget, [&](QCalendarWidget *calendar) {
        const QDate value = VariantTimeToDate(date);
        // Refused before anything runs, so that the selection stays.
        if (!value.isValid())
            return E_INVALIDARG;
        RunForWidget(calendar, [&] { calendar->setSelectedDate(value); });
        return S_OK;
    });
}

HRESULT CvrQtCalendarWidgetHelper::GetSelectedDate(QWidget *widget, double *date)
{
    return ReadDate(widget, date, &QCalendarWidget::selectedDate);
}

HRESULT CvrQtCalendarWidgetHelper::GetMinimumDate(QWidget *widget, double *date)
{
    return ReadDate(widget, date, &QCalendarWidget::minimumDate);
}

HRESULT CvrQtCalendarWidgetHelper::GetMaximumDate(QWidget *widget, double *date)
{
    return ReadDate(widget, date, &QCalendarWidget::maximumDate);
}

HRESULT CvrQtCalendarWidgetHelper::GetViewPort(QWidget *widget, int /*which*/, QWidget **viewPort)
{
    if (!viewPort)
        return E_POINTER;
    *viewPort = nullptr;
    return WithWidget<QCalendarWidget>(widget, [&](QCalendarWidget *calendar) {
        QTableView *table = FindCalendarTable(calendar);
        if (!table)
            return E_FAIL;
        *viewPort = table->viewport();
        return S_OK;
    });
}

QTableView *CvrQtCalendarWidgetHelper::FindCalendarTable(const QCalendarWidget *calendar)
{
    for (QObject *child : calendar->children()) {
        if (QTableView *table = qobject_cast<QTableView *>(child))
            return table;
    }
    return nullptr;
}

HRESULT CreateCalendarWidgetHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtCalendarWidgetHelper, IvrQtCalendarWidgetHelper>(helper);
}
