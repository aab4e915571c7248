// The rows of list views: CvrQtListViewHelper reads and acts through the
// model of any QListView; CvrQtListWidgetHelper, the one that is made,
// prefers the QListWidgetItem of a row and falls back to the model path
// where there is none (a row out of range, or a view that is no
// QListWidget).
#pragma once

#include "controls/basecontrolhelper.h"
#include "controls/itemviewhelper.h"
#include "interfaces/controls.h"

class QListView;

class CvrQtListViewHelper : public CvrQtBaseControlHelper,
                            public CAbstractItemViewHelper,
                            public IvrQtListViewHelper,
                            public IvrQtBaseItemsWidgetHelper,
                            public IvrQtViewPortProviderHelper
{
public:
    VRQT_IUNKNOWN_BY_ROOT
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;

    // IvrQtListViewHelper. Reads and SelectItem run on the calling thread.
    HRESULT STDMETHODCALLTYPE GetSelectedItems(QWidget *widget, VARIANT *rows) override;
    HRESULT STDMETHODCALLTYPE IsItemSelected(QWidget *widget, int row, VARIANT_BOOL *selected) override;
    HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, int row, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, int row, int *x, int *y, int *width, int *height) override;
    HRESULT STDMETHODCALLTYPE SelectItem(QWidget *widget, int row, VARIANT_BOOL selected) override;
    HRESULT STDMETHODCALLTYPE GetCurrentRow(QWidget *widget, int *row) override;
    HRESULT STDMETHODCALLTYPE ScrollToItem(QWidget *widget, int row) override;

    // IvrQtBaseItemsWidgetHelper
    HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) override;
    HRESULT STDMETHODCALLTYPE GetSelectionMode(QWidget *widget, int *mode) override;
    HRESULT STDMETHODCALLTYPE SetAllSelected(QWidget *widget, VARIANT_BOOL selected) override;

    // IvrQtViewPortProviderHelper: which 0 is the list's viewport.
    HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) override;

protected:
    CvrQtListViewHelper() = default;

    // The model paths, on a live view; the list column is modelColumn().
    HRESULT ModelSelectedItems(QListView *view, VARIANT *rows) const;
    HRESULT ModelIsItemSelected(QListView *view, int row, VARIANT_BOOL *selected) const;
    HRESULT ModelItemText(QListView *view, int row, BSTR *text) const;
    HRESULT ModelItemRect(QListView *view, int row, int *x, int *y, int *width, int *height) const;
    HRESULT ModelScrollToItem(QListView *view, int row) const;
};

class CvrQtListWidgetHelper : public CvrQtListViewHelper, public IvrQtListWidgetHelper
{
public:
    CvrQtListWidgetHelper() = default;

    VRQT_IUNKNOWN_BY_ROOT
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;

    // Both list tables lead here.
    HRESULT STDMETHODCALLTYPE GetSelectedItems(QWidget *widget, VARIANT *rows) override;
    HRESULT STDMETHODCALLTYPE IsItemSelected(QWidget *widget, int row, VARIANT_BOOL *selected) override;
    HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, int row, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, int row, int *x, int *y, int *width, int *height) override;
    HRESULT STDMETHODCALLTYPE SelectItem(QWidget *widget, int row, VARIANT_BOOL selected) override;
    HRESULT STDMETHODCALLTYPE GetCurrentRow(QWidget *widget, int *row) override;
    HRESULT STDMETHODCALLTYPE ScrollToItem(QWidget *widget, int row) override;

    HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) override;
};
