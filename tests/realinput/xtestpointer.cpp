#include "xtestpointer.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

XTestPointer::XTestPointer()
{
    display = XOpenDisplay(nullptr);
    int event = 0, error = 0, major = 0, minor = 0;
    if (display && !XTestQueryExtension(display, &event, &error, &major, &minor)) {
        XCloseDisplay(display);
        display = nullptr;
    }
}

XTestPointer::~XTestPointer()
{
    if (display)
        XCloseDisplay(display);
}

void XTestPointer::click(QPoint point)
{
    XTestFakeMotionEvent(display, -1, point.x(), point.y(), CurrentTime);
    XTestFakeButtonEvent(display, Button1, True, CurrentTime);
    XTestFakeButtonEvent(display, Button1, False, CurrentTime);
    XFlush(display);
}
