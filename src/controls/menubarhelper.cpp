#include "controls/menubarhelper.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QToolButton>

#include "controls/helperfactories.h"
#include "controls/menubarlayout.h"
#include "controls/menusearch.h"
#include "values/stringbridges.h"

HRESULT CvrQtMenuBarHelper::QueryInterface(REFIID riid, void **object)
{
    using Self = CvrQtMenuBarHelper;
    return QueryInterfaceTable(this,
                               { Implements<Self, IvrQtMenuBarHelper>(IID_IvrQtMenuBarHelper),
                                 Implements<Self, IvrQtViewPortProviderHelper>(IID_IvrQtViewPortProviderHelper),
                                 Implements<Self, IvrQtMenuHelper>(IID_IvrQtMenuHelper) },
                               riid, object);
}

bool CvrQtMenuBarHelper::Serves(const QWidget *widget) const
{
    return qobject_cast<const QMenuBar *>(widget) != nullptr;
}

HRESULT CvrQtMenuBarHelper::FindMenuByTitle(QWidget *widget, BSTR title, QMenu **menu)
{
    if (!menu)
        return E_POINTER;
    return WithWidget<QMenuBar>(widget, [&](QMenuBar *bar) {
        const QString wanted = BstrToQString(title);
        *menu = nullptr;
        for (QObject *child : bar->children()) {
            QMenu *candidate = qobject_cast<QMenu *>(child);
            if (candidate && candidate->title() == wanted) {
                *menu = candidate;
                break;
            }
        }
        return S_OK;
    });
}

// The bar's thread for the layout (ExecuteForWidget).
HRESULT CvrQtMenuBarHelper::IsItemOnBar(QWidget *widget, int index, VARIANT_BOOL *onBar)
{
    if (!onBar)
        return E_POINTER;
    return WithItem(widget, index, [&](QWidget *owner, QAction *) {
        QToolButton *button = nullptr;
        int overflowIndex = -1;
        *onBar = ToVariantBool(LocateAction(static_cast<QMenuBar *>(owner), index, &button, &overflowIndex));
        return S_OK;
    });
}

HRESULT CvrQtMenuBarHelper::GetViewPort(QWidget *widget, int /*which*/, QWidget **viewPort)
{
    if (!viewPort)
        return E_POINTER;
    *viewPort = nullptr;
    return WithWidget<QMenuBar>(widget, [&](QMenuBar *bar) {
        QToolButton *button = FindExtensionButton(bar);
        if (!button)
            return E_FAIL;
        *viewPort = button;
        return S_OK;
    });
}

HRESULT CvrQtMenuBarHelper::ItemIndexAt(QWidget *widget, int x, int y, int *index)
{
    if (!index)
        return E_POINTER;
    return WithWidget<QMenuBar>(widget, [&](QMenuBar *bar) {
        QAction *action = bar->actionAt(QPoint(x, y));
        *index = action ? int(bar->actions().indexOf(action)) : -1;
        return S_OK;
    });
}

// The bar's thread for the geometry (ExecuteForWidget).
HRESULT CvrQtMenuBarHelper::GetItemRect(QWidget *widget, VARIANT_BOOL global, int index, int *x, int *y, int *width,
                                        int *height)
{
    if (!x || !y || !width || !height)
        return E_POINTER;
    return WithItem(widget, index, [&](QWidget *owner, QAction *action) {
        QMenuBar *bar = static_cast<QMenuBar *>(owner);
        QToolButton *button = nullptr;
        int overflowIndex = -1;
        LocateAction(bar, index, &button, &overflowIndex);
        QWidget *container = bar;
        QRect rect;
        bool reached = false;
        if (overflowIndex == -1) {
            reached = CalcActionRect(bar, action, &rect);
        } else {
            QMenu *popup = button->menu();
            if (!popup)
                return E_FAIL;
            container = popup;
            // The popup lives on the bar's thread but has a native window of
            // its own only once shown: it is reached through the bar.
            reached = RunForWidget(bar, [&] { rect = popup->actionGeometry(action); });
        }
        if (!reached)
            return E_FAIL;
        if (global != VARIANT_FALSE)
            rect.moveTopLeft(container->mapToGlobal(rect.topLeft()));
        StoreRect(rect, x, y, width, height);
        return S_OK;
    });
}

HRESULT CreateMenuBarHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtMenuBarHelper, IvrQtMenuBarHelper>(helper);
}
