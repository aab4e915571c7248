#include "controls/tabwidgethelper.h"

#include <QTabBar>
#include <QTabWidget>
#include <QToolButton>

#include <type_traits>

#include "controls/helperfactories.h"
#include "controls/itemkeys.h"
#include "values/stringbridges.h"

namespace {

// One reading of the tab widget into result, on the caller's thread;
// E_POINTER for a null result. A BSTR result is null before anything else.
template <typename Result, typename Read>
HRESULT ReadTabs(QWidget *widget, Result *result, Read read)
{
    if (!result)
        return E_POINTER;
    if constexpr (std::is_same_v<Result, BSTR>)
        *result = nullptr;
    return WithWidget<QTabWidget>(widget, [&](QTabWidget *tabs) {
        *result = read(tabs);
        return S_OK;
    });
}

// The bar's first tool button: the one that scrolls it left, on show only
// while the tabs do not fit.
const QToolButton *FirstToolButton(const QTabBar *bar)
{
    for (QObject *child : bar->children()) {
        if (const QToolButton *button = qobject_cast<const QToolButton *>(child))
            return button;
    }
    return nullptr;
}

} // namespace

HRESULT CvrQtTabWidgetHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtTabWidgetHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtTabWidgetHelper>(IID_IvrQtTabWidgetHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper) },
                               riid, object);
}

QTabBar *CvrQtTabWidgetHelper::FindTabBar(const QWidget *tabWidget)
{
    for (QObject *child : tabWidget->children()) {
        if (QTabBar *bar = qobject_cast<QTabBar *>(child))
            return bar;
    }
    return nullptr;
}

HRESULT CvrQtTabWidgetHelper::GetTabCount(QWidget *widget, int *count)
{
    return ReadTabs(widget, count, [](QTabWidget *tabs) { return tabs->count(); });
}

HRESULT CvrQtTabWidgetHelper::GetCurrentIndex(QWidget *widget, int *index)
{
    return ReadTabs(widget, index, [](QTabWidget *tabs) { return tabs->currentIndex(); });
}

HRESULT CvrQtTabWidgetHelper::GetTabText(QWidget *widget, int index, BSTR *text)
{
    return ReadTabs(widget, text,
                    [index](QTabWidget *tabs) { return QStringToBstr(StripAccelerators(tabs->tabText(index))); });
}

// The tab widget's thread for the rectangle (ExecuteForWidget), reached
// through the tab widget: a bar that was never on show has no native window.
HRESULT CvrQtTabWidgetHelper::GetTabRect(QWidget *widget, int index, int *x, int *y, int *width, int *height)
{
    if (!x || !y || !width || !height)
        return E_POINTER;
    // Set before anything, so that every failure leaves them so.
    *x = 0;
    *y = 0;
    *width = -1;
    *height = -1;
    return WithWidget<QTabWidget>(widget, [&](QTabWidget *tabs) {
        QTabBar *bar = FindTabBar(tabs);
        if (!bar)
            return E_FAIL;
        QRect rect;
        RunForWidget(tabs, [&] { rect = bar->tabRect(index); });
        StoreRect(rect, x, y, width, height);
        MapToWindowXY(bar, x, y);
        return S_OK;
    });
}

// The tab widget's thread for the change (ExecuteForWidget).
HRESULT CvrQtTabWidgetHelper::BringTabIntoView(QWidget *widget, int index, VARIANT_BOOL *changed)
{
    if (!changed)
        return E_POINTER;
    *changed = VARIANT_FALSE;
    return WithWidget<QTabWidget>(widget, [&](QTabWidget *tabs) {
        const QTabBar *bar = FindTabBar(tabs);
        if (!bar)
            return E_FAIL;
        if (index == tabs->currentIndex() && bar->width() >= bar->tabRect(index).width())
            return S_OK;
        // Deliberately nothing without scroll buttons on show: every tab is
        // then on the bar, and the page is never changed without need.
        const QToolButton *scrollButton = FirstToolButton(bar);
        if (!scrollButton || !scrollButton->isVisible())
            return S_OK;
        if (!RunForWidget(tabs, [&] { tabs->setCurrentIndex(index); }))
            return E_FAIL;
        *changed = VARIANT_TRUE;
        return S_OK;
    });
}

HRESULT CvrQtTabWidgetHelper::IsTabEnabled(QWidget *widget, int index, VARIANT_BOOL *enabled)
{
    return ReadTabs(widget, enabled, [index](QTabWidget *tabs) { return ToVariantBool(tabs->isTabEnabled(index)); });
}

HRESULT CvrQtTabWidgetHelper::GetViewPort(QWidget *widget, int which, QWidget **viewPort)
{
    if (!viewPort)
        return E_POINTER;
    *viewPort = nullptr;
    if (which != 0)
        return E_FAIL;
    return WithWidget<QTabWidget>(widget, [&](QTabWidget *tabs) {
        *viewPort = FindTabBar(tabs);
        return S_OK;
    });
}

HRESULT CreateTabWidgetHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtTabWidgetHelper, IvrQtTabWidgetHelper>(helper);
}
