// The fault guard: records of each kind of fault, nesting, threads, and the
// handlers before and after ours.
#include <gtest/gtest.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <thread>

#include "platform/automation.h"

// Each routine starts at (or labels) the instruction that faults, so that
// ExceptionAddress can be checked exactly; written in assembly so that no
// sanitizer check runs before the instruction itself.
extern "C" {
void vrqtLoad(const void *address);
void vrqtStore(void *address);
void vrqtDivide(int dividend, int divisor);
void vrqtDivideMemory(int dividend, const int *divisor);
void vrqtDivide64(long dividend, long divisor);
void vrqtDivideRipRelative(int dividend);
void vrqtUndefined(void);
void vrqtHalt(void);
extern const char vrqtDivideInstruction[], vrqtDivideMemoryInstruction[], vrqtDivide64Instruction[],
    vrqtDivideRipRelativeInstruction[];
extern int vrqtDivisorSlot;
}

asm(R"(
    .text
    .globl vrqtLoad, vrqtStore, vrqtDivide, vrqtDivideMemory, vrqtDivide64
    .globl vrqtDivideRipRelative, vrqtUndefined, vrqtHalt
    .globl vrqtDivideInstruction, vrqtDivideMemoryInstruction, vrqtDivide64Instruction
    .globl vrqtDivideRipRelativeInstruction, vrqtDivisorSlot
vrqtLoad:
    movb (%rdi), %al
    ret
vrqtStore:
    movb $1, (%rdi)
    ret
vrqtDivide:
    movl %edi, %eax
    cltd
vrqtDivideInstruction:
    idivl %esi
    ret
vrqtDivideMemory:
    movl %edi, %eax
    xorl %ecx, %ecx
    cltd
vrqtDivideMemoryInstruction:
    idivl 4(%rsi, %rcx, 4)
    ret
vrqtDivide64:
    movq %rdi, %rax
    cqto
vrqtDivide64Instruction:
    idivq %rsi
    ret
vrqtDivideRipRelative:
    movl %edi, %eax
    cltd
vrqtDivideRipRelativeInstruction:
    idivl vrqtDivisorSlot(%rip)
    ret
vrqtUndefined:
    ud2
vrqtHalt:
    hlt
    ret
    .data
    .balign 4
vrqtDivisorSlot:
    .long 0
    .text
)");

namespace {

// Pages with chosen protections, released at the end of a test.
class Pages {
public:
    explicit Pages(int protection)
    {
        m_address = mmap(nullptr, 4096, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    }
    ~Pages() { munmap(m_address, 4096); } // harmless once unmapped
    void *address() const { return m_address; }
    void unmap() { munmap(m_address, 4096); }

private:
    void *m_address;
};

bool crashedWithSegmentationFault(int status)
{
#if defined(__SANITIZE_ADDRESS__)
    // AddressSanitizer's own handler reports the fault and exits.
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0)
        return true;
#endif
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV;
}

struct FaultRow {
    const char *name;
    std::function<void()> routine;
    DWORD code;
    DWORD parameters;
    ULONG_PTR kind;        // ExceptionInformation[0] when parameters > 0
    ULONG_PTR address;     // ExceptionInformation[1] when parameters > 1
    const void *instruction; // ExceptionAddress
};

void expectRecord(const FaultRow &row)
{
    SCOPED_TRACE(row.name);
    EXCEPTION_RECORD record;
    std::memset(&record, 0xCC, sizeof record);
    EXPECT_FALSE(RunGuarded(row.routine, &record));
    EXPECT_EQ(record.ExceptionCode, row.code);
    EXPECT_EQ(record.ExceptionFlags, 0u);
    EXPECT_EQ(record.ExceptionRecord, nullptr);
    EXPECT_EQ(record.ExceptionAddress, row.instruction);
    EXPECT_EQ(record.NumberParameters, row.parameters);
    if (row.parameters > 0) {
        EXPECT_EQ(record.ExceptionInformation[0], row.kind);
    }
    if (row.parameters > 1) {
        EXPECT_EQ(record.ExceptionInformation[1], row.address);
    }
}

volatile bool keepRecursing = true;

int recurse(int depth)
{
    volatile char frame[512];
    frame[0] = char(depth);
    return keepRecursing ? recurse(depth + 1) + frame[0] : 0;
}

void queueSignalToSelf(int signal, int code, void *address)
{
    siginfo_t info;
    std::memset(&info, 0, sizeof info);
    info.si_signo = signal;
    info.si_code = code;
    info.si_addr = address;
    syscall(SYS_rt_tgsigqueueinfo, getpid(), syscall(SYS_gettid), signal, &info);
}

} // namespace

TEST(FaultGuard, RecordsOfEachFault)
{
    static const int divisors[] = { 0, -1 }; // read at 4(%rsi, %rcx, 4) with rcx = 0
    Pages readOnly(PROT_READ), noAccess(PROT_NONE), freed(PROT_READ | PROT_WRITE), data(PROT_READ | PROT_WRITE);
    freed.unmap();
    const auto kernel = ULONG_PTR(0xffff800000000000ull);
    const auto nonCanonical = ULONG_PTR(0x0000800000000000ull);
    const auto at = [](const Pages &pages) { return reinterpret_cast<ULONG_PTR>(pages.address()); };
    const FaultRow rows[] = {
        { "read null", [] { vrqtLoad(nullptr); }, EXCEPTION_ACCESS_VIOLATION, 2, 0, 0, (void *)vrqtLoad },
        { "read an unmapped (freed) mapping", [&] { vrqtLoad(freed.address()); }, EXCEPTION_ACCESS_VIOLATION, 2, 0,
          at(freed), (void *)vrqtLoad },
        { "read a page without access", [&] { vrqtLoad(noAccess.address()); }, EXCEPTION_ACCESS_VIOLATION, 2, 0,
          at(noAccess), (void *)vrqtLoad },
        { "read the kernel's first address", [&] { vrqtLoad((void *)kernel); }, EXCEPTION_ACCESS_VIOLATION, 2, 0,
          kernel, (void *)vrqtLoad },
        { "read a non-canonical address", [&] { vrqtLoad((void *)nonCanonical); }, EXCEPTION_ACCESS_VIOLATION, 2, 0,
          ~ULONG_PTR(0), (void *)vrqtLoad },
        { "write a read-only page", [&] { vrqtStore(readOnly.address()); }, EXCEPTION_ACCESS_VIOLATION, 2, 1,
          at(readOnly), (void *)vrqtStore },
        { "execute a data page", [&] { reinterpret_cast<void (*)()>(data.address())(); }, EXCEPTION_ACCESS_VIOLATION,
          2, 8, at(data), data.address() },
        { "integer division by zero", [] { vrqtDivide(1, 0); }, EXCEPTION_INT_DIVIDE_BY_ZERO, 0, 0, 0,
          vrqtDivideInstruction },
        { "INT_MIN / -1 overflows", [] { vrqtDivide(INT_MIN, -1); }, EXCEPTION_INT_OVERFLOW, 0, 0, 0,
          vrqtDivideInstruction },
        { "divisor in memory, overflow", [] { vrqtDivideMemory(INT_MIN, &divisors[0]); }, EXCEPTION_INT_OVERFLOW, 0,
          0, 0, vrqtDivideMemoryInstruction },
        { "64-bit overflow", [] { vrqtDivide64(LONG_MIN, -1); }, EXCEPTION_INT_OVERFLOW, 0, 0, 0,
          vrqtDivide64Instruction },
        { "rip-relative divisor, overflow", [] { vrqtDivisorSlot = -1; vrqtDivideRipRelative(INT_MIN); },
          EXCEPTION_INT_OVERFLOW, 0, 0, 0, vrqtDivideRipRelativeInstruction },
        { "ud2", [] { vrqtUndefined(); }, EXCEPTION_ILLEGAL_INSTRUCTION, 0, 0, 0, (void *)vrqtUndefined },
        { "hlt in user mode", [] { vrqtHalt(); }, EXCEPTION_PRIV_INSTRUCTION, 0, 0, 0, (void *)vrqtHalt },
    };
    for (const FaultRow &row : rows)
        expectRecord(row);
}

// Codes Linux reports through si_code, injected with rt_tgsigqueueinfo (the
// kernel lets a process send itself any si_code).
TEST(FaultGuard, SignalCodesMapToWindowsCodes)
{
    const struct {
        const char *name;
        int signal;
        int code;
        DWORD exception;
    } rows[] = {
        { "misaligned", SIGBUS, BUS_ADRALN, EXCEPTION_DATATYPE_MISALIGNMENT },
        { "hardware error", SIGBUS, BUS_OBJERR, EXCEPTION_IN_PAGE_ERROR },
        { "privileged register", SIGILL, ILL_PRVREG, EXCEPTION_PRIV_INSTRUCTION },
        { "float division by zero", SIGFPE, FPE_FLTDIV, EXCEPTION_FLT_DIVIDE_BY_ZERO },
        { "subscript out of range", SIGFPE, FPE_FLTSUB, 0xC000008C },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXCEPTION_RECORD record{};
        EXPECT_FALSE(RunGuarded([&] { queueSignalToSelf(row.signal, row.code, (void *)0x1234); }, &record));
        EXPECT_EQ(record.ExceptionCode, row.exception);
        if (row.exception == EXCEPTION_IN_PAGE_ERROR) {
            EXPECT_EQ(record.NumberParameters, 3u);
            EXPECT_EQ(record.ExceptionInformation[1], 0x1234u);
            EXPECT_EQ(record.ExceptionInformation[2], 0xC000009Cu);
        }
    }
}

TEST(FaultGuard, PageBeyondTheEndOfAMappedFile)
{
    char path[] = "/tmp/vrqt-faultguard-XXXXXX";
    const int file = mkstemp(path);
    ASSERT_GE(file, 0);
    unlink(path);
    ASSERT_EQ(ftruncate(file, 4096), 0);
    void *view = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
    ASSERT_NE(view, MAP_FAILED);
    ASSERT_EQ(ftruncate(file, 0), 0);
    EXCEPTION_RECORD record{};
    EXPECT_FALSE(RunGuarded([&] { vrqtLoad(view); }, &record));
    EXPECT_EQ(record.ExceptionCode, EXCEPTION_IN_PAGE_ERROR);
    EXPECT_EQ(record.NumberParameters, 3u);
    EXPECT_EQ(record.ExceptionInformation[0], 0u);
    EXPECT_EQ(record.ExceptionInformation[1], reinterpret_cast<ULONG_PTR>(view));
    EXPECT_EQ(record.ExceptionInformation[2], 0xC0000011u);
    munmap(view, 4096);
    close(file);
}

TEST(FaultGuard, StackOverflowOnTheMainAndAnotherThread)
{
    auto overflow = [] {
        EXCEPTION_RECORD record{};
        EXPECT_FALSE(RunGuarded([] { recurse(0); }, &record));
        EXPECT_EQ(record.ExceptionCode, EXCEPTION_STACK_OVERFLOW);
        EXPECT_EQ(record.NumberParameters, 2u);
        EXPECT_EQ(record.ExceptionInformation[0], 1u) << "the push that overflowed writes";
        EXPECT_TRUE(RunGuarded([] {})) << "the stack is usable again";
    };
    overflow();
    std::thread(overflow).join();
}

TEST(FaultGuard, RoutinesThatFinishThrowOrAreNull)
{
    int ran = 0;
    EXCEPTION_RECORD record;
    std::memset(&record, 0xCC, sizeof record);
    EXPECT_TRUE(RunGuarded([&] { ++ran; }, &record));
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(record.ExceptionCode, 0xCCCCCCCCu) << "a routine that finishes leaves the record alone";

    EXPECT_FALSE(RunGuarded([] { throw std::runtime_error("thrown"); }, &record));
    EXPECT_EQ(record.ExceptionCode, EXCEPTION_CPP);
    EXPECT_EQ(record.ExceptionFlags, 1u) << "noncontinuable, as a C++ throw on Windows";
    EXPECT_EQ(record.NumberParameters, 0u);

    std::memset(&record, 0xCC, sizeof record);
    EXPECT_FALSE(CallWithFaultGuard(nullptr, nullptr, &record));
    EXPECT_EQ(record.ExceptionCode, EXCEPTION_ACCESS_VIOLATION);
    EXPECT_EQ(record.ExceptionInformation[0], 8u);
    EXPECT_EQ(record.ExceptionInformation[1], 0u);
    EXPECT_FALSE(RunGuarded([] { vrqtLoad(nullptr); })) << "the record is optional";
}

TEST(FaultGuard, ThreadEndingInsideAGuardUnwindsThroughIt)
{
    struct Ending {
        bool unwound = false;
        bool guardReturned = false;
    } ending;
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void *argument) -> void * {
                      auto *state = static_cast<Ending *>(argument);
                      struct Cleanup {
                          Ending *state;
                          ~Cleanup() { state->unwound = true; }
                      } cleanup{ state };
                      RunGuarded([] { pthread_exit(nullptr); });
                      state->guardReturned = true;
                      return nullptr;
                  },
                  &ending),
              0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_TRUE(ending.unwound) << "the frames outside the guard ran their destructors";
    EXPECT_FALSE(ending.guardReturned) << "the guard let the thread's end go on";
}

TEST(FaultGuard, NestedGuards)
{
    EXCEPTION_RECORD outer{}, inner{};
    bool innerResult = true;
    bool afterInner = false;
    EXPECT_FALSE(RunGuarded(
        [&] {
            innerResult = RunGuarded([] { vrqtStore(nullptr); }, &inner);
            afterInner = true;
            EXPECT_TRUE(RunGuarded([] {}));
            vrqtDivide(1, 0);
        },
        &outer));
    EXPECT_FALSE(innerResult);
    EXPECT_TRUE(afterInner) << "the outer routine goes on after the inner guard";
    EXPECT_EQ(inner.ExceptionCode, EXCEPTION_ACCESS_VIOLATION);
    EXPECT_EQ(outer.ExceptionCode, EXCEPTION_INT_DIVIDE_BY_ZERO);
}

TEST(FaultGuard, ManyFaultsOnTwoThreadsAtOnce)
{
    constexpr int kRounds = 3000;
    std::atomic<int> wrong{ 0 };
    auto body = [&](int seed) {
        for (int round = 0; round < kRounds; ++round) {
            EXCEPTION_RECORD record{};
            const bool divide = (round + seed) % 2 == 0;
            const bool finished =
                divide ? RunGuarded([] { vrqtDivide(1, 0); }, &record) : RunGuarded([] { vrqtLoad(nullptr); }, &record);
            const DWORD expected = divide ? EXCEPTION_INT_DIVIDE_BY_ZERO : EXCEPTION_ACCESS_VIOLATION;
            if (finished || record.ExceptionCode != expected)
                ++wrong;
            if (!RunGuarded([] {}))
                ++wrong;
        }
    };
    std::thread first(body, 0), second(body, 1);
    first.join();
    second.join();
    EXPECT_EQ(wrong.load(), 0);
}

namespace {

// Makes process_vm_readv fail with EPERM, as container seccomp profiles may.
void refuseProcessVmReadv()
{
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_process_vm_readv, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (EPERM & SECCOMP_RET_DATA)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog program{ sizeof filter / sizeof filter[0], filter };
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        _exit(100);
}

// The number of wrong answers where process_vm_readv is refused.
int wrongAnswersWithoutProcessVmReadv()
{
    refuseProcessVmReadv();
    Pages noAccess(PROT_NONE);
    int local = 0;
    EXCEPTION_RECORD overflow{}, halt{};
    RunGuarded([] { vrqtDivide(INT_MIN, -1); }, &overflow);
    RunGuarded([] { vrqtHalt(); }, &halt);
    return int(overflow.ExceptionCode != EXCEPTION_INT_OVERFLOW) + int(halt.ExceptionCode != EXCEPTION_PRIV_INSTRUCTION)
        + int(IsBadReadPtr(&local, sizeof local) != FALSE) + int(IsBadReadPtr(noAccess.address(), 1) != TRUE)
        + int(IsBadReadPtr(nullptr, 1) != TRUE);
}

} // namespace

TEST(FaultGuardDeathTest, DecodesAndProbesWhereProcessVmReadvIsRefused)
{
    EXPECT_EXIT(_exit(wrongAnswersWithoutProcessVmReadv()), testing::ExitedWithCode(0), "");
}

TEST(FaultGuardDeathTest, FaultsOutsideAGuardAndSentSignalsStillCrash)
{
    EXPECT_EXIT(
        {
            RunGuarded([] { vrqtLoad(nullptr); });
            vrqtLoad(nullptr);
        },
        crashedWithSegmentationFault, "");
    EXPECT_EXIT(RunGuarded([] { raise(SIGSEGV); }), crashedWithSegmentationFault, "");
}

namespace {

struct sigaction savedAction;

void exitWith42(int, siginfo_t *, void *)
{
    _exit(42);
}

void exitWith43(int)
{
    _exit(43);
}

void reportAndChain(int signal, siginfo_t *info, void *context)
{
    static const char text[] = "later handler ran\n";
    (void)!write(STDERR_FILENO, text, sizeof text - 1);
    if (savedAction.sa_flags & SA_SIGINFO)
        savedAction.sa_sigaction(signal, info, context);
}

struct sigaction withInfo(void (*handler)(int, siginfo_t *, void *))
{
    struct sigaction action{};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    return action;
}

struct sigaction plain(void (*handler)(int))
{
    struct sigaction action{};
    action.sa_handler = handler;
    return action;
}

// Installs action for SIGSEGV before or after ours, checks that guards
// still catch faults, then faults outside any guard.
void faultOutsideGuardsWith(struct sigaction action, bool afterOurs)
{
    if (afterOurs)
        RunGuarded([] {});
    sigemptyset(&action.sa_mask);
    sigaction(SIGSEGV, &action, &savedAction);
    if (RunGuarded([] { vrqtLoad(nullptr); }))
        _exit(1);
    vrqtLoad(nullptr);
}

} // namespace

// These run in a fresh process each, so that "before ours" really is.
TEST(FaultGuardDeathTest, HandlersInstalledBeforeOursRunOutsideGuards)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(faultOutsideGuardsWith(withInfo(exitWith42), false), testing::ExitedWithCode(42), "");
    EXPECT_EXIT(faultOutsideGuardsWith(plain(exitWith43), false), testing::ExitedWithCode(43), "");
}

TEST(FaultGuardDeathTest, HandlersInstalledAfterOursAreChained)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(faultOutsideGuardsWith(withInfo(exitWith42), true), testing::ExitedWithCode(42), "");
    // A later handler that passes faults on to ours reaches the default
    // action through it, without looping between the two.
    EXPECT_EXIT(faultOutsideGuardsWith(withInfo(reportAndChain), true), crashedWithSegmentationFault,
                "later handler ran");
}

namespace {

std::atomic<bool> guardReturned{ false };

// Keeps faults to itself; its exit code tells whether a guard caught the
// fault before.
void exitByStage(int, siginfo_t *, void *)
{
    _exit(guardReturned.load() ? 41 : 40);
}

} // namespace

TEST(FaultGuardDeathTest, OursGoesBackOnTopOnceALibraryIsLoaded)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            RunGuarded([] {});
            struct sigaction action = withInfo(exitByStage);
            sigemptyset(&action.sa_mask);
            sigaction(SIGSEGV, &action, nullptr);
            // Handlers may have changed: the next guard looks.
            if (!LoadLibraryA("libz.so.1"))
                _exit(2);
            if (RunGuarded([] { vrqtLoad(nullptr); }))
                _exit(1);
            guardReturned.store(true);
            vrqtLoad(nullptr);
        },
        testing::ExitedWithCode(41), "");
}
