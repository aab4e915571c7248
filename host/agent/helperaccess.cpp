#include "host/agent/helperaccess.h"

#include "host/agent/nativewindows.h"

namespace vrqt::agent {

HelperAccess::HelperAccess(IvrQtObjectsHelper *objects, IvrQtWidgetsHelper *widgets) : objects(objects), widgets(widgets) {}

QJsonObject HelperAccess::windowRect(int x, int y, int width, int height, NativeWindowId window)
{
    if (!windowsRead) {
        for (const NativeWindow &entry : nativeWindows())
            frameCorners[entry.id] = { entry.frameX, entry.frameY };
        windowsRead = true;
    }
    QJsonObject rect{ { QStringLiteral("x"), x }, { QStringLiteral("y"), y }, { QStringLiteral("width"), width },
                      { QStringLiteral("height"), height }, { QStringLiteral("window"), double(window) } };
    const auto corner = frameCorners.find(window);
    if (corner != frameCorners.end()) {
        rect.insert(QStringLiteral("screenX"), corner->second.first + x);
        rect.insert(QStringLiteral("screenY"), corner->second.second + y);
    }
    return rect;
}

QJsonObject HelperAccess::viewportRect(int x, int y, int width, int height, QWidget *viewport)
{
    QJsonObject rect{ { QStringLiteral("x"), x }, { QStringLiteral("y"), y }, { QStringLiteral("width"), width },
                      { QStringLiteral("height"), height }, { QStringLiteral("relativeTo"), QStringLiteral("viewport") } };
    int left = 0, top = 0;
    if (viewport && SUCCEEDED(widgets->GetScreenX(viewport, &left)) && SUCCEEDED(widgets->GetScreenY(viewport, &top))) {
        rect.insert(QStringLiteral("screenX"), left + x);
        rect.insert(QStringLiteral("screenY"), top + y);
    }
    return rect;
}

QJsonObject HelperAccess::screenRect(int x, int y, int width, int height)
{
    return { { QStringLiteral("x"), x }, { QStringLiteral("y"), y }, { QStringLiteral("width"), width },
             { QStringLiteral("height"), height }, { QStringLiteral("relativeTo"), QStringLiteral("screen") },
             { QStringLiteral("screenX"), x }, { QStringLiteral("screenY"), y } };
}

NativeWindowId HelperAccess::windowOf(QWidget *widget) const
{
    NativeWindowId window = 0;
    return SUCCEEDED(widgets->GetWindowHandle(widget, &window)) ? window : 0;
}

QString TextOf(const host::Bstr &text)
{
    return QString::fromUtf16(text.get() ? text.get() : u"", int(SysStringLen(text.get())));
}

} // namespace vrqt::agent
