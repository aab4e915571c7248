#include "runtime/dispatch/widgetexecution.h"

#include <QApplication>
#include <QMainWindow>
#include <QMenu>
#include <QThread>

#include "runtime/dispatch/execution.h"

QWidget *GetMainWidget()
{
    const QWidgetList topLevels = QApplication::topLevelWidgets();
    QWidgetList candidates;
    for (QWidget *widget : topLevels) {
        if (QMainWindow::staticMetaObject.cast(widget))
            return widget;
        // Menus, and top-levels that do not own their native window, are
        // never the application's face.
        if (!QMenu::staticMetaObject.cast(widget) && QWidget::find(widget->effectiveWinId()) == widget)
            candidates.append(widget);
    }
    if (!candidates.isEmpty())
        return candidates.first();
    return topLevels.isEmpty() ? nullptr : topLevels.first();
}

bool ExecuteForWidget(QWidget *widget, ExecuteFunction function, void *argument)
{
    if (!widget)
        widget = GetMainWidget();
    WId window = widget ? widget->effectiveWinId() : 0;
    // A widget Qt has not made yet (on a page never shown) names no window:
    // its top-level window's thread is its own.
    if (!window && widget)
        window = widget->window()->effectiveWinId();
    // The direct road for a widget of the calling thread: a call aimed at
    // the caller's own thread runs at once, without finding the window's
    // thread through the window table first.
    if (window && widget->thread() == QThread::currentThread()) {
        if (function)
            function(argument);
        return true;
    }
    return ExecuteInWindowThread(HWND(window), function, argument);
}

bool TryExecuteForWidget(QWidget *widget, ExecuteFunction function, void *argument)
{
    return RunGuarded([&] { ExecuteForWidget(widget, function, argument); });
}
