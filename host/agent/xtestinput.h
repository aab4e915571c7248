// Real input through the X server's test extension: the pointer moves and
// keys are pressed as a user's would be, window manager and focus included.
// Loaded at run time (libXtst, libX11), so that the agent needs neither
// where there is no X server. Any thread but the GUI thread, which must be
// free to take the input.
#pragma once

#include <memory>
#include <string>

namespace vrqt::agent {

class XTestInput
{
public:
    // Connects to $DISPLAY; null with the reason when there is no X server
    // or no test extension.
    static std::unique_ptr<XTestInput> open(std::string *reason);
    ~XTestInput();

    // Native pixels of the screen.
    void move(int x, int y);
    void button(int button, bool press);
    // An X key symbol (XK_Return, 'a', ...).
    void key(unsigned long keysym, bool press);
    // Types one Latin-1 character, with Shift where its key needs it; false
    // for a character no key of the keyboard gives.
    bool type(unsigned char character);
    // Waits until the server has taken every event.
    void flush();

    XTestInput(const XTestInput &) = delete;
    XTestInput &operator=(const XTestInput &) = delete;

private:
    struct Library;
    explicit XTestInput(std::unique_ptr<Library> library);
    std::unique_ptr<Library> x;
};

// The X key symbol of a Qt key (Qt::Key_Return, Qt::Key_A, ...), or 0.
unsigned long KeysymOfQtKey(int key);

} // namespace vrqt::agent
