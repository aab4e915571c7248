#include "controls/basecontrolhelper.h"

#include <QAbstractItemView>
#include <QWindow>

#include "runtime/qtlibrary.h"

int ConvertSelectionMode(const QAbstractItemView *view)
{
    switch (view->selectionMode()) {
    case QAbstractItemView::NoSelection:
        return 4;
    case QAbstractItemView::SingleSelection:
        return 0;
    case QAbstractItemView::MultiSelection:
        return 3;
    case QAbstractItemView::ExtendedSelection:
        return 2;
    case QAbstractItemView::ContiguousSelection:
        return 1;
    }
    return -1;
}

QPoint GetFrameOffset(const QWidget *widget, NativeWindowId window)
{
    const QRect geometry = widget->geometry();
    const QRect frame = widget->frameGeometry();
    QPoint offset(geometry.left() - frame.left(), geometry.top() - frame.top());
    WORD major = 0, minor = 0;
    GetQtFileVersion(&major, &minor, nullptr);
    // The native window's frame and client rectangles, read from the
    // widget's own window rather than looked up again by its id.
    const QWindow *native = widget->windowHandle();
    if ((major > 5 || (major == 5 && minor >= 12)) && window && native && WId(window) == native->winId()) {
        // Half of what the frame adds to the width: the left border, where
        // the borders are alike.
        const QMargins frame = native->frameMargins();
        offset.setX((frame.left() + frame.right()) / 2);
    }
    return offset;
}

int MapToWindow(const QWidget *widget, QPoint *point)
{
    if (!widget)
        return 0;
    const WId window = widget->effectiveWinId();
    // The widget that carries that window: the widget or its nearest native
    // ancestor, as effectiveWinId found it.
    const QWidget *owner = !window ? nullptr : widget->internalWinId() ? widget : widget->nativeParentWidget();
    if (!owner)
        return 0;
    // Through the screen and back, as mapToGlobal and mapFromGlobal go; an
    // owner that is the widget's ancestor (it always is) maps directly.
    if (owner != widget)
        *point = (owner->isAncestorOf(widget) ? widget->mapTo(owner, *point) : owner->mapFromGlobal(widget->mapToGlobal(*point)))
                 + GetFrameOffset(owner, window);
    return int(window);
}

int MapToWindowXY(const QWidget *widget, int *x, int *y)
{
    QPoint point(*x, *y);
    const int window = MapToWindow(widget, &point);
    *x = point.x();
    *y = point.y();
    return window;
}

void StoreRect(const QRect &rect, int *x, int *y, int *width, int *height)
{
    *x = rect.left();
    *y = rect.top();
    *width = rect.right() - rect.left() + 1;
    *height = rect.bottom() - rect.top() + 1;
}
