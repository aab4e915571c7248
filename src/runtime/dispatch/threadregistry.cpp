#include "runtime/dispatch/threadregistry.h"

#include <QAbstractEventDispatcher>
#include <QHash>
#include <QMutex>
#include <QThread>

#include <memory>

#include "runtime/dispatch/pumpingwait.h"
#include "runtime/dispatch/windowcontext.h"

namespace {

struct KnownThread {
    const QThread *thread = nullptr;
    // The dispatcher whose destruction is watched, so that it cannot go
    // while a hook is being connected to it.
    const QAbstractEventDispatcher *watchedDispatcher = nullptr;
    QMetaObject::Connection threadFinished;
    QMetaObject::Connection threadDestroyed;
    QMetaObject::Connection dispatcherDestroyed;
};

void disconnectAll(KnownThread &entry)
{
    QObject::disconnect(entry.threadFinished);
    QObject::disconnect(entry.threadDestroyed);
    QObject::disconnect(entry.dispatcherDestroyed);
}

class ThreadRegistry
{
public:
    ~ThreadRegistry()
    {
        // The slots are code of this library, which is going away.
        QMutexLocker locker(&lock);
        for (KnownThread &entry : byId)
            disconnectAll(entry);
        byId.clear();
        byThread.clear();
    }

    // The calling thread.
    void noteCurrent()
    {
        QThread *current = QThread::currentThread();
        const DWORD id = GetCurrentThreadId();
        QMutexLocker locker(&lock);
        auto found = byId.find(id);
        if (found != byId.end() && found->thread == current) {
            watchDispatcherLocked(id, *found, current->eventDispatcher());
            return;
        }
        // The id had an earlier thread, or the QThread an earlier id (a
        // restarted QThread): both are out of date.
        forgetLocked(id);
        forgetLocked(byThread.value(current, 0));
        KnownThread entry;
        entry.thread = current;
        entry.threadFinished = QObject::connect(
            current, &QThread::finished, current, [this, id, current] { forget(id, current); }, Qt::DirectConnection);
        entry.threadDestroyed = QObject::connect(
            current, &QObject::destroyed, current, [this, id, current] { forget(id, current); }, Qt::DirectConnection);
        watchDispatcherLocked(id, entry, current->eventDispatcher());
        byId.insert(id, entry);
        byThread.insert(current, id);
    }

    // Any thread.
    DWORD idOf(const QThread *thread)
    {
        QMutexLocker locker(&lock);
        return byThread.value(thread, 0);
    }

    // Any thread. Runs action with the live dispatcher of the thread id,
    // under the lock.
    template <typename Action>
    bool withDispatcher(DWORD id, Action action)
    {
        QMutexLocker locker(&lock);
        auto found = byId.find(id);
        if (found == byId.end())
            return false;
        // While the entry is here, its thread has not finished, so its
        // dispatcher has not been deleted.
        QAbstractEventDispatcher *dispatcher = found->thread->eventDispatcher();
        if (!dispatcher)
            return false;
        watchDispatcherLocked(id, *found, dispatcher);
        return action(dispatcher);
    }

    int count()
    {
        QMutexLocker locker(&lock);
        return byId.size();
    }

private:
    // Any thread; takes the lock. An entry is dropped only by its own thread.
    void forget(DWORD id, const QThread *thread)
    {
        QMutexLocker locker(&lock);
        auto found = byId.find(id);
        if (found != byId.end() && found->thread == thread)
            forgetLocked(id);
    }

    void forgetLocked(DWORD id)
    {
        auto found = byId.find(id);
        if (found == byId.end())
            return;
        disconnectAll(*found);
        byThread.remove(found->thread);
        byId.erase(found);
    }

    void watchDispatcherLocked(DWORD id, KnownThread &entry, QAbstractEventDispatcher *dispatcher)
    {
        if (!dispatcher || dispatcher == entry.watchedDispatcher)
            return;
        QObject::disconnect(entry.dispatcherDestroyed);
        entry.watchedDispatcher = dispatcher;
        // Waits for the lock, so that a connection under way finishes first.
        entry.dispatcherDestroyed = QObject::connect(
            dispatcher, &QObject::destroyed, dispatcher,
            [this, id, dispatcher] {
                QMutexLocker locker(&lock);
                auto found = byId.find(id);
                if (found != byId.end() && found->watchedDispatcher == dispatcher)
                    found->watchedDispatcher = nullptr;
            },
            Qt::DirectConnection);
    }

    QMutex lock;
    QHash<DWORD, KnownThread> byId;
    QHash<const QThread *, DWORD> byThread;
};

// Made before, and destroyed after, the library's lifetime object and the
// window context, which use it while they end.
__attribute__((init_priority(140))) ThreadRegistry registry;

// What a probe shares with the slot that runs it: the slot may run, and the
// state go, after the asking thread has given up.
struct ProbeState {
    explicit ProbeState(const QThread *thread) : thread(thread) {}
    ~ProbeState() { CloseHandle(ran); }
    ProbeState(const ProbeState &) = delete;
    ProbeState &operator=(const ProbeState &) = delete;

    const QThread *const thread;
    const HANDLE ran = CreateEventW(nullptr, TRUE, FALSE, nullptr);
};

// Runs a probe on thread through its dispatcher and waits up to one slice
// for it. The calling thread.
void probe(const QThread *thread)
{
    QAbstractEventDispatcher *dispatcher = thread->eventDispatcher();
    if (!dispatcher)
        return;
    auto state = std::make_shared<ProbeState>(thread);
    if (!state->ran)
        return;
    auto slot = [state] {
        if (QThread::currentThread() != state->thread)
            return;
        NoteCurrentThread();
        SetEvent(state->ran);
    };
    const QMetaObject::Connection onAwake =
        QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, dispatcher, slot, Qt::DirectConnection);
    const QMetaObject::Connection onBlock =
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, dispatcher, slot, Qt::DirectConnection);
    dispatcher->wakeUp();
    DWORD index = 0;
    HANDLE ran = state->ran;
    PumpingWait(CallTimeoutMs.load(), 1, &ran, &index);
    QObject::disconnect(onAwake);
    QObject::disconnect(onBlock);
}

} // namespace

void NoteCurrentThread()
{
    registry.noteCurrent();
}

DWORD ThreadIdOfQThread(const QThread *thread)
{
    if (!thread)
        return 0;
    if (thread == QThread::currentThread()) {
        NoteCurrentThread();
        return GetCurrentThreadId();
    }
    if (const DWORD known = registry.idOf(thread))
        return known;
    probe(thread);
    return registry.idOf(thread);
}

bool ConnectDispatcherHooks(DWORD threadId, void (*slot)(), QMetaObject::Connection (&hookHandles)[2])
{
    hookHandles[0] = hookHandles[1] = QMetaObject::Connection();
    return registry.withDispatcher(threadId, [&](QAbstractEventDispatcher *dispatcher) {
        hookHandles[0] =
            QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, dispatcher, slot, Qt::DirectConnection);
        if (!hookHandles[0])
            return false;
        hookHandles[1] = QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, dispatcher, slot,
                                          Qt::DirectConnection);
        if (!hookHandles[1]) {
            QObject::disconnect(hookHandles[0]);
            hookHandles[0] = QMetaObject::Connection();
            return false;
        }
        return true;
    });
}

bool WakeThreadDispatcher(DWORD threadId)
{
    return registry.withDispatcher(threadId, [](QAbstractEventDispatcher *dispatcher) {
        dispatcher->wakeUp();
        return true;
    });
}

int KnownThreadCount()
{
    return registry.count();
}
