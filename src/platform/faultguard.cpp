// The fault guard: CallWithFaultGuard.
//
// One handler for SIGSEGV, SIGBUS, SIGILL and SIGFPE serves the process. A
// thread that runs guarded code keeps a stack of jump points; a fault the
// kernel raises while one is set fills that guard's record and jumps back to
// it (sigsetjmp/siglongjmp, restoring the signal mask). Any other signal of
// these four, and faults outside guards, go on to the handlers that were
// installed before ours, or to the default action, so that the process
// still crashes (or its crash reporter or AddressSanitizer runs) as before.
//
// The handler is installed on first use. Asking the kernel whether it is
// still in place costs a system call per signal, so a guard looks again only
// when something may have changed it: a library was loaded or unloaded
// since the last look (through LoadLibrary at once, through any other road
// within a tick of the coarse clock), or the last look is more than
// kLookInterval old. A
// handler installed after ours is then kept in the chain (called first for
// faults outside guards) and ours is put back on top; until then the newer
// handler sees faults first, and one that passes them on to ours (as
// handlers that chain do) still lets the guard catch them. Frames that a
// fault jumps over do not run their destructors.
#include <pthread.h>
#include <setjmp.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <cxxabi.h>
#include <mutex>

#include "platform/faultrecord.h"
#include "platform/memorymap.h"

#define EXCEPTION_NONCONTINUABLE 0x1

namespace platform {
namespace {

constexpr int kSignals[] = { SIGSEGV, SIGBUS, SIGILL, SIGFPE };
constexpr int kSignalCount = 4;
constexpr int kChainCapacity = 8; // handlers kept per signal; later ones are left on top
constexpr size_t kAlternateStackSize = 64 * 1024;
constexpr long long kLookInterval = 10 * 1000 * 1000; // nanoseconds

struct GuardFrame {
    sigjmp_buf jump;
    GuardFrame *outer;
    EXCEPTION_RECORD record;
};

// The handlers found in place of ours, oldest first. Appended under the
// install lock, read by the signal handler without it.
struct SignalChain {
    std::atomic<int> count{ 0 };
    struct sigaction handlers[kChainCapacity];
};

SignalChain chains[kSignalCount];
std::mutex installLock;

// Initial-exec TLS: the signal handler may read it on any thread without
// the dynamic loader allocating anything.
#define GUARD_TLS __thread __attribute__((tls_model("initial-exec")))
GUARD_TLS GuardFrame *innermostFrame = nullptr;
GUARD_TLS int chainDepth[kSignalCount];
GUARD_TLS uintptr_t stackLow = 0;
GUARD_TLS bool threadPrepared = false;

int slotOf(int signal)
{
    for (int slot = 0; slot < kSignalCount; ++slot) {
        if (kSignals[slot] == signal)
            return slot;
    }
    return 0;
}

// Restores the default action and re-raises: the signal is blocked while
// the handler runs, so it is delivered, and ends the process, on return (a
// fault also recurs when its instruction runs again).
void applyDefaultAction(int signal)
{
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
    syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), signal);
}

// Calls the next older handler. A handler that itself chains to ours (it
// saw ours as its predecessor) comes back here one level deeper and so
// reaches the handler before it, not itself again.
void passOn(int signal, siginfo_t *info, void *context)
{
    const int slot = slotOf(signal);
    const SignalChain &chain = chains[slot];
    const int index = chain.count.load(std::memory_order_acquire) - 1 - chainDepth[slot];
    if (index < 0) {
        applyDefaultAction(signal);
        return;
    }
    const struct sigaction &next = chain.handlers[index];
    const bool takesInfo = (next.sa_flags & SA_SIGINFO) != 0;
    if (!takesInfo && (next.sa_handler == SIG_DFL || next.sa_handler == SIG_IGN)) {
        // An ignored fault would recur for ever; the kernel kills in that case too.
        applyDefaultAction(signal);
        return;
    }
    ++chainDepth[slot];
    if (takesInfo)
        next.sa_sigaction(signal, info, context);
    else
        next.sa_handler(signal);
    --chainDepth[slot];
}

// The process-wide handler; runs on the faulting thread, on its alternate
// stack when it has one.
void onFault(int signal, siginfo_t *info, void *context)
{
    GuardFrame *frame = innermostFrame;
    // A positive si_code means the kernel raised it for an instruction;
    // signals sent by kill or raise are not faults of the guarded code.
    if (frame && info && info->si_code > 0) {
        const auto *machine = static_cast<const ucontext_t *>(context);
        describeFault(signal, info, machine, stackLow, &frame->record);
        // The guard saved no signal mask (a system call on every use): the
        // mask the guarded code had when it faulted is put back instead.
        if (machine) {
            pthread_sigmask(SIG_SETMASK, &machine->uc_sigmask, nullptr);
        } else {
            sigset_t faultSignal;
            sigemptyset(&faultSignal);
            sigaddset(&faultSignal, signal);
            pthread_sigmask(SIG_UNBLOCK, &faultSignal, nullptr);
        }
        siglongjmp(frame->jump, 1);
    }
    passOn(signal, info, context);
}

bool isOurs(const struct sigaction &action)
{
    return (action.sa_flags & SA_SIGINFO) && action.sa_sigaction == onFault;
}

long long coarseNow()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// When the handlers were last looked at, and the loader's count of loads
// and unloads then; -1 before the first look.
std::atomic<long long> lastLook{ -1 };
std::atomic<unsigned long long> lastImageGeneration{ 0 };

// Whether the handlers may have changed since the last look. Any thread.
bool lookDue()
{
    const long long last = lastLook.load(std::memory_order_acquire);
    const long long now = coarseNow();
    return last < 0 || now - last >= kLookInterval
        || recentImageGeneration(now) != lastImageGeneration.load(std::memory_order_relaxed);
}

// Puts our handler on top of each signal, keeping what was there in the
// chain. Any thread; takes the install lock only when something changed.
void ensureInstalled()
{
    if (!lookDue())
        return;
    // Noted before the look, so that a change made during it is found by
    // the next one, and published after it, so that no guard skips a look
    // before the handler is in place.
    const long long now = coarseNow();
    const unsigned long long generation = recentImageGeneration(now);
    for (int slot = 0; slot < kSignalCount; ++slot) {
        struct sigaction current;
        if (sigaction(kSignals[slot], nullptr, &current) != 0 || isOurs(current))
            continue;
        std::lock_guard<std::mutex> guard(installLock);
        if (sigaction(kSignals[slot], nullptr, &current) != 0 || isOurs(current))
            continue;
        SignalChain &chain = chains[slot];
        const int count = chain.count.load(std::memory_order_relaxed);
        if (count == kChainCapacity)
            continue;
        chain.handlers[count] = current;
        chain.count.store(count + 1, std::memory_order_release);
        struct sigaction ours;
        std::memset(&ours, 0, sizeof ours);
        ours.sa_sigaction = onFault;
        ours.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigemptyset(&ours.sa_mask);
        sigaction(kSignals[slot], &ours, nullptr);
    }
    lastImageGeneration.store(generation, std::memory_order_relaxed);
    lastLook.store(now, std::memory_order_release);
}

// The alternate signal stack this library gave a thread, taken back when
// the thread ends.
struct AlternateStack {
    void *memory = nullptr;
    ~AlternateStack()
    {
        if (!memory)
            return;
        stack_t current;
        if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == memory) {
            stack_t disabled{};
            disabled.ss_flags = SS_DISABLE;
            sigaltstack(&disabled, nullptr);
        }
        munmap(memory, kAlternateStackSize);
    }
};

// Once per thread: notes where its stack ends (to tell a stack overflow)
// and gives it an alternate signal stack unless it has one (the handler
// cannot run on an overflowed stack).
void prepareThread()
{
    if (threadPrepared)
        return;
    threadPrepared = true;
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        void *address = nullptr;
        size_t size = 0;
        if (pthread_attr_getstack(&attributes, &address, &size) == 0)
            stackLow = reinterpret_cast<uintptr_t>(address);
        pthread_attr_destroy(&attributes);
    }
    stack_t current;
    if (sigaltstack(nullptr, &current) != 0 || !(current.ss_flags & SS_DISABLE))
        return;
    void *memory = mmap(nullptr, kAlternateStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return;
    stack_t alternate{};
    alternate.ss_sp = memory;
    alternate.ss_size = kAlternateStackSize;
    if (sigaltstack(&alternate, nullptr) != 0) {
        munmap(memory, kAlternateStackSize);
        return;
    }
    static thread_local AlternateStack owner;
    owner.memory = memory;
}

void describeCppException(EXCEPTION_RECORD *record)
{
    std::memset(record, 0, sizeof *record);
    record->ExceptionCode = EXCEPTION_CPP;
    record->ExceptionFlags = EXCEPTION_NONCONTINUABLE;
}

} // namespace
} // namespace platform

using namespace platform;

/// CallWithFaultGuard: runs a routine so that a fault or a C++ exception
/// inside it ends the routine instead of the process, as a __try/__except
/// block that takes every exception would.
///   routine [in]: the routine; context [in]: its argument.
///   record [out, optional]: when the routine did not finish, what ended it:
///     for a fault the code (EXCEPTION_ACCESS_VIOLATION with
///     ExceptionInformation[0] 0 read, 1 write, 8 execute and [1] the
///     address; EXCEPTION_STACK_OVERFLOW; EXCEPTION_IN_PAGE_ERROR;
///     EXCEPTION_DATATYPE_MISALIGNMENT; EXCEPTION_ILLEGAL_INSTRUCTION;
///     EXCEPTION_PRIV_INSTRUCTION; EXCEPTION_INT_DIVIDE_BY_ZERO;
///     EXCEPTION_INT_OVERFLOW; the EXCEPTION_FLT_ codes) and
///     ExceptionAddress the faulting instruction; for a C++ exception
///     EXCEPTION_CPP, noncontinuable, without parameters. Untouched when
///     the routine finished.
/// Returns TRUE when the routine ran to its end, FALSE otherwise. A null
/// routine is reported as the access violation calling it would raise.
/// Guards nest and work on any number of threads at once.
/// Differs from Windows: frames a fault jumps over do not run destructors;
/// a C++ exception's record carries no object or throw information.
/// The sanitizer's null check is off here, deliberately: a forced unwind is
/// no C++ object, so its handler's reference is bound to null (never read).
PLATFORM_API __attribute__((no_sanitize("null"))) BOOL CallWithFaultGuard(GUARDED_ROUTINE routine, void *context,
                                                                         EXCEPTION_RECORD *record)
{
    if (!routine) {
        if (record) {
            std::memset(record, 0, sizeof *record);
            record->ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
            record->NumberParameters = 2;
            record->ExceptionInformation[0] = 8;
        }
        return FALSE;
    }
    ensureInstalled();
    prepareThread();
    GuardFrame frame;
    frame.outer = innermostFrame;
    volatile bool completed = false;
    if (sigsetjmp(frame.jump, 0) == 0) {
        innermostFrame = &frame;
        try {
            routine(context);
            completed = true;
        } catch (abi::__forced_unwind &) {
            // A thread's end (pthread_exit) or cancellation must go on
            // unwinding.
            innermostFrame = frame.outer;
            throw;
        } catch (...) {
            describeCppException(&frame.record);
        }
    }
    innermostFrame = frame.outer;
    if (!completed && record)
        *record = frame.record;
    return completed ? TRUE : FALSE;
}
