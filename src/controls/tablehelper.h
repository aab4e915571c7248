// The cells and header sections of table views: CvrQtTableViewHelper works
// through the model and the headers of any QTableView;
// CvrQtTableWidgetHelper, the one that is made, prefers the
// QTableWidgetItem of a cell or section and falls back to the model path
// where there is none. A row or column of -1 names a header section.
#pragma once

#include "controls/basecontrolhelper.h"
#include "controls/itemviewhelper.h"
#include "interfaces/controls.h"

class QTableView;

class CvrQtTableViewHelper : public CvrQtBaseControlHelper,
                             public CAbstractItemViewHelper,
                             public IvrQtTableViewHelper,
                             public IvrQtBaseItemsWidgetHelper,
                             public IvrQtViewPortProviderHelper
{
public:
    VRQT_IUNKNOWN_BY_ROOT
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;

    // IvrQtTableViewHelper. Reads, SetCellText and header rectangles run on
    // the calling thread.
    HRESULT STDMETHODCALLTYPE GetRowCount(QWidget *widget, int *count) override;
    HRESULT STDMETHODCALLTYPE GetHorizontalHeaderText(QWidget *widget, int index, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE GetVerticalHeaderText(QWidget *widget, int index, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE GetCellText(QWidget *widget, int row, int column, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE SetCellText(QWidget *widget, int row, int column, BSTR text) override;
    HRESULT STDMETHODCALLTYPE GetCellRect(QWidget *widget, int row, int column, int *x, int *y, int *width,
                                          int *height) override;
    HRESULT STDMETHODCALLTYPE ScrollToCell(QWidget *widget, int row, int column) override;

    // IvrQtBaseItemsWidgetHelper: the items are the columns.
    HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) override;
    HRESULT STDMETHODCALLTYPE GetSelectionMode(QWidget *widget, int *mode) override;
    HRESULT STDMETHODCALLTYPE SetAllSelected(QWidget *widget, VARIANT_BOOL selected) override;

    // IvrQtViewPortProviderHelper: which 0 is the table's viewport, 1 the
    // vertical header's, 2 the horizontal header's.
    HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) override;

protected:
    CvrQtTableViewHelper() = default;

    // The model paths, on a live view.
    HRESULT ModelHeaderText(QTableView *view, Qt::Orientation orientation, int index, BSTR *text) const;
    HRESULT ModelCellText(QTableView *view, int row, int column, BSTR *text) const;
    HRESULT ModelSetCellText(QTableView *view, int row, int column, BSTR text) const;
    HRESULT ModelScrollToCell(QTableView *view, int row, int column) const;

    // The rectangle of a visible section, in its header's viewport
    // coordinates; all four -1 first, false for a hidden or unknown section.
    static bool GetVerticalHeaderRect(const QTableView *view, int row, int *x, int *y, int *width, int *height);
    static bool GetHorizontalHeaderRect(const QTableView *view, int column, int *x, int *y, int *width, int *height);
};

class CvrQtTableWidgetHelper : public CvrQtTableViewHelper, public IvrQtTableWidgetHelper
{
public:
    CvrQtTableWidgetHelper() = default;

    VRQT_IUNKNOWN_BY_ROOT
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;

    // Both table tables lead here.
    HRESULT STDMETHODCALLTYPE GetRowCount(QWidget *widget, int *count) override;
    HRESULT STDMETHODCALLTYPE GetHorizontalHeaderText(QWidget *widget, int index, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE GetVerticalHeaderText(QWidget *widget, int index, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE GetCellText(QWidget *widget, int row, int column, BSTR *text) override;
    HRESULT STDMETHODCALLTYPE SetCellText(QWidget *widget, int row, int column, BSTR text) override;
    HRESULT STDMETHODCALLTYPE GetCellRect(QWidget *widget, int row, int column, int *x, int *y, int *width,
                                          int *height) override;
    HRESULT STDMETHODCALLTYPE ScrollToCell(QWidget *widget, int row, int column) override;

    HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) override;

private:
    HRESULT HeaderText(QWidget *widget, Qt::Orientation orientation, int index, BSTR *text) const;
};
