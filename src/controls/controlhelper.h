// The helper for any widget: its context menu, its parent, whether it is
// enabled, and whether a point of it can be seen.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

class CvrQtControlHelper : public CvrQtBaseControlHelper, public IvrQtControlHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // The menu that pops up for the widget (FindPopupMenu); null for a
    // menu, or when there is none.
    HRESULT STDMETHODCALLTYPE GetPopupMenu(QWidget *widget, QMenu **menu) override;
    // Null first.
    HRESULT STDMETHODCALLTYPE GetParentWidget(QWidget *widget, QWidget **parent) override;
    HRESULT STDMETHODCALLTYPE IsEnabled(QWidget *widget, VARIANT_BOOL *enabled) override;
    // Whether x, y, in the coordinates of other (of the widget itself when
    // other is null or the widget), lies in the widget's visible region.
    // E_FAIL when other is neither null, the widget, nor a live ancestor of
    // it.
    HRESULT STDMETHODCALLTYPE IsPointVisible(QWidget *widget, QWidget *other, int x, int y,
                                             VARIANT_BOOL *visible) override;
};
