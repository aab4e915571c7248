// The widget tree as the module sees it. The host finds the native windows by
// itself and asks the module about everything else: which widget owns a
// window, the alien children of a widget, and every property shown.
//
// Shape: the top-level windows in the order they are listed, the main
// widget's window first. Under a widget come its alien children (from the
// module, recursively), then the native windows whose parent window is the
// widget's own, wherever that widget stands among its ancestors.
//
// GUI thread only.
#pragma once

#include <QJsonArray>
#include <QJsonObject>

#include <unordered_set>
#include <vector>

#include "host/agent/nativewindows.h"
#include "host/agent/objectpath.h"

namespace vrqt::agent {

class WidgetTree
{
public:
    WidgetTree(IvrQtObjectsHelper *objects, IvrQtWidgetsHelper *widgets) : objects(objects), widgets(widgets) {}

    // The window of the module's main widget, or 0 while no visible
    // top-level window belongs to a widget (the module has no main widget to
    // name then, and asking would be undefined).
    NativeWindowId mainWindow(const std::vector<NativeWindow> &windows);
    // True when the main widget exists and the module reports it visible.
    bool mainWidgetShown(const std::vector<NativeWindow> &windows);

    // {"mainWindow": id or null, "windows": [node, ...]}; docs/protocol.md
    // lists the members of a node. withObjects adds to each node the objects
    // below it that the widget tree leaves out (non-widget objects, and
    // widgets no window shows, such as menus not yet opened), and the
    // application object with its children as "application".
    QJsonObject build(const std::vector<NativeWindow> &windows, bool withObjects = false);

private:
    QJsonObject describeWindow(const NativeWindow &window, const std::vector<NativeWindow> &all, int depth);
    QJsonObject describeWidget(QWidget *widget);
    QJsonArray alienSubtrees(QWidget *widget, int depth);
    std::vector<QWidget *> alienChildren(QWidget *widget);
    QWidget *widgetOf(NativeWindowId window);
    // Adds "objects" to node and to every node below it.
    void addObjects(QJsonObject &node);
    QJsonArray objectsBelow(QObject *object);
    QJsonObject describeObject(QObject *object);

    IvrQtObjectsHelper *objects;
    IvrQtWidgetsHelper *widgets;
    // Every widget is described once, whatever the windows claim.
    std::unordered_set<QObject *> described;
    ObjectPaths paths;
};

} // namespace vrqt::agent
