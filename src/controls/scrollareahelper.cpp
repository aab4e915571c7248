#include "controls/scrollareahelper.h"

#include <QAbstractScrollArea>
#include <QScrollBar>

#include <cstdint>

#include "controls/helperfactories.h"

namespace {

QScrollBar *ChooseBar(const QAbstractScrollArea *area, VARIANT_BOOL vertical)
{
    // Deliberately not a test for -1: 1 chooses the vertical bar too.
    return vertical != VARIANT_FALSE ? area->verticalScrollBar() : area->horizontalScrollBar();
}

// One reading of the chosen bar into result, on the caller's thread.
// result is set to onFailure first, so that a dead widget or a missing bar
// (E_FAIL) leaves it so; E_POINTER for a null result.
template <typename Result, typename Read>
HRESULT ReadBar(QWidget *widget, VARIANT_BOOL vertical, Result *result, Result onFailure, Read read)
{
    if (!result)
        return E_POINTER;
    *result = onFailure;
    return WithWidget<QAbstractScrollArea>(widget, [&](QAbstractScrollArea *area) {
        QScrollBar *bar = ChooseBar(area, vertical);
        if (!bar)
            return E_FAIL;
        *result = read(bar);
        return S_OK;
    });
}

} // namespace

HRESULT CvrQtScrollAreaHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(
        this, { Implements<CvrQtScrollAreaHelper, IvrQtScrollAreaHelper>(IID_IvrQtScrollAreaHelper) }, riid, object);
}

HRESULT CvrQtScrollAreaHelper::GetScrollPos(QWidget *widget, VARIANT_BOOL vertical, int *position)
{
    return ReadBar(widget, vertical, position, -1, [](QScrollBar *bar) { return bar->value(); });
}

// The scroll area's thread (ExecuteForWidget), reached through the scroll
// area: a bar that was never on show has no native window to find it by.
HRESULT CvrQtScrollAreaHelper::SetScrollPos(QWidget *widget, VARIANT_BOOL vertical, int position)
{
    return WithWidget<QAbstractScrollArea>(widget, [&](QAbstractScrollArea *area) {
        QScrollBar *bar = ChooseBar(area, vertical);
        if (!bar || !RunForWidget(area, [&] { bar->setValue(position); }))
            return E_FAIL;
        return S_OK;
    });
}

HRESULT CvrQtScrollAreaHelper::GetScrollMax(QWidget *widget, VARIANT_BOOL vertical, int *maximum)
{
    return ReadBar(widget, vertical, maximum, -1, [](QScrollBar *bar) { return bar->maximum(); });
}

HRESULT CvrQtScrollAreaHelper::GetScrollMin(QWidget *widget, VARIANT_BOOL vertical, int *minimum)
{
    return ReadBar(widget, vertical, minimum, -1, [](QScrollBar *bar) { return bar->minimum(); });
}

HRESULT CvrQtScrollAreaHelper::IsScrollBarVisible(QWidget *widget, VARIANT_BOOL vertical, VARIANT_BOOL *visible)
{
    // Deliberately true on failure, as the host has always been given it.
    return ReadBar(widget, vertical, visible, VARIANT_BOOL(VARIANT_TRUE),
                   [](QScrollBar *bar) { return ToVariantBool(bar->isVisible()); });
}

HRESULT CvrQtScrollAreaHelper::GetScrollBar(QWidget *widget, VARIANT_BOOL vertical, QScrollBar **bar)
{
    // Deliberately a pointer of all bits set on failure, not null.
    QScrollBar *const allBitsSet = reinterpret_cast<QScrollBar *>(~std::uintptr_t(0));
    return ReadBar(widget, vertical, bar, allBitsSet, [](QScrollBar *found) { return found; });
}

HRESULT CreateScrollAreaHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtScrollAreaHelper, IvrQtScrollAreaHelper>(helper);
}
