#include "host/agent/xtestinput.h"

#include <QtGlobal>
#include <qnamespace.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>
#include <utility>

#include "host/agent/inputstep.h"

namespace vrqt::agent {

namespace {

// The few Xlib and XTest entry points needed, by their C signatures.
using Display = void;
using OpenDisplay = Display *(*)(const char *);
using CloseDisplay = int (*)(Display *);
using Flush = int (*)(Display *, int);
using KeysymToKeycode = unsigned char (*)(Display *, unsigned long);
using KeycodeToKeysym = unsigned long (*)(Display *, unsigned char, int);
using DisplayKeycodes = int (*)(Display *, int *, int *);
using GetKeyboardMapping = unsigned long *(*)(Display *, unsigned char, int, int *);
using ChangeKeyboardMapping = int (*)(Display *, int, int, unsigned long *, int);
using Free = int (*)(void *);
using InternAtom = unsigned long (*)(Display *, const char *, int);
using QueryExtension = int (*)(Display *, int *, int *, int *, int *);
using FakeMotion = int (*)(Display *, int, int, int, unsigned long);
using FakeButton = int (*)(Display *, unsigned int, int, unsigned long);
using FakeKey = int (*)(Display *, unsigned int, int, unsigned long);

// Xlib's XClientMessageEvent inside its XEvent union (24 longs), for
// XSendEvent.
struct ClientMessage
{
    int type;
    unsigned long serial;
    int sendEvent;
    Display *display;
    unsigned long window;
    unsigned long messageType;
    int format;
    long data[5];
};
union Event
{
    ClientMessage message;
    long size[24];
};
using SendEvent = int (*)(Display *, unsigned long, int, long, Event *);

constexpr int kClientMessage = 33; // the core protocol's event code
constexpr unsigned long kShift = 0xffe1;
constexpr const char *kMarkAtomName = "_VRQT_INPUT_MARK";
// How many characters without a key of their own are bound at once.
constexpr std::size_t kBoundAtOnce = 8;
// Between the motions of a drag: Qt starts a drag only on motion it has
// seen, and its drag loop follows the pointer from then on.
constexpr std::chrono::milliseconds kDragPace{ 20 };

} // namespace

struct XTestInput::Library
{
    void *x11 = nullptr;
    void *xtst = nullptr;
    Display *display = nullptr;
    CloseDisplay closeDisplay = nullptr;
    Flush sync = nullptr;
    KeysymToKeycode keycodeOf = nullptr;
    KeycodeToKeysym keysymOf = nullptr;
    DisplayKeycodes keycodeRange = nullptr;
    GetKeyboardMapping mapping = nullptr;
    ChangeKeyboardMapping changeMapping = nullptr;
    Free free = nullptr;
    InternAtom internAtom = nullptr;
    SendEvent sendEvent = nullptr;
    FakeMotion motion = nullptr;
    FakeButton buttonEvent = nullptr;
    FakeKey keyEvent = nullptr;
    unsigned long markAtom = 0;
    // What bind() changed: keysym and keycode, until restore().
    std::vector<std::pair<unsigned long, unsigned char>> bound;

    ~Library()
    {
        if (display && closeDisplay)
            closeDisplay(display);
        if (xtst)
            dlclose(xtst);
        if (x11)
            dlclose(x11);
    }
};

std::unique_ptr<XTestInput> XTestInput::open(std::string *reason)
{
    const char *name = std::getenv("DISPLAY");
    if (!name || !*name) {
        *reason = "no X display (DISPLAY is not set)";
        return nullptr;
    }
    auto library = std::make_unique<Library>();
    library->x11 = dlopen("libX11.so.6", RTLD_NOW | RTLD_LOCAL);
    library->xtst = dlopen("libXtst.so.6", RTLD_NOW | RTLD_LOCAL);
    if (!library->x11 || !library->xtst) {
        *reason = "the X test extension's library libXtst.so.6 is not installed";
        return nullptr;
    }
    auto symbol = [](void *from, const char *what) { return dlsym(from, what); };
    const auto openDisplay = reinterpret_cast<OpenDisplay>(symbol(library->x11, "XOpenDisplay"));
    const auto query = reinterpret_cast<QueryExtension>(symbol(library->xtst, "XTestQueryExtension"));
    library->closeDisplay = reinterpret_cast<CloseDisplay>(symbol(library->x11, "XCloseDisplay"));
    library->sync = reinterpret_cast<Flush>(symbol(library->x11, "XSync"));
    library->keycodeOf = reinterpret_cast<KeysymToKeycode>(symbol(library->x11, "XKeysymToKeycode"));
    library->keysymOf = reinterpret_cast<KeycodeToKeysym>(symbol(library->x11, "XKeycodeToKeysym"));
    library->keycodeRange = reinterpret_cast<DisplayKeycodes>(symbol(library->x11, "XDisplayKeycodes"));
    library->mapping = reinterpret_cast<GetKeyboardMapping>(symbol(library->x11, "XGetKeyboardMapping"));
    library->changeMapping = reinterpret_cast<ChangeKeyboardMapping>(symbol(library->x11, "XChangeKeyboardMapping"));
    library->free = reinterpret_cast<Free>(symbol(library->x11, "XFree"));
    library->internAtom = reinterpret_cast<InternAtom>(symbol(library->x11, "XInternAtom"));
    library->sendEvent = reinterpret_cast<SendEvent>(symbol(library->x11, "XSendEvent"));
    library->motion = reinterpret_cast<FakeMotion>(symbol(library->xtst, "XTestFakeMotionEvent"));
    library->buttonEvent = reinterpret_cast<FakeButton>(symbol(library->xtst, "XTestFakeButtonEvent"));
    library->keyEvent = reinterpret_cast<FakeKey>(symbol(library->xtst, "XTestFakeKeyEvent"));
    const bool complete = openDisplay && query && library->closeDisplay && library->sync && library->keycodeOf && library->keysymOf
                       && library->keycodeRange && library->mapping && library->changeMapping && library->free && library->internAtom
                       && library->sendEvent && library->motion && library->buttonEvent && library->keyEvent;
    if (!complete) {
        *reason = "the X libraries lack an entry point the test extension needs";
        return nullptr;
    }
    library->display = openDisplay(name);
    int event = 0, error = 0, major = 0, minor = 0;
    if (!library->display || !query(library->display, &event, &error, &major, &minor)) {
        *reason = std::string("the X server ") + name + (library->display ? " has no test extension" : " cannot be reached");
        return nullptr;
    }
    library->markAtom = library->internAtom(library->display, kMarkAtomName, 0);
    return std::unique_ptr<XTestInput>(new XTestInput(std::move(library)));
}

XTestInput::XTestInput(std::unique_ptr<Library> library) : x(std::move(library)) {}

XTestInput::~XTestInput()
{
    restore();
}

void XTestInput::move(int x, int y)
{
    this->x->motion(this->x->display, -1, x, y, 0);
}

void XTestInput::button(int button, bool press)
{
    x->buttonEvent(x->display, unsigned(button), press, 0);
}

unsigned char XTestInput::keycodeOf(unsigned long keysym, bool *shifted) const
{
    *shifted = false;
    const auto bound = std::find_if(x->bound.begin(), x->bound.end(), [keysym](const auto &pair) { return pair.first == keysym; });
    if (bound != x->bound.end())
        return bound->second;
    const unsigned char code = x->keycodeOf(x->display, keysym);
    if (!code)
        return 0;
    // The key gives the symbol unshifted, or with Shift; one that needs
    // another level (AltGr) is bound to a key of its own instead.
    *shifted = x->keysymOf(x->display, code, 0) != keysym;
    return *shifted && x->keysymOf(x->display, code, 1) != keysym ? 0 : code;
}

bool XTestInput::gives(unsigned long keysym) const
{
    bool shifted = false;
    return keycodeOf(keysym, &shifted) != 0;
}

bool XTestInput::key(unsigned long keysym, bool press)
{
    bool shifted = false;
    const unsigned char code = keycodeOf(keysym, &shifted);
    if (!code)
        return false;
    if (shifted && press)
        key(kShift, true);
    x->keyEvent(x->display, code, press, 0);
    if (shifted && !press)
        key(kShift, false);
    return true;
}

bool XTestInput::bind(const std::vector<unsigned long> &keysyms, std::string *reason)
{
    int first = 0, last = 0, width = 0;
    x->keycodeRange(x->display, &first, &last);
    unsigned long *const map = x->mapping(x->display, static_cast<unsigned char>(first), last - first + 1, &width);
    if (!map) {
        *reason = "the X server did not give its keyboard mapping";
        return false;
    }
    // The highest unused keycodes: the ones a keyboard is least likely to
    // send by itself while they are bound.
    std::vector<unsigned char> spare;
    for (int code = last; code >= first; --code) {
        const unsigned long *symbols = map + std::ptrdiff_t(code - first) * width;
        const bool bound = std::any_of(x->bound.begin(), x->bound.end(), [code](const auto &pair) { return pair.second == code; });
        if (!bound && std::all_of(symbols, symbols + width, [](unsigned long symbol) { return symbol == 0; }))
            spare.push_back(static_cast<unsigned char>(code));
    }
    x->free(map);
    if (spare.size() < keysyms.size()) {
        *reason = "the X keyboard has " + std::to_string(spare.size()) + " unused keys, " + std::to_string(keysyms.size()) + " are needed";
        return false;
    }
    for (std::size_t index = 0; index < keysyms.size(); ++index) {
        // Both levels, so that Shift or Caps Lock change nothing.
        unsigned long symbols[2] = { keysyms[index], keysyms[index] };
        x->changeMapping(x->display, spare[index], 2, symbols, 1);
        x->bound.emplace_back(keysyms[index], spare[index]);
    }
    x->sync(x->display, 0);
    return true;
}

void XTestInput::restore()
{
    for (const auto &pair : x->bound) {
        unsigned long none[2] = { 0, 0 };
        x->changeMapping(x->display, pair.second, 2, none, 1);
    }
    if (!x->bound.empty())
        x->sync(x->display, 0);
    x->bound.clear();
}

void XTestInput::mark(unsigned long window, long serial)
{
    Event event;
    std::memset(&event, 0, sizeof event);
    event.message.type = kClientMessage;
    event.message.window = window;
    event.message.messageType = x->markAtom;
    event.message.format = 32;
    event.message.data[0] = serial;
    // No event mask: the event goes to the client that made the window.
    x->sendEvent(x->display, window, 0, 0, &event);
    x->sync(x->display, 0);
}

unsigned long XTestInput::markAtom() const
{
    return x->markAtom;
}

void XTestInput::flush()
{
    x->sync(x->display, 0);
}

bool InputMarks::waitFor(long serial, std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> guard(lock);
    return seenChanged.wait_for(guard, limit, [&] { return seen >= serial; });
}

bool InputMarks::nativeEventFilter(const QByteArray &eventType, void *message,
                                   NativeResult<decltype(&QAbstractNativeEventFilter::nativeEventFilter)>::Type *)
{
    if (eventType != "xcb_generic_event_t" || !message)
        return false;
    // xcb_client_message_event_t: the code (with the bit of a sent event),
    // the format, the sequence, the window, the type, then the data.
    const auto *bytes = static_cast<const unsigned char *>(message);
    quint32 type = 0;
    qint32 serial = 0;
    std::memcpy(&type, bytes + 8, sizeof type);
    std::memcpy(&serial, bytes + 12, sizeof serial);
    if ((bytes[0] & 0x7f) != kClientMessage || type != atom)
        return false;
    {
        std::lock_guard<std::mutex> guard(lock);
        seen = std::max(seen, long(serial));
    }
    seenChanged.notify_all();
    return true;
}

namespace {

// Presses and releases keysym, with the modifiers of a Qt key around it.
bool Stroke(XTestInput &x, unsigned long keysym, int qtModifiers)
{
    const std::pair<int, unsigned long> modifiers[] = { { Qt::ShiftModifier, 0xffe1 }, { Qt::ControlModifier, 0xffe3 },
                                                        { Qt::AltModifier, 0xffe9 }, { Qt::MetaModifier, 0xffeb } };
    for (const auto &modifier : modifiers)
        if (qtModifiers & modifier.first)
            x.key(modifier.second, true);
    const bool given = x.key(keysym, true) && x.key(keysym, false);
    for (const auto &modifier : modifiers)
        if (qtModifiers & modifier.first)
            x.key(modifier.second, false);
    return given;
}

// Strokes keysyms, binding the ones no key gives to keys of their own for
// as long as the program needs them: it must have read the new mapping
// before the press, and translated the press before the mapping goes back.
bool Strokes(XTestInput &x, const std::vector<std::pair<unsigned long, int>> &strokes, const std::function<void()> &settled,
             std::string *reason)
{
    std::size_t begin = 0;
    while (begin < strokes.size()) {
        std::vector<unsigned long> unbound;
        std::size_t end = begin;
        for (; end < strokes.size(); ++end) {
            const unsigned long keysym = strokes[end].first;
            if (x.gives(keysym) || std::find(unbound.begin(), unbound.end(), keysym) != unbound.end())
                continue;
            if (unbound.size() == kBoundAtOnce)
                break;
            unbound.push_back(keysym);
        }
        if (!unbound.empty()) {
            if (!x.bind(unbound, reason))
                return false;
            settled();
        }
        for (std::size_t index = begin; index < end; ++index) {
            if (!Stroke(x, strokes[index].first, strokes[index].second)) {
                *reason = "no key of the X keyboard gives the key symbol " + std::to_string(strokes[index].first);
                x.restore();
                return false;
            }
        }
        if (!unbound.empty()) {
            x.flush();
            settled();
            x.restore();
            settled();
        }
        begin = end;
    }
    return true;
}

} // namespace

bool GiveRealInput(XTestInput &x, const std::vector<InputStep> &steps, double ratio, const std::function<void()> &settled,
                   std::string *reason)
{
    auto native = [ratio](const QPoint &point) { return QPoint(qRound(point.x() * ratio), qRound(point.y() * ratio)); };
    const bool drag = std::count_if(steps.begin(), steps.end(), [](const InputStep &step) { return step.kind == InputStep::Kind::Move; }) > 1;
    for (const InputStep &step : steps) {
        switch (step.kind) {
        case InputStep::Kind::Move:
            x.move(native(step.point).x(), native(step.point).y());
            break;
        case InputStep::Kind::Press:
        case InputStep::Kind::Release:
            x.button(step.button, step.kind == InputStep::Kind::Press);
            break;
        case InputStep::Kind::Wheel:
            x.move(native(step.point).x(), native(step.point).y());
            for (int notch = 0; notch < std::abs(step.steps); ++notch) {
                x.button(step.steps > 0 ? 4 : 5, true);
                x.button(step.steps > 0 ? 4 : 5, false);
            }
            break;
        case InputStep::Kind::Key: {
            const unsigned long keysym = KeysymOfQtKey(step.key & ~int(Qt::KeyboardModifierMask));
            if (!keysym) {
                *reason = "no X key symbol stands for the Qt key " + std::to_string(step.key & ~int(Qt::KeyboardModifierMask));
                return false;
            }
            if (!Strokes(x, { { keysym, step.key & int(Qt::KeyboardModifierMask) } }, settled, reason))
                return false;
            break;
        }
        case InputStep::Kind::Text: {
            std::vector<std::pair<unsigned long, int>> strokes;
            for (const uint character : step.text.toUcs4())
                strokes.emplace_back(KeysymOfCharacter(character), 0);
            if (!Strokes(x, strokes, settled, reason))
                return false;
            break;
        }
        }
        if (drag) {
            // Each step of a drag once the program has seen the one before.
            x.flush();
            settled();
            std::this_thread::sleep_for(kDragPace);
        }
    }
    x.flush();
    settled();
    return true;
}

unsigned long KeysymOfQtKey(int key)
{
    struct Pair {
        int qt;
        unsigned long keysym;
    };
    static const Pair special[] = {
        { Qt::Key_Escape, 0xff1b }, { Qt::Key_Tab, 0xff09 },      { Qt::Key_Backtab, 0xfe20 },  { Qt::Key_Backspace, 0xff08 },
        { Qt::Key_Return, 0xff0d }, { Qt::Key_Enter, 0xff8d },    { Qt::Key_Insert, 0xff63 },   { Qt::Key_Delete, 0xffff },
        { Qt::Key_Pause, 0xff13 },  { Qt::Key_Home, 0xff50 },     { Qt::Key_End, 0xff57 },      { Qt::Key_Left, 0xff51 },
        { Qt::Key_Up, 0xff52 },     { Qt::Key_Right, 0xff53 },    { Qt::Key_Down, 0xff54 },     { Qt::Key_PageUp, 0xff55 },
        { Qt::Key_PageDown, 0xff56 }, { Qt::Key_Shift, 0xffe1 },  { Qt::Key_Control, 0xffe3 },  { Qt::Key_Alt, 0xffe9 },
        { Qt::Key_Meta, 0xffeb },   { Qt::Key_Space, 0x20 },      { Qt::Key_Menu, 0xff67 },
    };
    for (const Pair &pair : special) {
        if (pair.qt == key)
            return pair.keysym;
    }
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35)
        return 0xffbe + unsigned(key - Qt::Key_F1);
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        return unsigned(key - Qt::Key_A) + 'a';
    if (key > 0x20 && key < 0x100)
        return unsigned(key); // Latin-1: Qt's key is the character
    return 0;
}

unsigned long KeysymOfCharacter(char32_t character)
{
    if (character == U'\n' || character == U'\r')
        return 0xff0d;
    if (character == U'\t')
        return 0xff09;
    // Latin-1's printable characters are their own symbols; every other
    // character has the Unicode symbol of its code point.
    if ((character >= 0x20 && character < 0x7f) || (character >= 0xa0 && character <= 0xff))
        return character;
    return 0x01000000 + character;
}

} // namespace vrqt::agent
