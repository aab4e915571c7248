// The scroll area helper: the positions, limits and visibility of a
// QAbstractScrollArea's two scroll bars.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

// Each operation names its bar by vertical: 0 is the horizontal bar, any
// other value (1 as well as -1) the vertical one. A read that fails leaves
// its result as it sets it first: -1 for a position or limit, true for the
// visibility, a pointer with all bits set for the bar.
class CvrQtScrollAreaHelper : public CvrQtBaseControlHelper, public IvrQtScrollAreaHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    HRESULT STDMETHODCALLTYPE GetScrollPos(QWidget *widget, VARIANT_BOOL vertical, int *position) override;
    // The scroll area's thread (ExecuteForWidget); E_FAIL when it cannot be
    // reached.
    HRESULT STDMETHODCALLTYPE SetScrollPos(QWidget *widget, VARIANT_BOOL vertical, int position) override;
    HRESULT STDMETHODCALLTYPE GetScrollMax(QWidget *widget, VARIANT_BOOL vertical, int *maximum) override;
    HRESULT STDMETHODCALLTYPE GetScrollMin(QWidget *widget, VARIANT_BOOL vertical, int *minimum) override;
    HRESULT STDMETHODCALLTYPE IsScrollBarVisible(QWidget *widget, VARIANT_BOOL vertical,
                                                 VARIANT_BOOL *visible) override;
    HRESULT STDMETHODCALLTYPE GetScrollBar(QWidget *widget, VARIANT_BOOL vertical, QScrollBar **bar) override;
};
