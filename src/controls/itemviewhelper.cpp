#include "controls/itemviewhelper.h"

#include <QAbstractItemView>
#include <QItemSelectionModel>

#include "controls/basecontrolhelper.h"

bool CAbstractItemViewHelper::IsValidIndex(const QModelIndex &index) const
{
    return index.row() >= 0 && index.column() >= 0 && index.model() != nullptr;
}

QModelIndex CAbstractItemViewHelper::GetModelIndex(const QAbstractItemView *view, int row, int column,
                                                   const QModelIndex &parent) const
{
    const QAbstractItemModel *model = view->model();
    if (!model)
        return QModelIndex();
    return model->index(row, column, parent.isValid() ? parent : view->rootIndex());
}

QString CAbstractItemViewHelper::GetIndexText(const QModelIndex &index)
{
    return index.data(0).toString();
}

QString CAbstractItemViewHelper::GetCellTextAt(const QAbstractItemView *view, int row, int column,
                                               const QModelIndex &parent) const
{
    const QModelIndex index = GetModelIndex(view, row, column, parent);
    return IsValidIndex(index) ? GetIndexText(index) : QString();
}

bool CAbstractItemViewHelper::SetCellTextAt(const QAbstractItemView *view, int row, int column, const QString &text,
                                            const QModelIndex &parent) const
{
    const QModelIndex index = GetModelIndex(view, row, column, parent);
    if (!IsValidIndex(index))
        return false;
    view->model()->setData(index, QVariant(text), 0);
    return true;
}

QRect CAbstractItemViewHelper::GetIndexRect(QAbstractItemView *view, int row, int column, const QModelIndex &parent) const
{
    const QModelIndex index = GetModelIndex(view, row, column, parent);
    QRect rect;
    if (IsValidIndex(index))
        RunForWidget(view, [&] { rect = view->visualRect(index); });
    return rect;
}

void CAbstractItemViewHelper::ScrollToIndex(QAbstractItemView *view, int row, int column, const QModelIndex &parent) const
{
    const QModelIndex index = GetModelIndex(view, row == -1 ? 0 : row, column == -1 ? 0 : column, parent);
    if (IsValidIndex(index))
        RunForWidget(view, [&] { view->scrollTo(index, QAbstractItemView::EnsureVisible); });
}

VARIANT_BOOL CAbstractItemViewHelper::IsIndexSelected(const QAbstractItemView *view, int row, int column,
                                                      const QModelIndex &parent) const
{
    const QModelIndex index = GetModelIndex(view, row, column, parent);
    const QItemSelectionModel *selection = view->selectionModel();
    if (!IsValidIndex(index) || !selection)
        return VARIANT_FALSE;
    return ToVariantBool(selection->selectedIndexes().contains(index));
}
