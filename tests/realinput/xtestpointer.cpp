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

void XTestPointer::wheel(QPoint point, int notches)
{
    XTestFakeMotionEvent(display, -1, point.x(), point.y(), CurrentTime);
    const unsigned int button = notches > 0 ? Button4 : Button5;
    for (int turned = 0; turned < (notches > 0 ? notches : -notches); ++turned) {
        XTestFakeButtonEvent(display, button, True, CurrentTime);
        XTestFakeButtonEvent(display, button, False, CurrentTime);
    }
    XFlush(display);
}

bool XTestPointer::key(unsigned long keysym)
{
    const KeyCode code = XKeysymToKeycode(display, KeySym(keysym));
    if (code == 0)
        return false;
    XTestFakeKeyEvent(display, code, True, CurrentTime);
    XTestFakeKeyEvent(display, code, False, CurrentTime);
    XFlush(display);
    return true;
}
