#include "controls/comboboxhelper.h"

#include <QAbstractItemView>
#include <QComboBox>

#include <type_traits>

#include "controls/helperfactories.h"
#include "values/stringbridges.h"

// The popup list is a child of the combo box's popup, which gets its native
// window only when first shown; work on the list therefore goes to the combo
// box's thread (the list's too) through the combo box itself, which has a
// native window whenever it is on show.

namespace {

// One reading of the combo box into result, on the caller's thread;
// E_POINTER for a null result. A BSTR result is null before anything else.
template <typename Result, typename Read>
HRESULT ReadCombo(QWidget *widget, Result *result, Read read)
{
    if (!result)
        return E_POINTER;
    if constexpr (std::is_same_v<Result, BSTR>)
        *result = nullptr;
    return WithWidget<QComboBox>(widget, [&](QComboBox *combo) {
        *result = read(combo);
        return S_OK;
    });
}

} // namespace

HRESULT CvrQtComboBoxHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtComboBoxHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtComboBoxHelper>(IID_IvrQtComboBoxHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper),
                                 Implements<Self, IvrQtBaseItemsWidgetHelper>(IID_IvrQtBaseItemsWidgetHelper) },
                               riid, object);
}

QModelIndex CvrQtComboBoxHelper::GetComboIndex(const QComboBox *combo, int row)
{
    const QAbstractItemModel *model = combo->model();
    if (!model)
        return QModelIndex();
    return model->index(row, combo->modelColumn(), combo->rootModelIndex());
}

// The combo box's thread (ExecuteForWidget).
QAbstractItemView *CvrQtComboBoxHelper::EnsurePopupView(QComboBox *combo)
{
    QAbstractItemView *view = nullptr;
    RunForWidget(combo, [&] { view = combo->view(); });
    return view;
}

HRESULT CvrQtComboBoxHelper::GetCurrentIndex(QWidget *widget, int *index)
{
    return ReadCombo(widget, index, [](QComboBox *combo) { return combo->currentIndex(); });
}

HRESULT CvrQtComboBoxHelper::GetItemText(QWidget *widget, int index, BSTR *text)
{
    return ReadCombo(widget, text, [index](QComboBox *combo) {
        return QStringToBstr(index == -1 ? combo->currentText() : combo->itemText(index));
    });
}

// The combo box's thread for the list (ExecuteForWidget).
HRESULT CvrQtComboBoxHelper::GetItemRect(QWidget *widget, int index, int *x, int *y, int *width, int *height)
{
    if (!x || !y || !width || !height)
        return E_POINTER;
    return WithWidget<QComboBox>(widget, [&](QComboBox *combo) {
        const QModelIndex item = GetComboIndex(combo, index);
        // Deliberately S_OK with the caller's values for a row that names no item.
        if (!item.isValid())
            return S_OK;
        QAbstractItemView *view = EnsurePopupView(combo);
        if (!view)
            return E_FAIL;
        QRect rect;
        RunForWidget(combo, [&] { rect = view->visualRect(item); });
        StoreRect(rect, x, y, width, height);
        MapToWindowXY(view->viewport(), x, y);
        return S_OK;
    });
}

// The combo box's thread (ExecuteForWidget).
HRESULT CvrQtComboBoxHelper::ScrollToItem(QWidget *widget, int index)
{
    return WithWidget<QComboBox>(widget, [&](QComboBox *combo) {
        const QModelIndex item = GetComboIndex(combo, index);
        if (!item.isValid())
            return S_OK;
        QAbstractItemView *view = EnsurePopupView(combo);
        if (!view || !RunForWidget(combo, [&] { view->scrollTo(item, QAbstractItemView::EnsureVisible); }))
            return E_FAIL;
        return S_OK;
    });
}

// The combo box's thread (ExecuteForWidget).
HRESULT CvrQtComboBoxHelper::SetPopupVisible(QWidget *widget, VARIANT_BOOL show)
{
    return WithWidget<QComboBox>(widget, [&](QComboBox *combo) {
        RunForWidget(combo, [&] {
            // Deliberately -1 only shows: 1, like any other value, hides.
            if (show == VARIANT_TRUE)
                combo->showPopup();
            else
                combo->hidePopup();
        });
        return S_OK;
    });
}

// The combo box's thread (ExecuteForWidget).
HRESULT CvrQtComboBoxHelper::IsPopupVisible(QWidget *widget, VARIANT_BOOL *visible)
{
    if (!visible)
        return E_POINTER;
    return WithWidget<QComboBox>(widget, [&](QComboBox *combo) {
        bool shown = false;
        const bool reached = RunForWidget(combo, [&] {
            // Both the popup and the list in it must be on show.
            const QAbstractItemView *view = combo->view();
            const QWidget *popup = view ? view->parentWidget() : nullptr;
            shown = popup && popup->isVisible() && view->isVisible();
        });
        if (!reached)
            return E_FAIL;
        *visible = ToVariantBool(shown);
        return S_OK;
    });
}

// The combo box's thread to make the list (ExecuteForWidget).
HRESULT CvrQtComboBoxHelper::GetViewPort(QWidget *widget, int which, QWidget **viewPort)
{
    if (!viewPort)
        return E_POINTER;
    *viewPort = nullptr;
    if (which != 0)
        return E_FAIL;
    return WithWidget<QComboBox>(widget, [&](QComboBox *combo) {
        const QAbstractItemView *view = EnsurePopupView(combo);
        if (!view)
            return E_FAIL;
        *viewPort = view->viewport();
        return S_OK;
    });
}

// The combo box's thread (ExecuteForWidget).
HRESULT CvrQtComboBoxHelper::GetItemCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithWidget<QComboBox>(widget, [&](QComboBox *combo) {
        int items = 0;
        if (!RunForWidget(combo, [&] { items = combo->count(); }))
            return E_FAIL;
        *count = items;
        return S_OK;
    });
}

HRESULT CvrQtComboBoxHelper::GetSelectionMode(QWidget *widget, int *mode)
{
    // Deliberately always 4 (no selection mode), whatever the list allows.
    return ReadCombo(widget, mode, [](QComboBox *) { return 4; });
}

HRESULT CvrQtComboBoxHelper::SetAllSelected(QWidget *widget, VARIANT_BOOL)
{
    // Deliberately nothing: the combo box selects one item or none.
    return WithWidget<QComboBox>(widget, [](QComboBox *) { return S_OK; });
}

HRESULT CreateComboBoxHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtComboBoxHelper, IvrQtComboBoxHelper>(helper);
}
