#include "host/agent/xtestinput.h"

#include <QtGlobal>
#include <qnamespace.h>

#include <dlfcn.h>

#include <cstdlib>

namespace vrqt::agent {

namespace {

// The few Xlib and XTest entry points needed, by their C signatures.
using Display = void;
using OpenDisplay = Display *(*)(const char *);
using CloseDisplay = int (*)(Display *);
using Flush = int (*)(Display *, int);
using KeysymToKeycode = unsigned char (*)(Display *, unsigned long);
using KeycodeToKeysym = unsigned long (*)(Display *, unsigned char, int);
using QueryExtension = int (*)(Display *, int *, int *, int *, int *);
using FakeMotion = int (*)(Display *, int, int, int, unsigned long);
using FakeButton = int (*)(Display *, unsigned int, int, unsigned long);
using FakeKey = int (*)(Display *, unsigned int, int, unsigned long);

constexpr unsigned long kShift = 0xffe1;

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
    FakeMotion motion = nullptr;
    FakeButton buttonEvent = nullptr;
    FakeKey keyEvent = nullptr;

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
    library->motion = reinterpret_cast<FakeMotion>(symbol(library->xtst, "XTestFakeMotionEvent"));
    library->buttonEvent = reinterpret_cast<FakeButton>(symbol(library->xtst, "XTestFakeButtonEvent"));
    library->keyEvent = reinterpret_cast<FakeKey>(symbol(library->xtst, "XTestFakeKeyEvent"));
    if (!openDisplay || !query || !library->closeDisplay || !library->sync || !library->keycodeOf || !library->keysymOf
        || !library->motion || !library->buttonEvent || !library->keyEvent) {
        *reason = "the X libraries lack an entry point the test extension needs";
        return nullptr;
    }
    library->display = openDisplay(name);
    int event = 0, error = 0, major = 0, minor = 0;
    if (!library->display || !query(library->display, &event, &error, &major, &minor)) {
        *reason = std::string("the X server ") + name + (library->display ? " has no test extension" : " cannot be reached");
        return nullptr;
    }
    return std::unique_ptr<XTestInput>(new XTestInput(std::move(library)));
}

XTestInput::XTestInput(std::unique_ptr<Library> library) : x(std::move(library)) {}

XTestInput::~XTestInput() = default;

void XTestInput::move(int x, int y)
{
    this->x->motion(this->x->display, -1, x, y, 0);
}

void XTestInput::button(int button, bool press)
{
    x->buttonEvent(x->display, unsigned(button), press, 0);
}

void XTestInput::key(unsigned long keysym, bool press)
{
    if (const unsigned char code = x->keycodeOf(x->display, keysym))
        x->keyEvent(x->display, code, press, 0);
}

bool XTestInput::type(unsigned char character)
{
    const unsigned long keysym = character;
    const unsigned char code = x->keycodeOf(x->display, keysym);
    if (!code)
        return false;
    // The key gives the character unshifted, or with Shift.
    const bool shifted = x->keysymOf(x->display, code, 0) != keysym;
    if (shifted)
        key(kShift, true);
    x->keyEvent(x->display, code, true, 0);
    x->keyEvent(x->display, code, false, 0);
    if (shifted)
        key(kShift, false);
    return true;
}

void XTestInput::flush()
{
    x->sync(x->display, 0);
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

} // namespace vrqt::agent
