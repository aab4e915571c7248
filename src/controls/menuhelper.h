// The menu helper: the entries of a QMenu, addressed by their position in
// actions(), separators included. The menu bar's helper derives from it and
// serves a QMenuBar with the same operations.
#pragma once

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

class QAction;

class CvrQtMenuHelper : public CvrQtBaseControlHelper, public IvrQtMenuHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // Every operation that names an entry gives E_FAIL for an index outside
    // actions(). Reads run on the caller's thread.

    // The text without accelerator marks; the BSTR is null first.
    HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, int index, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) override;
    HRESULT STDMETHODCALLTYPE GetSubMenu(QWidget *widget, int index, QMenu **menu) override;
    // The captions from the bar the menu hangs from down to the entry,
    // joined with "|"; an empty or repeated text reads "[position]". The
    // BSTR is null first.
    HRESULT STDMETHODCALLTYPE GetItemPath(QWidget *widget, int index, BSTR *path) override;
    // The position of the entry at x, y in the widget's coordinates, or -1.
    HRESULT STDMETHODCALLTYPE ItemIndexAt(QWidget *widget, int x, int y, int *index) override;
    // Null and true first.
    HRESULT STDMETHODCALLTYPE GetMenuOwner(QWidget *widget, QWidget **owner, VARIANT_BOOL *isContext) override;
    // False first; false without a sub-menu.
    HRESULT STDMETHODCALLTYPE IsSubMenuVisible(QWidget *widget, int index, VARIANT_BOOL *visible) override;
    HRESULT STDMETHODCALLTYPE IsItemEnabled(QWidget *widget, int index, VARIANT_BOOL *enabled) override;
    // False first; true only for a checkable entry that is checked.
    HRESULT STDMETHODCALLTYPE IsItemChecked(QWidget *widget, int index, VARIANT_BOOL *checked) override;
    HRESULT STDMETHODCALLTYPE IsItemCheckable(QWidget *widget, int index, VARIANT_BOOL *checkable) override;
    HRESULT STDMETHODCALLTYPE IsItemSeparator(QWidget *widget, int index, VARIANT_BOOL *separator) override;
    HRESULT STDMETHODCALLTYPE ItemHasIcon(QWidget *widget, int index, VARIANT_BOOL *hasIcon) override;
    // The entry's rectangle in the menu, its corner on the screen when
    // global is not 0. 0, 0, -1, -1 first; E_FAIL for a menu not on show.
    HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, VARIANT_BOOL global, int index, int *x, int *y, int *width,
                                          int *height) override;
    // Null first.
    HRESULT STDMETHODCALLTYPE GetItemObject(QWidget *widget, int index, QAction **action) override;
    // 0 for a widget not on show, else its native window.
    HRESULT STDMETHODCALLTYPE GetWindowHandle(QWidget *widget, int *windowHandle) override;

protected:
    // The class of widget this helper serves: QMenu here.
    virtual bool Serves(const QWidget *widget) const;

    // Runs operation(widget) when widget is a live widget this helper
    // serves; else E_FAIL.
    template <typename Operation>
    HRESULT WithServed(QWidget *widget, Operation &&operation)
    {
        return WithWidget<QWidget>(widget, [&](QWidget *live) { return Serves(live) ? operation(live) : E_FAIL; });
    }

    // Runs operation(widget, action) with the entry at index; E_FAIL for a
    // widget this helper does not serve or an index outside actions().
    template <typename Operation>
    HRESULT WithItem(QWidget *widget, int index, Operation &&operation)
    {
        return WithServed(widget, [&](QWidget *live) {
            QAction *action = ItemAt(live, index);
            return action ? operation(live, action) : E_FAIL;
        });
    }

    // One property of the entry at index into result; E_POINTER for a null
    // result, which is left untouched on failure.
    template <typename Result, typename Read>
    HRESULT ReadItem(QWidget *widget, int index, Result *result, Read read)
    {
        if (!result)
            return E_POINTER;
        return WithItem(widget, index, [&](QWidget *, QAction *action) {
            *result = read(action);
            return S_OK;
        });
    }

    // The entry at index, or null outside actions().
    static QAction *ItemAt(const QWidget *widget, int index);
};
