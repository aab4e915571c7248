// Model-level access to any item view: finding an index and reading,
// writing, locating and scrolling to it. The list, table and tree helpers
// build on it; a widget class prefers its own items where they exist.
#pragma once

#include <QModelIndex>
#include <QRect>
#include <QString>

#include "controls/basecontrolhelper.h"
#include "platform/automation.h"

class QAbstractItemView;

class CAbstractItemViewHelper
{
public:
    // True when row and column are at least 0 and the index has a model.
    virtual bool IsValidIndex(const QModelIndex &index) const;
    // model()->index(row, column, p), where p is parent when it is valid and
    // the view's root otherwise. Null model: an invalid index.
    virtual QModelIndex GetModelIndex(const QAbstractItemView *view, int row, int column, const QModelIndex &parent) const;

    // The display text (role 0).
    static QString GetIndexText(const QModelIndex &index);
    // An empty text when the index is not valid.
    QString GetCellTextAt(const QAbstractItemView *view, int row, int column, const QModelIndex &parent) const;
    // False when the index is not valid; otherwise setData with role 0,
    // whose own result is deliberately not looked at, and true.
    bool SetCellTextAt(const QAbstractItemView *view, int row, int column, const QString &text,
                       const QModelIndex &parent) const;
    // visualRect on the view's thread (ExecuteForWidget), in viewport
    // coordinates; an empty rectangle (0, 0, right -1, bottom -1) when the
    // index is not valid.
    QRect GetIndexRect(QAbstractItemView *view, int row, int column, const QModelIndex &parent) const;
    // A row or column of -1 becomes 0; a valid index is scrolled to with
    // EnsureVisible on the view's thread.
    void ScrollToIndex(QAbstractItemView *view, int row, int column, const QModelIndex &parent) const;
    // False without a valid index or a selection model; else whether the
    // index is among the selected ones. The caller's thread.
    VARIANT_BOOL IsIndexSelected(const QAbstractItemView *view, int row, int column, const QModelIndex &parent) const;

protected:
    ~CAbstractItemViewHelper() = default;
};

// The selection operations that the list and the table share, for a view
// of class View: the host's code of its selection mode, and select all
// (-1) or clear (any other value) on the view's thread.
template <typename View>
HRESULT ViewSelectionMode(QWidget *widget, int *mode)
{
    if (!mode)
        return E_POINTER;
    return WithWidget<View>(widget, [&](View *view) {
        *mode = ConvertSelectionMode(view);
        return S_OK;
    });
}

template <typename View>
HRESULT SelectAllOrClear(QWidget *widget, VARIANT_BOOL selected)
{
    return WithWidget<View>(widget, [&](View *view) {
        RunForWidget(view, [&] {
            if (selected == VARIANT_TRUE)
                view->selectAll();
            else
                view->clearSelection();
        });
        return S_OK;
    });
}
