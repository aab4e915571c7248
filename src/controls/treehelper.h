// The items of tree views, found by a path from the top level down: each
// element of the path is a child index (VT_I4) or a text of column 0
// (VT_BSTR). CvrQtTreeViewHelper works through the model of any QTreeView;
// CvrQtTreeWidgetHelper, the one that is made, works on the
// QTreeWidgetItems of a QTreeWidget and never falls back to the model path,
// which it keeps for views that are no QTreeWidget.
#pragma once

#include "controls/basecontrolhelper.h"
#include "controls/itemviewhelper.h"
#include "interfaces/controls.h"

class QTreeView;
class QTreeWidget;
class QTreeWidgetItem;

class CvrQtTreeViewHelper : public CvrQtBaseControlHelper,
                            public CAbstractItemViewHelper,
                            public IvrQtTreeViewHelper,
                            public IvrQtBaseItemsWidgetHelper,
                            public IvrQtViewPortProviderHelper
{
public:
    VRQT_IUNKNOWN_BY_ROOT
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;

    // IvrQtTreeViewHelper. Reads run on the calling thread; expanding and
    // scrolling go to the tree's thread while the calling thread waits.
    HRESULT STDMETHODCALLTYPE GetChildCount(QWidget *widget, VARIANT path, int *count, int *failedAt) override;
    HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, VARIANT path, int column, BSTR *text,
                                          int *failedAt) override;
    HRESULT STDMETHODCALLTYPE IsItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL *expanded,
                                             int *failedAt) override;
    HRESULT STDMETHODCALLTYPE IsItemSelected(QWidget *widget, VARIANT path, VARIANT_BOOL *selected,
                                             int *failedAt) override;
    HRESULT STDMETHODCALLTYPE IsItemVisible(QWidget *widget, VARIANT path, VARIANT_BOOL *visible,
                                            int *failedAt) override;
    HRESULT STDMETHODCALLTYPE SetItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL expand,
                                              int *failedAt) override;
    HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, VARIANT path, int column, int *x, int *y, int *width,
                                          int *height, int *failedAt) override;
    HRESULT STDMETHODCALLTYPE ScrollItemIntoView(QWidget *widget, VARIANT path, int column, int *failedAt) override;
    HRESULT STDMETHODCALLTYPE ShowItem(QWidget *widget, VARIANT path, int column, int *failedAt) override;

    // IvrQtBaseItemsWidgetHelper: the items are the columns.
    HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) override;
    HRESULT STDMETHODCALLTYPE GetSelectionMode(QWidget *widget, int *mode) override;
    HRESULT STDMETHODCALLTYPE SetAllSelected(QWidget *widget, VARIANT_BOOL selected) override;

    // IvrQtViewPortProviderHelper: which 0 is the tree's viewport.
    HRESULT STDMETHODCALLTYPE GetViewPort(QWidget *widget, int which, QWidget **viewPort) override;

protected:
    CvrQtTreeViewHelper() = default;

    // Runs operation(view, index) on a live tree view with the index that
    // path names: failedAt -1 and reset() first; without a model
    // withoutModel; E_FAIL and the position when the path fails.
    template <typename Reset, typename Operation>
    HRESULT WithModelPath(QWidget *widget, const VARIANT &path, int *failedAt, HRESULT withoutModel, Reset &&reset,
                          Operation &&operation) const;

    // A yes-or-no question about the index that path names: false first.
    template <typename Question>
    HRESULT AskModel(QWidget *widget, const VARIANT &path, VARIANT_BOOL *answer, int *failedAt,
                     Question &&question) const;

    // Walks path from start (the view's root when not valid); -1 and the
    // index when it resolved, else the failing element's position.
    int ResolveModelPath(const QTreeView *view, const QModelIndex &start, const VARIANT &path,
                         QModelIndex *index) const;
    // False when the element fails; an integer out of range does not.
    bool ResolvePathElement(const QTreeView *view, const QModelIndex &parent, const VARIANT *element,
                            QModelIndex *child) const;
};

class CvrQtTreeWidgetHelper : public CvrQtTreeViewHelper, public IvrQtTreeWidgetHelper
{
public:
    CvrQtTreeWidgetHelper() = default;

    VRQT_IUNKNOWN_BY_ROOT
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;

    // parent's own model when parent is valid, else the view's root.
    QModelIndex GetModelIndex(const QAbstractItemView *view, int row, int column,
                              const QModelIndex &parent) const override;

    // Both tree tables lead here.
    HRESULT STDMETHODCALLTYPE GetChildCount(QWidget *widget, VARIANT path, int *count, int *failedAt) override;
    HRESULT STDMETHODCALLTYPE GetItemText(QWidget *widget, VARIANT path, int column, BSTR *text,
                                          int *failedAt) override;
    HRESULT STDMETHODCALLTYPE IsItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL *expanded,
                                             int *failedAt) override;
    HRESULT STDMETHODCALLTYPE IsItemSelected(QWidget *widget, VARIANT path, VARIANT_BOOL *selected,
                                             int *failedAt) override;
    HRESULT STDMETHODCALLTYPE IsItemVisible(QWidget *widget, VARIANT path, VARIANT_BOOL *visible,
                                            int *failedAt) override;
    HRESULT STDMETHODCALLTYPE SetItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL expand,
                                              int *failedAt) override;
    HRESULT STDMETHODCALLTYPE GetItemRect(QWidget *widget, VARIANT path, int column, int *x, int *y, int *width,
                                          int *height, int *failedAt) override;
    HRESULT STDMETHODCALLTYPE ScrollItemIntoView(QWidget *widget, VARIANT path, int column, int *failedAt) override;
    HRESULT STDMETHODCALLTYPE ShowItem(QWidget *widget, VARIANT path, int column, int *failedAt) override;

    HRESULT STDMETHODCALLTYPE GetItemCount(QWidget *widget, int *count) override;
};
