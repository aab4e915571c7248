// Native windows under the names the dispatch logic uses. A window here is
// the id of a native Qt window of this process (QWindow::winId()); its
// thread is the thread its QWindow lives in, its parent the native parent.
//
// Qt's window list may be read only on the GUI thread. There the functions
// read it directly; other threads read a table of the windows that the GUI
// thread last saw, and have the GUI thread renew it (a call carried there)
// when a window is not in it or has been destroyed since.
#pragma once

#include "platform/automation.h"
#include "runtime/dispatch/threadregistry.h"

#define GWL_STYLE (-16)
#define WS_POPUP 0x80000000L
#define WS_CHILD 0x40000000L
#define WS_VISIBLE 0x10000000L
typedef BOOL (*WNDENUMPROC)(HWND window, LPARAM parameter);

// A rectangle as the window functions give it: right and bottom exclusive.
typedef struct tagRECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
} RECT;

// Any thread. Only windows that already have a native surface count: asking
// never creates one.
BOOL IsWindow(HWND window);
// The kernel id of the thread that owns the window, 0 when unknown; the
// process id is this process's for a window of this process.
DWORD GetWindowThreadProcessId(HWND window, DWORD *processId);
HWND GetParent(HWND window);

// As the GUI thread sees them now (a call carried there from other
// threads). Any thread.
BOOL IsWindowVisible(HWND window);
// GWL_STYLE only: WS_VISIBLE for a visible window, WS_CHILD for one with a
// native parent, WS_POPUP for popups, tool tips and splash screens; 0 for
// other indexes and for no window.
LONG GetWindowLongW(HWND window, int index);
// The window's frame in screen coordinates (QWindow::frameGeometry), and
// its client area in its own coordinates (left and top 0, the size of
// QWindow::geometry). FALSE for no window or a null rect.
BOOL GetWindowRect(HWND window, RECT *rect);
BOOL GetClientRect(HWND window, RECT *rect);
// Calls enumerate for each top-level native window until it returns FALSE;
// the windows are those the GUI thread sees at the call. Any thread.
BOOL EnumWindows(WNDENUMPROC enumerate, LPARAM parameter);

// Publishes a native window of this process under a name that lives as
// long as its QWindow, so that other processes of this user can tell that
// the window exists. The name is taken on the GUI thread (a call carried
// there from other threads). Any thread; takes the markers' lock.
void PublishWindow(HWND window);
// True for a native window of this process or a window that a process of
// this user has published. Any thread.
BOOL IsPublishedWindow(HWND window);
