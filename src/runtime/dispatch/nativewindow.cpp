#include "runtime/dispatch/nativewindow.h"

#include <QGuiApplication>
#include <QHash>
#include <QMutex>
#include <QPointer>
#include <QThread>
#include <QVector>
#include <QWindow>

#include "runtime/dispatch/execution.h"

namespace {

// What the GUI thread saw of one native window.
struct WindowRecord {
    QPointer<QWindow> window;
    const QThread *thread = nullptr;
    DWORD threadId = 0; // 0 when the GUI thread did not know it
    WId parent = 0;
    LONG style = 0;
    QRect frame;  // screen coordinates
    QRect client; // screen coordinates
};

LONG styleOf(const QWindow *window)
{
    LONG style = 0;
    if (window->isVisible())
        style |= WS_VISIBLE;
    if (window->parent())
        style |= WS_CHILD;
    switch (window->type()) {
    case Qt::Popup:
    case Qt::ToolTip:
    case Qt::SplashScreen:
        style |= WS_POPUP;
        break;
    default:
        break;
    }
    return style;
}

// The GUI thread.
WindowRecord describe(QWindow *window)
{
    WindowRecord record;
    record.window = window;
    record.thread = window->thread();
    record.threadId = record.thread == QThread::currentThread() ? GetCurrentThreadId() : 0;
    QWindow *parent = window->parent();
    record.parent = parent && parent->handle() ? parent->winId() : 0;
    record.style = styleOf(window);
    record.frame = window->frameGeometry();
    record.client = window->geometry();
    return record;
}

bool hasNativeSurface(const QWindow *window)
{
    return window && window->handle();
}

bool onGuiThread()
{
    const QCoreApplication *application = QCoreApplication::instance();
    return application && application->thread() == QThread::currentThread();
}

class WindowTable
{
public:
    // The GUI thread; takes the table's lock.
    void renew()
    {
        NoteCurrentThread();
        QHash<WId, WindowRecord> seen;
        QVector<WId> seenOrder;
        const QWindowList windows = QGuiApplication::allWindows();
        for (QWindow *window : windows) {
            if (!hasNativeSurface(window))
                continue;
            const WId id = window->winId();
            seen.insert(id, describe(window));
            seenOrder.append(id);
        }
        QMutexLocker locker(&lock);
        records.swap(seen);
        order.swap(seenOrder);
    }

    // Any thread; takes the table's lock. Only windows still alive.
    bool find(WId id, WindowRecord &record)
    {
        QMutexLocker locker(&lock);
        auto found = records.constFind(id);
        if (found == records.constEnd() || found->window.isNull())
            return false;
        record = *found;
        return true;
    }

    QVector<WId> topLevels()
    {
        QMutexLocker locker(&lock);
        QVector<WId> result;
        for (WId id : qAsConst(order)) {
            const WindowRecord &record = records[id];
            if (!record.window.isNull() && !(record.style & WS_CHILD))
                result.append(id);
        }
        return result;
    }

private:
    QMutex lock;
    QHash<WId, WindowRecord> records;
    QVector<WId> order; // Qt's order of the windows
};

// Made before, and destroyed after, the library's lifetime object, whose
// detach may still look windows up.
__attribute__((init_priority(145))) WindowTable table;

// When the GUI thread last failed to renew the table for this thread: a
// lookup of the same thread within one slice after that (the parent chain
// of one resolution) does not wait for it again.
thread_local bool renewalFailed = false;
thread_local DWORD renewalFailedAt = 0;

void renewOnGuiThread(void *)
{
    table.renew();
}

// Any thread: has the GUI thread renew the table. False when it could not.
bool renewTable()
{
    const QCoreApplication *application = QCoreApplication::instance();
    if (!qobject_cast<const QGuiApplication *>(application))
        return false;
    if (onGuiThread()) {
        table.renew();
        return true;
    }
    if (renewalFailed && GetTickCount() - renewalFailedAt < CallTimeoutMs.load())
        return false;
    const DWORD guiThread = ThreadIdOfQThread(application->thread());
    const bool renewed = guiThread && ExecuteInThread(guiThread, renewOnGuiThread, nullptr);
    renewalFailedAt = GetTickCount();
    renewalFailed = !renewed;
    return renewed;
}

// The record of a window; fresh asks the GUI thread for its state now.
// Any thread.
bool findWindow(HWND window, WindowRecord &record, bool fresh = false)
{
    if (!window || !QCoreApplication::instance())
        return false;
    const WId id = WId(window);
    if (onGuiThread()) {
        const QWindowList windows = QGuiApplication::allWindows();
        for (QWindow *candidate : windows) {
            if (hasNativeSurface(candidate) && candidate->winId() == id) {
                record = describe(candidate);
                return true;
            }
        }
        return false;
    }
    if (!fresh && table.find(id, record))
        return true;
    return renewTable() && table.find(id, record);
}

DWORD threadIdOf(const WindowRecord &record)
{
    return record.threadId ? record.threadId : ThreadIdOfQThread(record.thread);
}

std::u16string windowMarkerName(HWND window)
{
    return u"VRQT_WINDOW_" + QString::number(quintptr(window)).toStdU16String();
}

// The names under which windows are published, each held until its QWindow
// is destroyed.
class WindowMarkers
{
public:
    ~WindowMarkers()
    {
        // The slots are code of this library, which is going away; the
        // names go with it.
        QMutexLocker locker(&lock);
        for (const Marker &marker : qAsConst(markers)) {
            QObject::disconnect(marker.windowDestroyed);
            CloseHandle(marker.handle);
        }
        markers.clear();
    }

    // The GUI thread, with a window it has just found; takes the lock.
    void publish(WId id, QWindow *window)
    {
        QMutexLocker locker(&lock);
        if (markers.contains(id))
            return;
        HANDLE handle = CreateEventW(nullptr, TRUE, FALSE, windowMarkerName(HWND(id)).c_str());
        if (!handle)
            return;
        // Runs on the thread that destroys the window.
        const QMetaObject::Connection windowDestroyed =
            QObject::connect(window, &QObject::destroyed, window, [this, id] { remove(id); }, Qt::DirectConnection);
        markers.insert(id, Marker{ handle, windowDestroyed });
    }

private:
    struct Marker {
        HANDLE handle;
        QMetaObject::Connection windowDestroyed;
    };

    void remove(WId id)
    {
        QMutexLocker locker(&lock);
        auto found = markers.find(id);
        if (found == markers.end())
            return;
        CloseHandle(found->handle);
        markers.erase(found);
    }

    QMutex lock;
    QHash<WId, Marker> markers;
};

__attribute__((init_priority(146))) WindowMarkers windowMarkers;

// The GUI thread: the window is looked for there, where it cannot go away
// meanwhile.
void publishOnGuiThread(void *argument)
{
    const WId id = *static_cast<const WId *>(argument);
    const QWindowList windows = QGuiApplication::allWindows();
    for (QWindow *candidate : windows) {
        if (hasNativeSurface(candidate) && candidate->winId() == id) {
            windowMarkers.publish(id, candidate);
            return;
        }
    }
}

} // namespace

BOOL IsWindow(HWND window)
{
    WindowRecord record;
    return findWindow(window, record);
}

DWORD GetWindowThreadProcessId(HWND window, DWORD *processId)
{
    WindowRecord record;
    if (!findWindow(window, record))
        return 0;
    if (processId)
        *processId = GetCurrentProcessId();
    return threadIdOf(record);
}

HWND GetParent(HWND window)
{
    WindowRecord record;
    return findWindow(window, record) ? HWND(record.parent) : nullptr;
}

BOOL IsWindowVisible(HWND window)
{
    WindowRecord record;
    return findWindow(window, record, true) && (record.style & WS_VISIBLE);
}

LONG GetWindowLongW(HWND window, int index)
{
    WindowRecord record;
    if (index != GWL_STYLE || !findWindow(window, record, true))
        return 0;
    return record.style;
}

BOOL GetWindowRect(HWND window, RECT *rect)
{
    WindowRecord record;
    if (!rect || !findWindow(window, record, true))
        return FALSE;
    *rect = { record.frame.left(), record.frame.top(), record.frame.right() + 1, record.frame.bottom() + 1 };
    return TRUE;
}

BOOL GetClientRect(HWND window, RECT *rect)
{
    WindowRecord record;
    if (!rect || !findWindow(window, record, true))
        return FALSE;
    *rect = { 0, 0, record.client.width(), record.client.height() };
    return TRUE;
}

BOOL EnumWindows(WNDENUMPROC enumerate, LPARAM parameter)
{
    if (!enumerate)
        return FALSE;
    if (!renewTable())
        return TRUE;
    const QVector<WId> windows = table.topLevels();
    for (WId id : windows) {
        if (!enumerate(HWND(id), parameter))
            return FALSE;
    }
    return TRUE;
}

void PublishWindow(HWND window)
{
    const QCoreApplication *application = QCoreApplication::instance();
    if (!window || !qobject_cast<const QGuiApplication *>(application))
        return;
    WId id = WId(window);
    if (onGuiThread()) {
        publishOnGuiThread(&id);
        return;
    }
    if (const DWORD guiThread = ThreadIdOfQThread(application->thread()))
        ExecuteInThread(guiThread, publishOnGuiThread, &id);
}

BOOL IsPublishedWindow(HWND window)
{
    if (IsWindow(window))
        return TRUE;
    if (!window)
        return FALSE;
    HANDLE marker = OpenEventW(EVENT_ALL_ACCESS, FALSE, windowMarkerName(window).c_str());
    if (!marker)
        return FALSE;
    CloseHandle(marker);
    return TRUE;
}
