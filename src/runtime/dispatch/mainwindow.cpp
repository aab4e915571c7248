// CzkWindowContext::FindMainWindow: the process's main window among the
// native Qt windows.
#include <atomic>

#include "runtime/dispatch/nativewindow.h"
#include "runtime/dispatch/windowcontext.h"

namespace {

std::atomic<HWND> cachedMainWindow{ nullptr };

struct Search {
    bool ignoreStyle;
    HWND found;
};

BOOL testWindow(HWND window, LPARAM parameter)
{
    auto *search = reinterpret_cast<Search *>(parameter);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process != GetCurrentProcessId() || !IsWindowVisible(window))
        return TRUE;
    if (!search->ignoreStyle && (GetWindowLongW(window, GWL_STYLE) & WS_POPUP))
        return TRUE;
    search->found = window;
    return FALSE;
}

} // namespace

HWND CzkWindowContext::FindMainWindow()
{
    const HWND cached = cachedMainWindow.load();
    if (cached && IsWindow(cached) && IsWindowVisible(cached))
        return cached;
    Search search{ false, nullptr };
    EnumWindows(testWindow, reinterpret_cast<LPARAM>(&search));
    if (!search.found) {
        search.ignoreStyle = true;
        EnumWindows(testWindow, reinterpret_cast<LPARAM>(&search));
    }
    // Null is cached too.
    cachedMainWindow.store(search.found);
    return search.found;
}
