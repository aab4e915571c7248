// The calendar widget helper: the selected date and its limits as variant
// time, and the table the days are shown in.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

class QCalendarWidget;
class QTableView;

class CvrQtCalendarWidgetHelper : public CvrQtBaseControlHelper,
                                  public IvrQtCalendarWidgetHelper,
                                  public IvrQtViewPortProviderHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // E_INVALIDARG, changing nothing, for a date the platform cannot
    // convert. The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE SetSelectedDate(QWidget *widget, double date) override;
    // A date variant time cannot hold reads as -1.0 with S_OK.
    HRESULT STDMETHODCALLTYPE GetSelectedDate(QWidget *widget, double *date) override;
    HRESULT STDMETHODCALLTYPE GetMinimumDate(QWidget *widget, double *date) override;
    HRESULT STDMETHODCALLTYPE GetMaximumDate(QWidget *widget, double *date) override;
    // The viewport of the calendar's table; which is ignored. E_FAIL
    // without a table.
    HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) override;

    // The first child of calendar that is a table view, or null.
    static QTableView *FindCalendarTable(const QCalendarWidget *calendar);
};
