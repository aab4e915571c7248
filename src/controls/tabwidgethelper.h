// The tab widget helper: a QTabWidget's tabs, and where they lie on its tab
// bar.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

class QTabBar;

class CvrQtTabWidgetHelper : public CvrQtBaseControlHelper,
                             public IvrQtTabWidgetHelper,
                             public IvrQtViewPortProviderHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // IvrQtTabWidgetHelper
    HRESULT STDMETHODCALLTYPE GetTabCount(QWidget *widget, int *count) override;
    HRESULT STDMETHODCALLTYPE GetCurrentIndex(QWidget *widget, int *index) override;
    // The caption without its accelerator marks.
    HRESULT STDMETHODCALLTYPE GetTabText(QWidget *widget, int index, BSTR *text) override;
    // The tab's rectangle on the bar, for the native window that carries the
    // bar; 0, 0, -1, -1 and E_FAIL without a tab bar. The widget's thread for
    // the rectangle (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE GetTabRect(QWidget *widget, int index, int *x, int *y, int *width, int *height) override;
    // Makes the tab current only where the bar scrolls and the tab may be
    // off it; changed tells whether it did. The widget's thread for the
    // change (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE BringTabIntoView(QWidget *widget, int index, VARIANT_BOOL *changed) override;
    HRESULT STDMETHODCALLTYPE IsTabEnabled(QWidget *widget, int index, VARIANT_BOOL *enabled) override;

    // IvrQtViewPortProviderHelper: which 0 is the tab bar (null, with S_OK,
    // when there is none); any other gives E_FAIL.
    HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) override;

    // The first child of the tab widget that is a QTabBar, or null. The
    // caller's thread.
    static QTabBar *FindTabBar(const QWidget *tabWidget);
};
