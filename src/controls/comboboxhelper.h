// The combo box helper: a QComboBox's items, and where they lie in its
// popup list.
#pragma once

#include <QModelIndex>

#include "controls/basecontrolhelper.h"
#include "interfaces/controls.h"

class QAbstractItemView;
class QComboBox;

class CvrQtComboBoxHelper : public CvrQtBaseControlHelper,
                            public IvrQtComboBoxHelper,
                            public IvrQtViewPortProviderHelper,
                            public IvrQtBaseItemsWidgetHelper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // IvrQtComboBoxHelper
    HRESULT STDMETHODCALLTYPE GetCurrentIndex(QWidget *widget, int *index) override;
    // currentText() for -1, so an editable combo box gives its text even
    // when that is no item; else itemText(index).
    HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, int index, BSTR *text) override;
    // The item's rectangle in the popup list, for the native window that
    // carries the list. A row that names no item gives S_OK with the results
    // untouched; E_FAIL when no list can be made. The widget's thread for
    // the list (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, int index, int *x, int *y, int *width, int *height) override;
    // Scrolls the popup list to the item; S_OK with nothing done for a row
    // that names no item. The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE ScrollToItem(QWidget *widget, int index) override;
    // Shows the popup for -1 only, hides it for any other value; S_OK. The
    // widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE SetPopupVisible(QWidget *widget, VARIANT_BOOL show) override;
    // The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE IsPopupVisible(QWidget *widget, VARIANT_BOOL *visible) override;

    // IvrQtViewPortProviderHelper: which 0 is the popup list's viewport; any
    // other gives E_FAIL. The widget's thread to make the list.
    HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) override;

    // IvrQtBaseItemsWidgetHelper
    // The widget's thread (ExecuteForWidget).
    HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) override;
    // Always 4, the code for no selection mode.
    HRESULT STDMETHODCALLTYPE GetSelectionMode(QWidget *widget, int *mode) override;
    // Does nothing: a combo box has no selection of several items.
    HRESULT STDMETHODCALLTYPE SetAllSelected(QWidget *widget, VARIANT_BOOL selected) override;

    // The model index of row in the column and below the root the combo box
    // shows. The caller's thread.
    static QModelIndex GetComboIndex(const QComboBox *combo, int row);
    // The popup list. QComboBox::view() makes the popup on demand, so it is
    // called on the widget's thread (ExecuteForWidget); null when that thread
    // could not be reached.
    static QAbstractItemView *EnsurePopupView(QComboBox *combo);
};
