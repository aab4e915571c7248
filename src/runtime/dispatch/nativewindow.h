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

// The kernel thread id of a QThread, 0 until that thread has been seen
// running module code. Any thread.
DWORD ThreadIdOfQThread(const QThread *thread);
// Records the calling thread's QThread and kernel id.
void NoteCurrentThread();
