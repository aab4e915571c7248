#include "host/agent/nativewindows.h"

#include <QGuiApplication>
#include <QWindow>

namespace vrqt::agent {

std::vector<NativeWindow> nativeWindows()
{
    std::vector<NativeWindow> result;
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return result;
    const QWindowList windows = QGuiApplication::allWindows();
    for (QWindow *window : windows) {
        // winId() would create the surface of a window that has none.
        if (!window->handle())
            continue;
        NativeWindow entry;
        entry.id = NativeWindowId(window->winId());
        QWindow *parent = window->parent();
        entry.parent = parent && parent->handle() ? NativeWindowId(parent->winId()) : 0;
        entry.visible = window->isVisible();
        entry.devicePixelRatio = window->devicePixelRatio();
        entry.frameX = window->frameGeometry().x();
        entry.frameY = window->frameGeometry().y();
        entry.window = window;
        result.push_back(entry);
    }
    return result;
}

} // namespace vrqt::agent
