#include "controls/controlhelper.h"

#include <QMenu>
#include <QRegion>

#include "controls/helperfactories.h"
#include "controls/menusearch.h"

HRESULT CvrQtControlHelper::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(this, { Implements<CvrQtControlHelper, IvrQtControlHelper>(IID_IvrQtControlHelper) }, riid,
                               object);
}

HRESULT CvrQtControlHelper::GetPopupMenu(QWidget *widget, QMenu **menu)
{
    if (!menu)
        return E_POINTER;
    return WithWidget<QWidget>(widget, [&](QWidget *live) {
        *menu = FindPopupMenu(live);
        return S_OK;
    });
}

HRESULT CvrQtControlHelper::GetParentWidget(QWidget *widget, QWidget **parent)
{
    if (!parent)
        return E_POINTER;
    *parent = nullptr;
    return WithWidget<QWidget>(widget, [&](QWidget *live) {
        *parent = live->parentWidget();
        return S_OK;
    });
}

HRESULT CvrQtControlHelper::IsEnabled(QWidget *widget, VARIANT_BOOL *enabled)
{
    if (!enabled)
        return E_POINTER;
    return WithWidget<QWidget>(widget, [&](QWidget *live) {
        *enabled = ToVariantBool(live->isEnabled());
        return S_OK;
    });
}

HRESULT CvrQtControlHelper::IsPointVisible(QWidget *widget, QWidget *other, int x, int y, VARIANT_BOOL *visible)
{
    if (!visible)
        return E_POINTER;
    return WithWidget<QWidget>(widget, [&](QWidget *live) {
        QPoint point(x, y);
        if (other && other != live) {
            // QWidget::mapFrom walks the parents up to other: anything but a
            // live ancestor would walk off the top.
            const QWidget *ancestor = LiveWidgetAs<QWidget>(other);
            if (!ancestor || !ancestor->isAncestorOf(live))
                return E_FAIL;
            point = live->mapFrom(ancestor, point);
            const QRect frame = ancestor->frameGeometry();
            const QRect geometry = ancestor->geometry();
            point += QPoint(frame.left() - geometry.left(), frame.top() - geometry.top());
        }
        *visible = ToVariantBool(live->visibleRegion().contains(point));
        return S_OK;
    });
}

HRESULT CreateControlHelper(IUnknown **helper)
{
    return CreateHelper<CvrQtControlHelper, IvrQtControlHelper>(helper);
}
