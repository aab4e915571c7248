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

HWND GetParent(HWND window)
{
    QWindow *found = findWindow(window);
    QWindow *parent = found ? found->parent() : nullptr;
    return parent && parent->handle() ? HWND(parent->winId()) : nullptr;
}
