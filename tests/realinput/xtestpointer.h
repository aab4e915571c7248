// A pointer and a keyboard driven through the X server's test extension
// (XTest): the program sees exactly the input a user's mouse and keyboard
// give.
#pragma once

#include <QPoint>

struct _XDisplay;

class XTestPointer
{
public:
    XTestPointer();
    ~XTestPointer();
    XTestPointer(const XTestPointer &) = delete;
    XTestPointer &operator=(const XTestPointer &) = delete;

    // False when there is no X display or it has no test extension.
    bool available() const { return display != nullptr; }
    // Moves to point (screen pixels) and clicks the left button there.
    void click(QPoint point);
    // Moves to point and turns the wheel: notches > 0 away from the user
    // (button 4, up), < 0 towards the user (button 5, down).
    void wheel(QPoint point, int notches);
    // Presses and releases the key of keysym (an X keysym: XK_Up, XK_End...)
    // wherever the keyboard focus is. False when the keyboard has no such key.
    bool key(unsigned long keysym);

private:
    _XDisplay *display = nullptr;
};
