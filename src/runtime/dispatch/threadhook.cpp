#include "runtime/dispatch/threadhook.h"

#include <QObject>

#include "runtime/dispatch/threadregistry.h"

namespace {

std::atomic<int> liveHooks{ 0 };

} // namespace

CThreadHook::CThreadHook(DWORD threadId, void (*hookProc)())
{
    InitializeCriticalSectionAndSpinCount(&queueLock, 0);
    // Either both hooks are set or neither: the registry undoes the first
    // when the second fails.
    hooked = ConnectDispatcherHooks(threadId, hookProc, hookHandles);
    if (hooked)
        liveHooks.fetch_add(1);
}

CThreadHook::~CThreadHook()
{
    // A connection whose dispatcher has gone is already cut; disconnecting
    // it again is harmless.
    for (QMetaObject::Connection &handle : hookHandles) {
        QObject::disconnect(handle);
        handle = QMetaObject::Connection();
    }
    if (hooked)
        liveHooks.fetch_sub(1);
    cookies.clear();
    DeleteCriticalSection(&queueLock);
}

bool CThreadHook::Installed() const
{
    return hookHandles[0] && hookHandles[1];
}

int CThreadHook::LiveCount()
{
    return liveHooks.load();
}
