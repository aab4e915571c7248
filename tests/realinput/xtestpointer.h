// A pointer driven through the X server's test extension (XTest): the
// program sees exactly the input a user's mouse gives.
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

private:
    _XDisplay *display = nullptr;
};
