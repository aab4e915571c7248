#include "controls/menuhelper.h"

#include <QAction>
#include <QMenu>

#include "controls/helperfactories.h"
#include "controls/menusearch.h"
#include "values/stringbridges.h"

HRESULT CvrQtMenuHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(this, { Implements<CvrQtMenuHelper, IvrQtMenuHelper>(IID_IvrQtMenuHelper) }, riid, object);
}

bool CvrQtMenuHelper::Serves(const QWidget *widget) const
{
    return qobject_cast<const QMenu *>(widget) != nullptr;
}

QAction *CvrQtMenuHelper::ItemAt(const QWidget *widget, int index)
{
    const QList<QAction *> actions = widget->actions();
    return index >= 0 && index < actions.size() ? actions.at(index) : nullptr;
}

HRESULT CvrQtMenuHelper::GetItemText(QWidget *widget, int index, BSTR *text)
{
    if (!text)
        return E_POINTER;
    *text = nullptr;
    return ReadItem(widget, index, text, [](QAction *action) { return QStringToBstr(GetActionText(action)); });
}

HRESULT CvrQtMenuHelper::GetItemCount(QWidget *widget, int *count)
{
    if (!count)
        return E_POINTER;
    return WithServed(widget, [&](QWidget *owner) {
        *count = int(owner->actions().size());
        return S_OK;
    });
}

HRESULT CvrQtMenuHelper::GetSubMenu(QWidget *widget, int index, QMenu **menu)
{
    return ReadItem(widget, index, menu, [](QAction *action) { return action->menu(); });
}

HRESULT CvrQtMenuHelper::GetItemPath(QWidget *widget, int index, BSTR *path)
{
    if (!path)
        return E_POINTER;
    *path = nullptr;
    return WithItem(widget, index, [&](QWidget *owner, QAction *action) {
        *path = QStringToBstr(BuildItemPath(owner, action));
        return S_OK;
    });
}

HRESULT CvrQtMenuHelper::ItemIndexAt(QWidget *widget, int x, int y, int *index)
{
    if (!index)
        return E_POINTER;
    return WithWidget<QMenu>(widget, [&](QMenu *menu) {
        QAction *action = menu->actionAt(QPoint(x, y));
        *index = action ? int(menu->actions().indexOf(action)) : -1;
        return S_OK;
    });
}

HRESULT CvrQtMenuHelper::GetMenuOwner(QWidget *widget, QWidget **owner, VARIANT_BOOL *isContext)
{
    if (!owner || !isContext)
        return E_POINTER;
    *owner = nullptr;
    *isContext = VARIANT_TRUE;
    return WithServed(widget, [&](QWidget *menu) {
        const MenuOwner found = FindMenuOwner(menu);
        *owner = found.owner;
        *isContext = ToVariantBool(found.isContext);
        return S_OK;
    });
}

HRESULT CvrQtMenuHelper::IsSubMenuVisible(QWidget *widget, int index, VARIANT_BOOL *visible)
{
    if (!visible)
        return E_POINTER;
    *visible = VARIANT_FALSE;
    return ReadItem(widget, index, visible, [](QAction *action) {
        const QMenu *subMenu = action->menu();
        return ToVariantBool(subMenu && subMenu->isVisible());
    });
}

HRESULT CvrQtMenuHelper::IsItemEnabled(QWidget *widget, int index, VARIANT_BOOL *enabled)
{
    return ReadItem(widget, index, enabled, [](QAction *action) { return ToVariantBool(action->isEnabled()); });
}

HRESULT CvrQtMenuHelper::IsItemChecked(QWidget *widget, int index, VARIANT_BOOL *checked)
{
    if (!checked)
        return E_POINTER;
    *checked = VARIANT_FALSE;
    return ReadItem(widget, index, checked,
                    [](QAction *action) { return ToVariantBool(action->isCheckable() && action->isChecked()); });
}

HRESULT CvrQtMenuHelper::IsItemCheckable(QWidget *widget, int index, VARIANT_BOOL *checkable)
{
    return ReadItem(widget, index, checkable, [](QAction *action) { return ToVariantBool(action->isCheckable()); });
}

HRESULT CvrQtMenuHelper::IsItemSeparator(QWidget *widget, int index, VARIANT_BOOL *separator)
{
    return ReadItem(widget, index, separator, [](QAction *action) { return ToVariantBool(action->isSeparator()); });
}

HRESULT CvrQtMenuHelper::ItemHasIcon(QWidget *widget, int index, VARIANT_BOOL *hasIcon)
{
    return ReadItem(widget, index, hasIcon, [](QAction *action) { return ToVariantBool(!action->icon().isNull()); });
}

HRESULT CvrQtMenuHelper::GetItemRect(QWidget *widget, VARIANT_BOOL global, int index, int *x, int *y, int *width,
                                     int *height)
{
    if (!x || !y || !width || !height)
        return E_POINTER;
    *x = *y = 0;
    *width = *height = -1;
    return WithWidget<QMenu>(widget, [&](QMenu *menu) {
        QAction *action = ItemAt(menu, index);
        if (!menu->isVisible() || !action)
            return E_FAIL;
        QRect rect = menu->actionGeometry(action);
        if (global != VARIANT_FALSE)
            rect.moveTopLeft(menu->mapToGlobal(rect.topLeft()));
        StoreRect(rect, x, y, width, height);
        return S_OK;
    });
}

HRESULT CvrQtMenuHelper::GetItemObject(QWidget *widget, int index, QAction **action)
{
    if (!action)
        return E_POINTER;
    *action = nullptr;
    return ReadItem(widget, index, action, [](QAction *item) { return item; });
}

HRESULT CvrQtMenuHelper::GetWindowHandle(QWidget *widget, int *windowHandle)
{
    if (!windowHandle)
        return E_POINTER;
    return WithServed(widget, [&](QWidget *owner) {
        *windowHandle = owner->isVisible() ? int(owner->effectiveWinId()) : 0;
        return S_OK;
    });
}

HRESULT CreateMenuHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtMenuHelper, IvrQtMenuHelper>(helper);
}
