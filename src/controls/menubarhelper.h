// The menu bar helper: a QMenuBar's entries with the menu helper's
// operations, and where each entry is: on the bar or in the overflow popup
// behind the extension button.
#pragma once

#include "controls/menuhelper.h"

class CvrQtMenuBarHelper : public CvrQtMenuHelper, public IvrQtMenuBarHelper, public IvrQtViewPortProviderHelper
{
public:
    // The bar's identifier, the viewport's, then the menu helper's.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // IvrQtMenuBarHelper
    // The first QMenu child whose title is exactly title; null with S_OK
    // when there is none.
    HRESULT STDMETHODCALLTYPE FindMenuByTitle(QWidget *widget, BSTR title, QMenu **menu) override;
    // False for an entry the bar has moved to its overflow popup. The bar's
    // thread for the layout (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE IsItemOnBar(QWidget *widget, int index, VARIANT_BOOL *onBar) override;

    // IvrQtViewPortProviderHelper: the extension button; which is ignored.
    // Null first; E_FAIL when the bar has no button.
    HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) override;

    // IvrQtMenuHelper, as the bar needs them.
    // QMenuBar::actionAt.
    HRESULT STDMETHODCALLTYPE ItemIndexAt(QWidget *widget, int x, int y, int *index) override;
    // An entry on the bar by the bar's layout, in the bar; an entry in the
    // overflow popup by the popup's geometry, in the popup. global maps the
    // corner to the screen. E_FAIL, results untouched, when the bar's thread
    // could not be reached. The bar's thread for the geometry
    // (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, VARIANT_BOOL global, int index, int *x, int *y, int *width,
                                          int *height) override;
    // GetWindowHandle stays the menu helper's, the bar's own window: the
    // operation names no entry, so it cannot answer for one in the popup.

protected:
    bool Serves(const QWidget *widget) const override;
};
