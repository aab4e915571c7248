#include "controls/listhelper.h"

#include <QItemSelectionModel>
#include <QListView>
#include <QListWidget>

#include "controls/helperfactories.h"
#include "values/stringbridges.h"

namespace {

// The rows as VT_ARRAY|VT_I4, lower bound 0, also when there are none. The
// VARIANT is deliberately not cleared first: the host hands an empty one.
HRESULT StoreRows(const QList<int> &rows, VARIANT *result)
{
    SAFEARRAY *array = SafeArrayCreateVector(VT_I4, 0, ULONG(rows.size()));
    if (!array)
        return E_OUTOFMEMORY;
    LONG *data = nullptr;
    if (FAILED(SafeArrayAccessData(array, reinterpret_cast<void **>(&data)))) {
        SafeArrayDestroy(array);
        return E_OUTOFMEMORY;
    }
    for (int position = 0; position < rows.size(); ++position)
        data[position] = rows.at(position);
    SafeArrayUnaccessData(array);
    V_VT(result) = VT_ARRAY | VT_I4;
    V_ARRAY(result) = array;
    return S_OK;
}

// The item of row when the view is a list widget and has one there.
QListWidgetItem *ItemOf(QListView *view, int row)
{
    const QListWidget *list = qobject_cast<QListWidget *>(view);
    return list ? list->item(row) : nullptr;
}

} // namespace

HRESULT CvrQtListViewHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtListViewHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtListViewHelper>(IID_IvrQtListViewHelper),
                                 Implements<Self, IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
                               riid, object);
}

HRESULT CvrQtListViewHelper::ModelSelectedItems(QListView *view, VARIANT *rows) const
{
    QList<int> selectedRows;
    if (const QItemSelectionModel *selection = view->selectionModel()) {
        for (const QModelIndex &index : selection->selectedIndexes())
            selectedRows.append(index.row());
    }
    return StoreRows(selectedRows, rows);
}

HRESULT CvrQtListViewHelper::ModelIsItemSelected(QListView *view, int row, VARIANT_BOOL *selected) const
{
    *selected = VARIANT_FALSE;
    if (view->model())
        *selected = IsIndexSelected(view, row, view->modelColumn(), QModelIndex());
    return S_OK;
}

HRESULT CvrQtListViewHelper::ModelItemText(QListView *view, int row, BSTR *text) const
{
    *text = nullptr;
    if (view->model())
        *text = QStringToBstr(GetCellTextAt(view, row, view->modelColumn(), QModelIndex()));
    return S_OK;
}

HRESULT CvrQtListViewHelper::ModelItemRect(QListView *view, int row, int *x, int *y, int *width, int *height) const
{
    if (!view->model())
        return E_FAIL;
    // Deliberately left in viewport coordinates, unlike the item path.
    StoreRect(GetIndexRect(view, row, view->modelColumn(), QModelIndex()), x, y, width, height);
    return S_OK;
}

HRESULT CvrQtListViewHelper::ModelScrollToItem(QListView *view, int row) const
{
    if (!view->model())
        return E_FAIL;
    ScrollToIndex(view, row, view->modelColumn(), QModelIndex());
    return S_OK;
}

HRESULT CvrQtListViewHelper::GetSelectedItems(QWidget *widget, VARIANT *rows)
{
    if (!rows)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) { return ModelSelectedItems(view, rows); });
}

HRESULT CvrQtListViewHelper::IsItemSelected(QWidget *widget, int row, VARIANT_BOOL *selected)
{
    if (!selected)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) { return ModelIsItemSelected(view, row, selected); });
}

HRESULT CvrQtListViewHelper::GetItemText(QWidget *widget, int row, BSTR *text)
{
    if (!text)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) { return ModelItemText(view, row, text); });
}

HRESULT CvrQtListViewHelper::GetItemRect(QWidget *widget, int row, int *x, int *y, int *width, int *height)
{
    if (!x || !y || !width || !height)
        return E_POINTER;
    return WithWidget<QListView>(widget,
                                 [&](QListView *view) { return ModelItemRect(view, row, x, y, width, height); });
}

HRESULT CvrQtListViewHelper::SelectItem(QWidget *widget, int row, VARIANT_BOOL selected)
{
    return WithWidget<QListView>(widget, [&](QListView *view) {
        QItemSelectionModel *selection = view->selectionModel();
        if (!view->model() || !selection)
            return E_FAIL;
        const QModelIndex index = GetModelIndex(view, row, view->modelColumn(), QModelIndex());
        if (!IsValidIndex(index))
            return E_FAIL;
        // Only VARIANT_TRUE selects; 1 deselects, deliberately.
        selection->select(index,
                          selected == VARIANT_TRUE ? QItemSelectionModel::Select : QItemSelectionModel::Deselect);
        return S_OK;
    });
}

HRESULT CvrQtListViewHelper::GetCurrentRow(QWidget *widget, int *row)
{
    if (!row)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        *row = view->currentIndex().row();
        return S_OK;
    });
}

HRESULT CvrQtListViewHelper::ScrollToItem(QWidget *widget, int row)
{
    return WithWidget<QListView>(widget, [&](QListView *view) { return ModelScrollToItem(view, row); });
}

HRESULT CvrQtListViewHelper::GetItemCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        const QAbstractItemModel *model = view->model();
        *count = model ? model->rowCount(view->rootIndex()) : 0;
        return S_OK;
    });
}

HRESULT CvrQtListViewHelper::GetSelectionMode(QWidget *widget, int *mode)
{
    return ViewSelectionMode<QListView>(widget, mode);
}

HRESULT CvrQtListViewHelper::SetAllSelected(QWidget *widget, VARIANT_BOOL selected)
{
    return SelectAllOrClear<QListView>(widget, selected);
}

HRESULT CvrQtListViewHelper::GetViewPort(QWidget *widget, int which, QWidget **viewPort)
{
    if (!viewPort)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        *viewPort = nullptr;
        if (which != 0)
            return E_INVALIDARG;
        *viewPort = view->viewport();
        return S_OK;
    });
}

HRESULT CvrQtListWidgetHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtListWidgetHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtListWidgetHelper>(IID_IvrQtListWidgetHelper),
                                 Implements<Self, IvrQtListViewHelper>(IID_IvrQtListViewHelper),
                                 Implements<Self, IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
                               riid, object);
}

HRESULT CvrQtListWidgetHelper::GetSelectedItems(QWidget *widget, VARIANT *rows)
{
    if (!rows)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        const QListWidget *list = qobject_cast<QListWidget *>(view);
        if (!list)
            return ModelSelectedItems(view, rows);
        QList<int> selectedRows;
        for (QListWidgetItem *item : list->selectedItems())
            selectedRows.append(list->row(item));
        return StoreRows(selectedRows, rows);
    });
}

HRESULT CvrQtListWidgetHelper::IsItemSelected(QWidget *widget, int row, VARIANT_BOOL *selected)
{
    if (!selected)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        QListWidgetItem *item = ItemOf(view, row);
        if (!item)
            return ModelIsItemSelected(view, row, selected);
        *selected = ToVariantBool(item->listWidget()->selectedItems().contains(item));
        return S_OK;
    });
}

HRESULT CvrQtListWidgetHelper::GetItemText(QWidget *widget, int row, BSTR *text)
{
    if (!text)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        const QListWidgetItem *item = ItemOf(view, row);
        if (!item)
            return ModelItemText(view, row, text);
        *text = QStringToBstr(item->text());
        return S_OK;
    });
}

HRESULT CvrQtListWidgetHelper::GetItemRect(QWidget *widget, int row, int *x, int *y, int *width, int *height)
{
    if (!x || !y || !width || !height)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        QListWidgetItem *item = ItemOf(view, row);
        if (!item)
            return ModelItemRect(view, row, x, y, width, height);
        QListWidget *list = item->listWidget();
        QRect rect;
        RunForWidget(list, [&] { rect = list->visualItemRect(item); });
        StoreRect(rect, x, y, width, height);
        MapToWindowXY(list->viewport(), x, y);
        return S_OK;
    });
}

HRESULT CvrQtListWidgetHelper::SelectItem(QWidget *widget, int row, VARIANT_BOOL selected)
{
    return CvrQtListViewHelper::SelectItem(widget, row, selected);
}

HRESULT CvrQtListWidgetHelper::GetCurrentRow(QWidget *widget, int *row)
{
    if (!row)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        const QListWidget *list = qobject_cast<QListWidget *>(view);
        *row = list ? list->currentRow() : view->currentIndex().row();
        return S_OK;
    });
}

HRESULT CvrQtListWidgetHelper::ScrollToItem(QWidget *widget, int row)
{
    return WithWidget<QListView>(widget, [&](QListView *view) {
        QListWidgetItem *item = ItemOf(view, row);
        if (!item)
            return ModelScrollToItem(view, row);
        QListWidget *list = item->listWidget();
        RunForWidget(list, [&] { list->scrollToItem(item, QAbstractItemView::EnsureVisible); });
        return S_OK;
    });
}

HRESULT CvrQtListWidgetHelper::GetItemCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithWidget<QListView>(widget, [&](QListView *view) {
        const QListWidget *list = qobject_cast<QListWidget *>(view);
        const QAbstractItemModel *model = view->model();
        *count = list ? list->count() : model ? model->rowCount(view->rootIndex()) : 0;
        return S_OK;
    });
}

HRESULT CreateListWidgetHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtListWidgetHelper, IvrQtListWidgetHelper>(helper);
}
