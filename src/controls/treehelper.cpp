#include "controls/treehelper.h"

#include <QHeaderView>
#include <QScrollBar>
#include <QTreeView>
#include <QTreeWidget>

#include <algorithm>

#include "controls/helperfactories.h"
#include "controls/treewidgetlistener.h"
#include "values/stringbridges.h"

namespace {

constexpr int kExpandLimitMs = 3000;
constexpr DWORD kScrollLimitMs = 1000;
constexpr DWORD kScrollStepMs = 100;
constexpr int kShowLimitMs = 1000;
constexpr int kShowStepMs = 200;

// The elements of a path: a one-dimensional array of VARIANTs, counted
// from its lower bound. Anything else is no path.
class PathElements
{
public:
    explicit PathElements(const VARIANT &path)
    {
        if (V_VT(&path) != (VT_ARRAY | VT_VARIANT) || !V_ARRAY(&path) || SafeArrayGetDim(V_ARRAY(&path)) != 1)
            return;
        if (FAILED(SafeArrayGetLBound(V_ARRAY(&path), 1, &lower))
            || FAILED(SafeArrayGetUBound(V_ARRAY(&path), 1, &upper)))
            return;
        array = V_ARRAY(&path);
    }

    bool isPath() const { return array != nullptr; }
    int count() const { return array ? int(upper - lower + 1) : 0; }
    // The element at position, or null.
    const VARIANT *at(int position) const
    {
        LONG index = lower + position;
        void *element = nullptr;
        if (!array || FAILED(SafeArrayPtrOfIndex(array, &index, &element)))
            return nullptr;
        return static_cast<const VARIANT *>(element);
    }

private:
    SAFEARRAY *array = nullptr;
    LONG lower = 0;
    LONG upper = -1;
};

bool IsIndexElement(const VARIANT *element) { return element && V_VT(element) == VT_I4; }
bool IsTextElement(const VARIANT *element) { return element && V_VT(element) == VT_BSTR; }

// A child index in range, or the first child whose text in column 0 is the
// element's text; null for anything else.
QTreeWidgetItem *ResolveItemPathElement(QTreeWidgetItem *parent, const VARIANT *element)
{
    if (IsIndexElement(element)) {
        const LONG value = V_I4(element);
        return value >= 0 && value < parent->childCount() ? parent->child(value) : nullptr;
    }
    if (IsTextElement(element)) {
        const QString text = BstrToQString(V_BSTR(element));
        for (int child = 0; child < parent->childCount(); ++child) {
            if (parent->child(child)->text(0) == text)
                return parent->child(child);
        }
    }
    return nullptr;
}

// Walks path from the invisible root; -1 and the item when it resolved, else
// the failing element's position. An empty path gives the invisible root.
int ResolveItemPath(QTreeWidget *tree, const VARIANT &path, QTreeWidgetItem **item)
{
    const PathElements elements(path);
    if (!elements.isPath())
        return 0;
    QTreeWidgetItem *current = tree->invisibleRootItem();
    for (int position = 0; position < elements.count(); ++position) {
        current = ResolveItemPathElement(current, elements.at(position));
        if (!current)
            return position;
    }
    *item = current;
    return -1;
}

// Where column shows the item's row, in viewport coordinates; on the tree's
// thread (ExecuteForWidget), for fresh geometry.
QRect CellGeometry(QTreeWidget *tree, QTreeWidgetItem *item, int column)
{
    QRect cell;
    RunForWidget(tree, [&] {
        const QRect row = tree->visualItemRect(item);
        cell = QRect(tree->columnViewportPosition(column), row.top(), tree->columnWidth(column), row.height());
    });
    return cell;
}

// Turns animation off for one call and back on at its end; the calling
// thread, as the tree's animation flag is a plain setting.
class AnimationPause
{
public:
    explicit AnimationPause(QTreeView *view) : view(view), wasAnimated(view->isAnimated())
    {
        if (wasAnimated)
            view->setAnimated(false);
    }
    void restore() { view->setAnimated(wasAnimated); }

private:
    QTreeView *view;
    bool wasAnimated;
};

// Scrolls horizontally until the column shows as much of itself as the
// viewport can hold; the calling thread.
void ScrollToColumn(QTreeView *view, int column)
{
    const int x = view->columnViewportPosition(column);
    QScrollBar *bar = view->horizontalScrollBar();
    if (!bar || x == 0)
        return;
    int value = x + bar->value();
    if (x > 0) {
        const int viewportWidth = view->viewport()->width();
        const int distance = std::min(view->columnWidth(column), viewportWidth) - viewportWidth + x;
        if (distance < 1)
            return;
        value = distance + bar->value();
    }
    bar->setValue(value);
}

// The tree widget's own path when widget is a live QTreeWidget: failedAt -1
// and reset() first, then onItem with the item that path names, or E_FAIL
// and the failing position in failedAt. Any other widget goes to onView,
// the view class's model path with its own widget check.
template <typename Reset, typename OnItem, typename OnView>
HRESULT ForTreeItem(QWidget *widget, const VARIANT &path, int *failedAt, Reset &&reset, OnItem &&onItem,
                    OnView &&onView)
{
    if (!LiveWidgetAs<QTreeWidget>(widget))
        return onView();
    return WithWidget<QTreeWidget>(widget, [&](QTreeWidget *tree) {
        reset();
        QTreeWidgetItem *item = nullptr;
        if ((*failedAt = ResolveItemPath(tree, path, &item)) != -1)
            return E_FAIL;
        return onItem(tree, item);
    });
}

// A yes-or-no question about the item that path names.
template <typename Question, typename OnView>
HRESULT AskItem(QWidget *widget, const VARIANT &path, VARIANT_BOOL *answer, int *failedAt, Question &&question,
                OnView &&onView)
{
    if (!answer || !failedAt)
        return E_POINTER;
    return ForTreeItem(
        widget, path, failedAt, [&] { *answer = VARIANT_FALSE; },
        [&](QTreeWidget *, QTreeWidgetItem *item) {
            *answer = ToVariantBool(question(item));
            return S_OK;
        },
        onView);
}

// Scrolls the item into the viewport until its cell's far corner is where a
// click would reach the viewport, or a second has passed (no failure); then
// the column. Sleeps on the calling thread between tries.
void ScrollCellIntoView(QTreeWidget *tree, QTreeWidgetItem *item, int column)
{
    const auto scroll = [&] {
        RunForWidget(tree, [&] { tree->scrollToItem(item, QAbstractItemView::EnsureVisible); });
    };
    QWidget *viewport = tree->viewport();
    const WId window = viewport ? viewport->effectiveWinId() : 0;
    QWidget *owner = window ? QWidget::find(window) : nullptr;
    if (!owner) {
        scroll();
    } else {
        const DWORD start = GetTickCount();
        while (GetTickCount() - start < kScrollLimitMs) {
            scroll();
            // The corner is taken after each scroll: taken once before the
            // first, it would stay where the item was.
            const QRect cell = CellGeometry(tree, item, column);
            QPoint corner(cell.x() + cell.width() - 1, cell.y() + cell.height() - 1);
            MapToWindow(viewport, &corner);
            if (owner->childAt(corner) == viewport)
                break;
            Sleep(kScrollStepMs);
        }
    }
    ScrollToColumn(tree, column);
}

} // namespace

// ---- the model path -------------------------------------------------------

HRESULT CvrQtTreeViewHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtTreeViewHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtTreeViewHelper>(IID_IvrQtTreeViewHelper),
                                 Implements<Self, IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
                               riid, object);
}

bool CvrQtTreeViewHelper::ResolvePathElement(const QTreeView *view, const QModelIndex &parent, const VARIANT *element,
                                             QModelIndex *child) const
{
    const QAbstractItemModel *model = view->model();
    const int rows = model->rowCount(parent);
    if (IsIndexElement(element)) {
        const LONG value = V_I4(element);
        // Out of range gives an invalid index, which does not fail: the walk
        // goes on from the root. Deliberately silent, unlike the tree widget.
        *child = value >= 0 && value < rows ? model->index(value, 0, parent) : QModelIndex();
        return true;
    }
    if (IsTextElement(element)) {
        const QString text = BstrToQString(V_BSTR(element));
        for (int row = 0; row < rows; ++row) {
            if (GetCellTextAt(view, row, 0, parent) == text) {
                *child = GetModelIndex(view, row, 0, parent);
                return true;
            }
        }
    }
    return false;
}

int CvrQtTreeViewHelper::ResolveModelPath(const QTreeView *view, const QModelIndex &start, const VARIANT &path,
                                          QModelIndex *index) const
{
    const PathElements elements(path);
    if (!elements.isPath())
        return 0;
    QModelIndex current = start.isValid() ? start : view->rootIndex();
    for (int position = 0; position < elements.count(); ++position) {
        if (!ResolvePathElement(view, current, elements.at(position), &current))
            return position;
    }
    *index = current;
    return -1;
}

template <typename Reset, typename Operation>
HRESULT CvrQtTreeViewHelper::WithModelPath(QWidget *widget, const VARIANT &path, int *failedAt, HRESULT withoutModel,
                                           Reset &&reset, Operation &&operation) const
{
    return WithWidget<QTreeView>(widget, [&](QTreeView *view) {
        *failedAt = -1;
        reset();
        if (!view->model())
            return withoutModel;
        QModelIndex index;
        if ((*failedAt = ResolveModelPath(view, QModelIndex(), path, &index)) != -1)
            return E_FAIL;
        return operation(view, index);
    });
}

HRESULT CvrQtTreeViewHelper::GetChildCount(QWidget *widget, VARIANT path, int *count, int *failedAt)
{
    if (!count || !failedAt)
        return E_POINTER;
    return WithModelPath(
        widget, path, failedAt, S_OK, [&] { *count = 0; },
        [&](QTreeView *view, const QModelIndex &index) {
            *count = view->model()->rowCount(index);
            return S_OK;
        });
}

HRESULT CvrQtTreeViewHelper::GetItemText(QWidget *widget, VARIANT path, int column, BSTR *text, int *failedAt)
{
    if (!text || !failedAt)
        return E_POINTER;
    const PathElements elements(path);
    const VARIANT *first = elements.count() > 0 ? elements.at(0) : nullptr;
    if (IsIndexElement(first) && V_I4(first) == -1) {
        // An array led by -1 names the header: the rest of it is not read.
        return WithWidget<QTreeView>(widget, [&](QTreeView *view) {
            *failedAt = -1;
            *text = nullptr;
            const QHeaderView *header = view->header();
            if (view->model() && header && header->model()) {
                *text = QStringToBstr(
                    header->model()->headerData(header->logicalIndex(column), header->orientation(), 0).toString());
            }
            return S_OK;
        });
    }
    return WithModelPath(
        widget, path, failedAt, S_OK, [&] { *text = nullptr; },
        [&](QTreeView *, const QModelIndex &index) {
            *text = QStringToBstr(GetIndexText(column != 0 ? index.sibling(index.row(), column) : index));
            return S_OK;
        });
}

template <typename Question>
HRESULT CvrQtTreeViewHelper::AskModel(QWidget *widget, const VARIANT &path, VARIANT_BOOL *answer, int *failedAt,
                                      Question &&question) const
{
    if (!answer || !failedAt)
        return E_POINTER;
    return WithModelPath(
        widget, path, failedAt, S_OK, [&] { *answer = VARIANT_FALSE; },
        [&](QTreeView *view, const QModelIndex &index) {
            *answer = ToVariantBool(question(view, index));
            return S_OK;
        });
}

HRESULT CvrQtTreeViewHelper::IsItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL *expanded, int *failedAt)
{
    return AskModel(widget, path, expanded, failedAt,
                    [](QTreeView *view, const QModelIndex &index) { return view->isExpanded(index); });
}

HRESULT CvrQtTreeViewHelper::IsItemSelected(QWidget *widget, VARIANT path, VARIANT_BOOL *selected, int *failedAt)
{
    return AskModel(widget, path, selected, failedAt, [this](QTreeView *view, const QModelIndex &index) {
        return IsIndexSelected(view, index.row(), index.column(), index.parent()) == VARIANT_TRUE;
    });
}

HRESULT CvrQtTreeViewHelper::IsItemVisible(QWidget *widget, VARIANT path, VARIANT_BOOL *visible, int *failedAt)
{
    return AskModel(widget, path, visible, failedAt, [](QTreeView *view, const QModelIndex &index) {
        return !view->isRowHidden(index.row(), index.parent());
    });
}

HRESULT CvrQtTreeViewHelper::SetItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL expand, int *failedAt)
{
    if (!failedAt)
        return E_POINTER;
    return WithModelPath(
        widget, path, failedAt, E_FAIL, [] {},
        [&](QTreeView *view, const QModelIndex &index) {
            RunForWidget(view, [&] { view->setExpanded(index, expand == VARIANT_TRUE); });
            return S_OK;
        });
}

HRESULT CvrQtTreeViewHelper::GetItemRect(QWidget *widget, VARIANT path, int column, int *x, int *y, int *width,
                                         int *height, int *failedAt)
{
    if (!x || !y || !width || !height || !failedAt)
        return E_POINTER;
    return WithModelPath(
        widget, path, failedAt, E_FAIL, [] {},
        [&](QTreeView *view, const QModelIndex &index) {
            const QRect row = GetIndexRect(view, index.row(), index.column(), index.parent());
            // Deliberately in viewport coordinates, unlike the tree widget.
            *x = view->columnViewportPosition(column);
            *y = row.top();
            *width = view->columnWidth(column);
            *height = row.height();
            return S_OK;
        });
}

HRESULT CvrQtTreeViewHelper::ScrollItemIntoView(QWidget *widget, VARIANT path, int column, int *failedAt)
{
    if (!failedAt)
        return E_POINTER;
    return WithModelPath(
        widget, path, failedAt, E_FAIL, [] {},
        [&](QTreeView *view, const QModelIndex &index) {
            ScrollToIndex(view, index.row(), index.column(), index.parent());
            ScrollToColumn(view, column);
            return S_OK;
        });
}

HRESULT CvrQtTreeViewHelper::ShowItem(QWidget *widget, VARIANT path, int column, int *failedAt)
{
    if (!failedAt)
        return E_POINTER;
    return WithModelPath(
        widget, path, failedAt, E_FAIL, [] {},
        [&](QTreeView *view, const QModelIndex &index) {
            const QModelIndex parent = index.parent();
            if (parent.isValid())
                RunForWidget(view, [&] { view->setExpanded(parent, true); });
            ScrollToIndex(view, index.row(), index.column(), parent);
            ScrollToColumn(view, column);
            return S_OK;
        });
}

HRESULT CvrQtTreeViewHelper::GetItemCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithWidget<QTreeView>(widget, [&](QTreeView *view) {
        const QHeaderView *header = view->header();
        *count = view->model() && header ? header->count() : 0;
        return S_OK;
    });
}

HRESULT CvrQtTreeViewHelper::GetSelectionMode(QWidget *widget, int *mode)
{
    if (!mode)
        return E_POINTER;
    return WithWidget<QTreeView>(widget, [&](QTreeView *view) {
        *mode = ConvertSelectionMode(view);
        return S_OK;
    });
}

HRESULT CvrQtTreeViewHelper::SetAllSelected(QWidget *widget, VARIANT_BOOL selected)
{
    return WithWidget<QTreeView>(widget, [&](QTreeView *view) {
        // Deliberately unlike the list and the table: 0 clears and anything
        // else selects, on the calling thread.
        if (selected == 0)
            view->clearSelection();
        else
            view->selectAll();
        return S_OK;
    });
}

HRESULT CvrQtTreeViewHelper::GetViewPort(QWidget *widget, int which, QWidget **viewPort)
{
    if (!viewPort)
        return E_POINTER;
    return WithWidget<QTreeView>(widget, [&](QTreeView *view) {
        *viewPort = nullptr;
        if (which != 0)
            return E_INVALIDARG;
        *viewPort = view->viewport();
        return S_OK;
    });
}

// ---- the tree widget ------------------------------------------------------

HRESULT CvrQtTreeWidgetHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtTreeWidgetHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtTreeWidgetHelper>(IID_IvrQtTreeWidgetHelper),
                                 Implements<Self, IvrQtTreeViewHelper>(IID_IvrQtTreeViewHelper),
                                 Implements<Self, IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
                               riid, object);
}

QModelIndex CvrQtTreeWidgetHelper::GetModelIndex(const QAbstractItemView *view, int row, int column,
                                                 const QModelIndex &parent) const
{
    if (parent.isValid())
        return parent.model()->index(row, column, parent);
    return CvrQtTreeViewHelper::GetModelIndex(view, row, column, QModelIndex());
}

HRESULT CvrQtTreeWidgetHelper::GetChildCount(QWidget *widget, VARIANT path, int *count, int *failedAt)
{
    if (!count || !failedAt)
        return E_POINTER;
    return ForTreeItem(
        widget, path, failedAt, [&] { *count = 0; },
        [&](QTreeWidget *, QTreeWidgetItem *item) {
            *count = item->childCount();
            return S_OK;
        },
        [&] { return CvrQtTreeViewHelper::GetChildCount(widget, path, count, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::GetItemText(QWidget *widget, VARIANT path, int column, BSTR *text, int *failedAt)
{
    if (!text || !failedAt)
        return E_POINTER;
    // The integer -1 itself names the header; inside an array -1 fails like
    // any index out of range.
    if (V_VT(&path) == VT_I4 && V_I4(&path) == -1 && LiveWidgetAs<QTreeWidget>(widget)) {
        return WithWidget<QTreeWidget>(widget, [&](QTreeWidget *tree) {
            *failedAt = -1;
            *text = QStringToBstr(tree->headerItem()->text(column));
            return S_OK;
        });
    }
    return ForTreeItem(
        widget, path, failedAt, [&] { *text = nullptr; },
        [&](QTreeWidget *, QTreeWidgetItem *item) {
            *text = QStringToBstr(item->text(column));
            return S_OK;
        },
        [&] { return CvrQtTreeViewHelper::GetItemText(widget, path, column, text, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::IsItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL *expanded, int *failedAt)
{
    return AskItem(
        widget, path, expanded, failedAt,
        [](const QTreeWidgetItem *item) { return item->treeWidget() && item->isExpanded(); },
        [&] { return CvrQtTreeViewHelper::IsItemExpanded(widget, path, expanded, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::IsItemSelected(QWidget *widget, VARIANT path, VARIANT_BOOL *selected, int *failedAt)
{
    return AskItem(
        widget, path, selected, failedAt,
        [](const QTreeWidgetItem *item) { return item->treeWidget() && item->isSelected(); },
        [&] { return CvrQtTreeViewHelper::IsItemSelected(widget, path, selected, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::IsItemVisible(QWidget *widget, VARIANT path, VARIANT_BOOL *visible, int *failedAt)
{
    // Only the hidden flag counts: under a collapsed parent a row is visible.
    return AskItem(
        widget, path, visible, failedAt,
        [](const QTreeWidgetItem *item) { return !item->treeWidget() || !item->isHidden(); },
        [&] { return CvrQtTreeViewHelper::IsItemVisible(widget, path, visible, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::SetItemExpanded(QWidget *widget, VARIANT path, VARIANT_BOOL expand, int *failedAt)
{
    if (!failedAt)
        return E_POINTER;
    return ForTreeItem(
        widget, path, failedAt, [] {},
        [&](QTreeWidget *tree, QTreeWidgetItem *item) {
            const bool wantExpanded = expand == VARIANT_TRUE;
            AnimationPause animation(tree);
            TreeWidgetListener listener;
            listener.Attach(tree, item, wantExpanded);
            RunForWidget(tree, [&] {
                if (wantExpanded)
                    tree->expandItem(item);
                else
                    tree->collapseItem(item);
            });
            animation.restore();
            return listener.WaitForState(kExpandLimitMs) ? S_OK : E_FAIL;
        },
        [&] { return CvrQtTreeViewHelper::SetItemExpanded(widget, path, expand, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::GetItemRect(QWidget *widget, VARIANT path, int column, int *x, int *y, int *width,
                                           int *height, int *failedAt)
{
    if (!x || !y || !width || !height || !failedAt)
        return E_POINTER;
    return ForTreeItem(
        widget, path, failedAt, [] {},
        [&](QTreeWidget *tree, QTreeWidgetItem *item) {
            StoreRect(CellGeometry(tree, item, column), x, y, width, height);
            MapToWindowXY(tree->viewport(), x, y);
            return S_OK;
        },
        [&] { return CvrQtTreeViewHelper::GetItemRect(widget, path, column, x, y, width, height, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::ScrollItemIntoView(QWidget *widget, VARIANT path, int column, int *failedAt)
{
    if (!failedAt)
        return E_POINTER;
    return ForTreeItem(
        widget, path, failedAt, [] {},
        [&](QTreeWidget *tree, QTreeWidgetItem *item) {
            ScrollCellIntoView(tree, item, column);
            return S_OK;
        },
        [&] { return CvrQtTreeViewHelper::ScrollItemIntoView(widget, path, column, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::ShowItem(QWidget *widget, VARIANT path, int column, int *failedAt)
{
    if (!failedAt)
        return E_POINTER;
    return ForTreeItem(
        widget, path, failedAt, [] {},
        [&](QTreeWidget *tree, QTreeWidgetItem *item) {
            AnimationPause animation(tree);
            ScrollCellIntoView(tree, item, column);
            // The last check, for the cell's centre in the viewport's visible
            // region; its outcome changes nothing of the result.
            const QWidget *viewport = tree->viewport();
            for (int waited = 0; waited < kShowLimitMs; waited += kShowStepMs) {
                const QRect cell = CellGeometry(tree, item, column);
                const QPoint centre(cell.x() + cell.width() / 2, cell.y() + cell.height() / 2);
                if (viewport && viewport->visibleRegion().contains(centre))
                    break;
                Sleep(kShowStepMs);
            }
            animation.restore();
            return S_OK;
        },
        [&] { return CvrQtTreeViewHelper::ShowItem(widget, path, column, failedAt); });
}

HRESULT CvrQtTreeWidgetHelper::GetItemCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    if (!LiveWidgetAs<QTreeWidget>(widget))
        return CvrQtTreeViewHelper::GetItemCount(widget, count);
    return WithWidget<QTreeWidget>(widget, [&](QTreeWidget *tree) {
        *count = tree->columnCount();
        return S_OK;
    });
}

HRESULT CreateTreeWidgetHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtTreeWidgetHelper, IvrQtTreeWidgetHelper>(helper);
}
