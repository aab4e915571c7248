// The agent's reach into the control helpers: interfaces asked of the
// manager as a host asks, and the rectangles they give made into JSON with
// their place on the screen.
//
// GUI thread: the agent's helper calls run there.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <map>

#include "host/modulehost.h"
#include "interfaces/controls.h"
#include "interfaces/objects.h"

namespace vrqt::agent {

class HelperAccess
{
public:
    HelperAccess(IvrQtObjectsHelper *objects, IvrQtWidgetsHelper *widgets);

    // A primary helper interface from the manager; empty when refused.
    template <typename Interface>
    host::Ref<Interface> primary(REFIID iid) const
    {
        host::Ref<Interface> result;
        objects->QueryInterface(iid, result.out());
        return result;
    }

    IvrQtObjectsHelper *objectsHelper() const { return objects; }
    IvrQtWidgetsHelper *widgetsHelper() const { return widgets; }

    // A rectangle the module gave relative to window, from the window's
    // frame corner as the module measures for alien widgets:
    // {"x", "y", "width", "height", "window", "screenX", "screenY"}.
    QJsonObject windowRect(int x, int y, int width, int height, NativeWindowId window);
    // A rectangle in viewport coordinates: the screen position is the
    // viewport's own plus the rectangle's.
    QJsonObject viewportRect(int x, int y, int width, int height, QWidget *viewport);
    // A rectangle in screen coordinates already.
    static QJsonObject screenRect(int x, int y, int width, int height);
    // The native window that carries widget; 0 for none.
    NativeWindowId windowOf(QWidget *widget) const;

private:
    IvrQtObjectsHelper *objects;
    IvrQtWidgetsHelper *widgets;
    bool windowsRead = false;
    std::map<NativeWindowId, std::pair<int, int>> frameCorners;
};

QString TextOf(const host::Bstr &text);

} // namespace vrqt::agent
