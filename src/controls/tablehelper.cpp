#include "controls/tablehelper.h"

#include <QHeaderView>
#include <QTableView>
#include <QTableWidget>

#include "controls/helperfactories.h"
#include "values/stringbridges.h"

namespace {

// The rows of a view's model, or its columns; 0 without a model.
int ModelCount(const QTableView *view, Qt::Orientation orientation)
{
    const QAbstractItemModel *model = view->model();
    if (!model)
        return 0;
    return orientation == Qt::Vertical ? model->rowCount(view->rootIndex()) : model->columnCount(view->rootIndex());
}

// The section at a visual index when it has a rectangle: Qt 5 reports a
// position for a hidden section too, hence the second test.
int VisibleSection(const QHeaderView *header, int visual)
{
    const int logical = header->logicalIndex(visual);
    if (header->sectionPosition(logical) == -1 || header->isSectionHidden(logical))
        return -1;
    return logical;
}

} // namespace

HRESULT CvrQtTableViewHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtTableViewHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtTableViewHelper>(IID_IvrQtTableViewHelper),
                                 Implements<Self, IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
                               riid, object);
}

HRESULT CvrQtTableViewHelper::ModelHeaderText(QTableView *view, Qt::Orientation orientation, int index,
                                              BSTR *text) const
{
    *text = nullptr;
    const QHeaderView *header = orientation == Qt::Horizontal ? view->horizontalHeader() : view->verticalHeader();
    const QAbstractItemModel *model = view->model();
    if (!header || !model)
        return S_OK;
    // The index is visual here and logical on the item path: a deliberate
    // asymmetry.
    *text = QStringToBstr(model->headerData(header->logicalIndex(index), orientation, 0).toString());
    return S_OK;
}

HRESULT CvrQtTableViewHelper::ModelCellText(QTableView *view, int row, int column, BSTR *text) const
{
    *text = nullptr;
    if (view->model())
        *text = QStringToBstr(GetCellTextAt(view, row, column, QModelIndex()));
    return S_OK;
}

HRESULT CvrQtTableViewHelper::ModelSetCellText(QTableView *view, int row, int column, BSTR text) const
{
    if (!view->model() || !SetCellTextAt(view, row, column, BstrToQString(text), QModelIndex()))
        return E_FAIL;
    return S_OK;
}

HRESULT CvrQtTableViewHelper::ModelScrollToCell(QTableView *view, int row, int column) const
{
    // Negative numbers pass this test.
    if (row >= ModelCount(view, Qt::Vertical) || column >= ModelCount(view, Qt::Horizontal) || !view->model())
        return E_FAIL;
    ScrollToIndex(view, row, column, QModelIndex());
    return S_OK;
}

bool CvrQtTableViewHelper::GetVerticalHeaderRect(const QTableView *view, int row, int *x, int *y, int *width,
                                                 int *height)
{
    *x = *y = *width = *height = -1;
    const QHeaderView *header = view->verticalHeader();
    if (!header)
        return false;
    const int logical = VisibleSection(header, row);
    if (logical == -1)
        return false;
    const QWidget *viewport = header->viewport();
    *x = viewport->x();
    *y = header->sectionViewportPosition(logical);
    *width = viewport->width();
    *height = header->sectionSize(logical);
    return true;
}

bool CvrQtTableViewHelper::GetHorizontalHeaderRect(const QTableView *view, int column, int *x, int *y, int *width,
                                                   int *height)
{
    *x = *y = *width = *height = -1;
    const QHeaderView *header = view->horizontalHeader();
    if (!header)
        return false;
    const int logical = VisibleSection(header, column);
    if (logical == -1)
        return false;
    const QWidget *viewport = header->viewport();
    *x = header->sectionViewportPosition(logical);
    *y = viewport->y();
    *width = header->sectionSize(logical);
    *height = viewport->height();
    return true;
}

HRESULT CvrQtTableViewHelper::GetRowCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        *count = ModelCount(view, Qt::Vertical);
        return S_OK;
    });
}

HRESULT CvrQtTableViewHelper::GetHorizontalHeaderText(QWidget *widget, int index, BSTR *text)
{
    if (!text)
        return E_POINTER;
    return WithWidget<QTableView>(widget,
                                  [&](QTableView *view) { return ModelHeaderText(view, Qt::Horizontal, index, text); });
}

HRESULT CvrQtTableViewHelper::GetVerticalHeaderText(QWidget *widget, int index, BSTR *text)
{
    if (!text)
        return E_POINTER;
    return WithWidget<QTableView>(widget,
                                  [&](QTableView *view) { return ModelHeaderText(view, Qt::Vertical, index, text); });
}

HRESULT CvrQtTableViewHelper::GetCellText(QWidget *widget, int row, int column, BSTR *text)
{
    if (!text)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) { return ModelCellText(view, row, column, text); });
}

HRESULT CvrQtTableViewHelper::SetCellText(QWidget *widget, int row, int column, BSTR text)
{
    return WithWidget<QTableView>(widget, [&](QTableView *view) { return ModelSetCellText(view, row, column, text); });
}

HRESULT CvrQtTableViewHelper::GetCellRect(QWidget *widget, int row, int column, int *x, int *y, int *width, int *height)
{
    if (!x || !y || !width || !height)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        if (column == -1 && row >= 0) {
            if (!GetVerticalHeaderRect(view, row, x, y, width, height))
                return E_FAIL;
            MapToWindowXY(view->verticalHeader()->viewport(), x, y);
            return S_OK;
        }
        if (row == -1 && column >= 0) {
            if (!GetHorizontalHeaderRect(view, column, x, y, width, height))
                return E_FAIL;
            MapToWindowXY(view->horizontalHeader()->viewport(), x, y);
            return S_OK;
        }
        if (!view->model())
            return E_FAIL;
        // Row and column both -1 name no index: 0, 0, 0, 0 mapped, S_OK.
        StoreRect(GetIndexRect(view, row, column, QModelIndex()), x, y, width, height);
        MapToWindowXY(view->viewport(), x, y);
        return S_OK;
    });
}

HRESULT CvrQtTableViewHelper::ScrollToCell(QWidget *widget, int row, int column)
{
    return WithWidget<QTableView>(widget, [&](QTableView *view) { return ModelScrollToCell(view, row, column); });
}

HRESULT CvrQtTableViewHelper::GetItemCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        *count = ModelCount(view, Qt::Horizontal);
        return S_OK;
    });
}

HRESULT CvrQtTableViewHelper::GetSelectionMode(QWidget *widget, int *mode)
{
    return ViewSelectionMode<QTableView>(widget, mode);
}

HRESULT CvrQtTableViewHelper::SetAllSelected(QWidget *widget, VARIANT_BOOL selected)
{
    return SelectAllOrClear<QTableView>(widget, selected);
}

HRESULT CvrQtTableViewHelper::GetViewPort(QWidget *widget, int which, QWidget **viewPort)
{
    if (!viewPort)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        *viewPort = nullptr;
        const QHeaderView *header = nullptr;
        switch (which) {
        case 0:
            *viewPort = view->viewport();
            return S_OK;
        case 1:
            header = view->verticalHeader();
            break;
        case 2:
            header = view->horizontalHeader();
            break;
        default:
            return E_INVALIDARG;
        }
        *viewPort = header ? header->viewport() : nullptr;
        return S_OK;
    });
}

HRESULT CvrQtTableWidgetHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtTableWidgetHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtTableWidgetHelper>(IID_IvrQtTableWidgetHelper),
                                 Implements<Self, IvrQtTableViewHelper>(IID_IvrQtTableViewHelper),
                                 Implements<Self, IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
                               riid, object);
}

HRESULT CvrQtTableWidgetHelper::GetRowCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        const QTableWidget *table = qobject_cast<QTableWidget *>(view);
        *count = table ? table->rowCount() : ModelCount(view, Qt::Vertical);
        return S_OK;
    });
}

HRESULT CvrQtTableWidgetHelper::HeaderText(QWidget *widget, Qt::Orientation orientation, int index, BSTR *text) const
{
    if (!text)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        const QTableWidget *table = qobject_cast<QTableWidget *>(view);
        const QTableWidgetItem *item = !table                           ? nullptr
                                       : orientation == Qt::Horizontal ? table->horizontalHeaderItem(index)
                                                                       : table->verticalHeaderItem(index);
        if (!item)
            return ModelHeaderText(view, orientation, index, text);
        // The raw index, taken as logical: deliberately unlike the model path.
        *text = QStringToBstr(item->text());
        return S_OK;
    });
}

HRESULT CvrQtTableWidgetHelper::GetHorizontalHeaderText(QWidget *widget, int index, BSTR *text)
{
    return HeaderText(widget, Qt::Horizontal, index, text);
}

HRESULT CvrQtTableWidgetHelper::GetVerticalHeaderText(QWidget *widget, int index, BSTR *text)
{
    return HeaderText(widget, Qt::Vertical, index, text);
}

HRESULT CvrQtTableWidgetHelper::GetCellText(QWidget *widget, int row, int column, BSTR *text)
{
    if (!text)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        const QTableWidget *table = qobject_cast<QTableWidget *>(view);
        const QTableWidgetItem *item = table ? table->item(row, column) : nullptr;
        if (!item)
            return ModelCellText(view, row, column, text);
        *text = QStringToBstr(item->text());
        return S_OK;
    });
}

HRESULT CvrQtTableWidgetHelper::SetCellText(QWidget *widget, int row, int column, BSTR text)
{
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        const QTableWidget *table = qobject_cast<QTableWidget *>(view);
        QTableWidgetItem *item = table ? table->item(row, column) : nullptr;
        if (!item)
            return ModelSetCellText(view, row, column, text);
        item->setText(BstrToQString(text));
        return S_OK;
    });
}

HRESULT CvrQtTableWidgetHelper::GetCellRect(QWidget *widget, int row, int column, int *x, int *y, int *width,
                                            int *height)
{
    return CvrQtTableViewHelper::GetCellRect(widget, row, column, x, y, width, height);
}

HRESULT CvrQtTableWidgetHelper::ScrollToCell(QWidget *widget, int row, int column)
{
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        QTableWidget *table = qobject_cast<QTableWidget *>(view);
        if (!table)
            return ModelScrollToCell(view, row, column);
        // Negative numbers pass this test.
        if (row >= table->rowCount() || column >= table->columnCount())
            return E_FAIL;
        QTableWidgetItem *item = column == -1 && row >= 0 ? table->item(row, 0)
                                 : row == -1 && column >= 0 ? table->item(0, column)
                                                            : table->item(row, column);
        if (!item)
            return ModelScrollToCell(view, row, column);
        RunForWidget(table, [&] { table->scrollToItem(item, QAbstractItemView::EnsureVisible); });
        return S_OK;
    });
}

HRESULT CvrQtTableWidgetHelper::GetItemCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithWidget<QTableView>(widget, [&](QTableView *view) {
        const QTableWidget *table = qobject_cast<QTableWidget *>(view);
        *count = table ? table->columnCount() : ModelCount(view, Qt::Horizontal);
        return S_OK;
    });
}

HRESULT CreateTableWidgetHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtTableWidgetHelper, IvrQtTableWidgetHelper>(helper);
}
