// The tool button helper: a QToolButton's text, states and menu.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

class CvrQtToolButtonHelper : public CvrQtBaseControlHelper, public IvrQtToolButtonHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // The text as set, accelerator marks included.
    HRESULT STDMETHODCALLTYPE GetText(QWidget *widget, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE IsEnabled(QWidget *widget, VARIANT_BOOL *enabled) override;
    // False unless the button is checkable.
    HRESULT STDMETHODCALLTYPE IsChecked(QWidget *widget, VARIANT_BOOL *checked) override;
    HRESULT STDMETHODCALLTYPE IsCheckable(QWidget *widget, VARIANT_BOOL *checkable) override;
    HRESULT STDMETHODCALLTYPE IsVisible(QWidget *widget, VARIANT_BOOL *visible) override;
    HRESULT STDMETHODCALLTYPE HasMenu(QWidget *widget, VARIANT_BOOL *hasMenu) override;
};
