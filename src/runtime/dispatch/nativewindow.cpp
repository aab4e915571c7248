#include "runtime/dispatch/nativewindow.h"

#include <QGuiApplication>
#include <QHash>
#include <QMutex>
#include <QPointer>
#include <QThread>
#include <QWindow>

namespace {

QMutex threadIdsLock;
QHash<const QThread *, DWORD> threadIds;

QMutex windowMarkersLock;
QHash<WId, HANDLE> windowMarkers;

std::u16string windowMarkerName(HWND window)
{
    return u"VRQT_WINDOW_" + QString::number(quintptr(window)).toStdU16String();
}

// The QWindow with a native surface whose id is window, or null.
// TODO(dispatch): the window list is read from the calling thread; the
// crossing to the GUI thread makes this safe once calls can cross.
QWindow *findWindow(HWND window)
{
    if (!window || !QGuiApplication::instance())
        return nullptr;
    const WId id = WId(window);
    const QWindowList windows = QGuiApplication::allWindows();
    for (QWindow *candidate : windows) {
        if (candidate && candidate->handle() && candidate->winId() == id)
            return candidate;
    }
    return nullptr;
}

} // namespace

void NoteCurrentThread()
{
    const QThread *current = QThread::currentThread();
    const DWORD id = GetCurrentThreadId();
    QMutexLocker locker(&threadIdsLock);
    threadIds.insert(current, id);
}

DWORD ThreadIdOfQThread(const QThread *thread)
{
    if (!thread)
        return 0;
    if (thread == QThread::currentThread()) {
        NoteCurrentThread();
        return GetCurrentThreadId();
    }
    QMutexLocker locker(&threadIdsLock);
    return threadIds.value(thread, 0);
}

BOOL IsWindow(HWND window)
{
    return findWindow(window) != nullptr;
}

DWORD GetWindowThreadProcessId(HWND window, DWORD *processId)
{
    QWindow *found = findWindow(window);
    if (!found)
        return 0;
    if (processId)
        *processId = GetCurrentProcessId();
    return ThreadIdOfQThread(found->thread());
}

void PublishWindow(HWND window)
{
    QWindow *found = findWindow(window);
    if (!found)
        return;
    const WId id = WId(window);
    QMutexLocker locker(&windowMarkersLock);
    if (windowMarkers.contains(id))
        return;
    HANDLE marker = CreateEventW(nullptr, TRUE, FALSE, windowMarkerName(window).c_str());
    if (!marker)
        return;
    windowMarkers.insert(id, marker);
    // Runs on the thread that destroys the window.
    QObject::connect(found, &QObject::destroyed, [id] {
        QMutexLocker locker(&windowMarkersLock);
        if (HANDLE marker = windowMarkers.take(id))
            CloseHandle(marker);
    });
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

HWND GetParent(HWND window)
{
    QWindow *found = findWindow(window);
    QWindow *parent = found ? found->parent() : nullptr;
    return parent && parent->handle() ? HWND(parent->winId()) : nullptr;
}
