// Real input through the X server's test extension: the pointer moves and
// keys are pressed as a user's would be, window manager and focus included.
// Loaded at run time (libXtst, libX11), so that the agent needs neither
// where there is no X server. Any thread but the GUI thread, which must be
// free to take the input.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <QAbstractNativeEventFilter>

namespace vrqt::agent {

struct InputStep;

template <typename> struct NativeResult;
template <typename Class, typename Result>
struct NativeResult<bool (Class::*)(const QByteArray &, void *, Result *)>
{
    using Type = Result;
};

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
    // Presses or releases the key that gives keysym (an X key symbol:
    // XK_Return, 'a', 0x010003a9 for U+03A9), with Shift where its key
    // needs it. False for a symbol no key of the keyboard gives now.
    bool key(unsigned long keysym, bool press);
    // Whether a key of the keyboard gives keysym now, as key() would press it.
    bool gives(unsigned long keysym) const;
    // Gives each keysym a key of its own among the keycodes the keyboard
    // leaves unused, until restore(); false with the reason when there are
    // too few. The mapping is the X server's, so every client sees it.
    bool bind(const std::vector<unsigned long> &keysyms, std::string *reason);
    // Takes the keycodes bind() used back to no symbol.
    void restore();
    // After the events sent so far: a client message of the mark's atom
    // carrying serial, to window.
    void mark(unsigned long window, long serial);
    // The atom marks carry, the same for every client of the server.
    unsigned long markAtom() const;
    // Waits until the server has taken every event.
    void flush();

    XTestInput(const XTestInput &) = delete;
    XTestInput &operator=(const XTestInput &) = delete;

private:
    struct Library;
    explicit XTestInput(std::unique_ptr<Library> library);
    // The keycode that gives keysym, and whether with Shift; 0 for none.
    unsigned char keycodeOf(unsigned long keysym, bool *shifted) const;
    std::unique_ptr<Library> x;
};

// Sees the marks XTestInput sends as the program's X connection delivers
// them: a mark seen means that Qt has handled every event the server had
// for the program before it (keyboard mapping changes included). Installed
// on the application (GUI thread); the mark itself goes no further.
class InputMarks : public QAbstractNativeEventFilter
{
public:
    explicit InputMarks(unsigned long atom) : atom(atom) {}

    // Any thread: waits until serial was seen, at most limit.
    bool waitFor(long serial, std::chrono::milliseconds limit);

    // GUI thread. Qt 5 passes a long, Qt 6 a qintptr: the type is read from
    // Qt's own declaration.
    bool nativeEventFilter(const QByteArray &eventType, void *message, NativeResult<decltype(&QAbstractNativeEventFilter::nativeEventFilter)>::Type *) override;

private:
    const unsigned long atom;
    std::mutex lock;
    std::condition_variable seenChanged;
    long seen = 0; // under lock
};

// Real input: the steps through the X server, in the screen's native pixels
// (ratio to Qt's device-independent ones). settled waits until the program
// has handled what was sent so far; it paces a drag and keeps a temporary
// key binding until the program has used it. False with the reason for a
// step it cannot give.
bool GiveRealInput(XTestInput &x, const std::vector<InputStep> &steps, double ratio, const std::function<void()> &settled,
                   std::string *reason);

// The X key symbol of a Qt key (Qt::Key_Return, Qt::Key_A, ...), or 0.
unsigned long KeysymOfQtKey(int key);
// The X key symbol that types character (a Unicode code point).
unsigned long KeysymOfCharacter(char32_t character);

} // namespace vrqt::agent
