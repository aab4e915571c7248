// The check box and radio button helpers: the state a user sets, and the
// area a click must hit to set it.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

// Check states cross in the host's numbering: 0 unchecked, 1 checked,
// 2 partly checked (Qt's are 0, 2, 1).
class CvrQtCheckBoxHelper : public CvrQtBaseControlHelper, public IvrQtCheckBoxHelper, public IvrQtRectProviderHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // Any state but 1 and 2 unchecks. The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE SetCheckState(QWidget *widget, int state) override;
    // -1 and E_FAIL for a state Qt does not define.
    HRESULT STDMETHODCALLTYPE GetCheckState(QWidget *widget, int *state) override;
    HRESULT STDMETHODCALLTYPE IsTristate(QWidget *widget, VARIANT_BOOL *tristate) override;
    // The style's click rectangle, in the coordinates of the native window
    // that carries the box; part is ignored.
    HRESULT STDMETHODCALLTYPE GetClickRect(QWidget *widget, int part, int *windowHandle, int *x, int *y, int *width,
                                           int *height) override;
};

class CvrQtRadioButtonHelper : public CvrQtBaseControlHelper,
                               public IvrQtRadioButtonHelper,
                               public IvrQtRectProviderHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    HRESULT STDMETHODCALLTYPE IsChecked(QWidget *widget, VARIANT_BOOL *checked) override;
    // As the check box's, but the style is not shown the button.
    HRESULT STDMETHODCALLTYPE GetClickRect(QWidget *widget, int part, int *windowHandle, int *x, int *y, int *width,
                                           int *height) override;
};
