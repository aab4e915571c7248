// The host's own view of the process's native windows, as a platform's
// window enumeration would give it. Here Qt's list of windows stands in for
// that enumeration.
//
// GUI thread only.
#pragma once

#include <vector>

#include "interfaces/objects.h"

class QObject;

namespace vrqt::agent {

struct NativeWindow
{
    NativeWindowId id = 0;
    NativeWindowId parent = 0; // 0 for a top-level window
    bool visible = false;
    // Native pixels per device-independent pixel: what a rectangle the module
    // reports is multiplied by to act on this window's screen.
    double devicePixelRatio = 1.0;
    // The frame's corner on the screen: where the module's window-relative
    // rectangles of alien widgets start.
    int frameX = 0;
    int frameY = 0;
    QObject *window = nullptr; // the QWindow, for windows that carry no widget
};

// Every window that already has a native surface, in the order Qt lists them.
// Nothing is created on the way: a window without one is left out.
std::vector<NativeWindow> nativeWindows();

} // namespace vrqt::agent
