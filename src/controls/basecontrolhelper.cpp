#include "controls/basecontrolhelper.h"

#include <QAbstractItemView>

#include "runtime/dispatch/nativewindow.h"
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
    RECT windowRect{}, clientRect{};
    if ((major > 5 || (major == 5 && minor >= 12)) && window && GetWindowRect(HWND(window), &windowRect)
        && GetClientRect(HWND(window), &clientRect)) {
        // Half of what the frame adds to the width: the left border, where
        // the borders are alike.
        offset.setX((windowRect.right - clientRect.right - windowRect.left) / 2);
    }
    return offset;
}

int MapToWindow(const QWidget *widget, QPoint *point)
{
    if (!widget)
        return 0;
    const WId window = widget->effectiveWinId();
    const QWidget *owner = window ? QWidget::find(window) : nullptr;
    if (!owner)
        return 0;
    if (owner != widget)
        *point = owner->mapFromGlobal(widget->mapToGlobal(*point)) + GetFrameOffset(owner, window);
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
