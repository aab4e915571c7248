// Native windows under the names the dispatch logic uses. A window here is
// the id of a native Qt window of this process (QWindow::winId()); its
// thread is the thread its QWindow lives in, its parent the native parent.
#pragma once

#include "platform/automation.h"

class QThread;

// Any thread. Only windows that already have a native surface count: asking
// never creates one.
BOOL IsWindow(HWND window);
// The kernel id of the thread that owns the window, 0 when unknown; the
// process id is this process's for a window of this process.
DWORD GetWindowThreadProcessId(HWND window, DWORD *processId);
HWND GetParent(HWND window);

// Publishes a native window of this process under a name that lives as
// long as its QWindow, so that other processes of this user can tell that
// the window exists. Any thread; takes the markers' lock.
void PublishWindow(HWND window);
// True for a native window of this process or a window that a process of
// this user has published.
BOOL IsPublishedWindow(HWND window);

// The kernel thread id of a QThread, 0 until that thread has been seen
// running module code. Any thread.
DWORD ThreadIdOfQThread(const QThread *thread);
// Records the calling thread's QThread and kernel id.
void NoteCurrentThread();
