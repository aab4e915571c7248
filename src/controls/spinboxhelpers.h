// The spin box, double spin box and date-time edit helpers: a value with its
// limits, and stepping. Dates and times cross as variant time.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

class CvrQtSpinBoxHelper : public CvrQtBaseControlHelper, public IvrQtSpinBoxHelper, public IvrQtBaseSpinBoxHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE SetValue(QWidget *widget, int value) override;
    HRESULT STDMETHODCALLTYPE GetValue(QWidget *widget, int *value) override;
    HRESULT STDMETHODCALLTYPE GetMaximum(QWidget *widget, int *maximum) override;
    HRESULT STDMETHODCALLTYPE GetMinimum(QWidget *widget, int *minimum) override;
    // The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE StepBy(QWidget *widget, int steps) override;
};

class CvrQtDoubleSpinBoxHelper : public CvrQtBaseControlHelper,
                                 public IvrQtDoubleSpinBoxHelper,
                                 public IvrQtBaseSpinBoxHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE SetValue(QWidget *widget, double value) override;
    HRESULT STDMETHODCALLTYPE GetValue(QWidget *widget, double *value) override;
    HRESULT STDMETHODCALLTYPE GetMaximum(QWidget *widget, double *maximum) override;
    HRESULT STDMETHODCALLTYPE GetMinimum(QWidget *widget, double *minimum) override;
    // The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE StepBy(QWidget *widget, int steps) override;
};

// A date or time outside what variant time can hold reads as -1.0 with
// S_OK; an invalid one of the widget gives E_FAIL.
class CvrQtDateTimeEditHelper : public CvrQtBaseControlHelper,
                                public IvrQtDateTimeEditHelper,
                                public IvrQtBaseSpinBoxHelper,
                                public IvrQtViewPortProviderHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // E_INVALIDARG, changing nothing, for a value the platform cannot
    // convert. The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE SetDateTime(QWidget *widget, double dateTime) override;
    HRESULT STDMETHODCALLTYPE GetDateTime(QWidget *widget, double *dateTime) override;
    HRESULT STDMETHODCALLTYPE GetMaximumDateTime(QWidget *widget, double *dateTime) override;
    HRESULT STDMETHODCALLTYPE GetMinimumDateTime(QWidget *widget, double *dateTime) override;
    // The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE StepBy(QWidget *widget, int steps) override;
    // The calendar of the edit's popup; which is ignored. Null with S_OK
    // while the edit has made no popup, E_FAIL for a popup without calendar.
    HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) override;
};
