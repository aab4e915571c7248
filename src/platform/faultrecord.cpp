// Classification of fault signals into Windows exception records.
//
// Runs inside the signal handler: no allocation, no locks, and instruction
// bytes and operands are read through process_vm_readv so that reading them
// can never fault again. x86-64 only (the register layout of the ucontext).
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/faultrecord.h"

#define EXCEPTION_ARRAY_BOUNDS_EXCEEDED 0xC000008C
#define STATUS_END_OF_FILE 0xC0000011
#define STATUS_DEVICE_DATA_ERROR 0xC000009C

namespace platform {
namespace {

constexpr int kPageFaultTrap = 14;
constexpr int kGeneralProtectionTrap = 13;
constexpr unsigned long kPageFaultWrite = 0x2;
constexpr unsigned long kPageFaultInstructionFetch = 0x10;
constexpr size_t kMaximumInstruction = 15;
constexpr uintptr_t kPageSize = 4096;
constexpr uintptr_t kStackOverflowReach = 64 * 1024;        // how far below the stack a push may land
constexpr uintptr_t kStackGuardGap = 1024 * 1024 + 4096;   // the kernel's gap below a growing stack

// Codes that follow from the signal and si_code alone.
struct CodeRow {
    int signal;
    int code; // si_code; 0 matches any code of the signal
    DWORD exception;
};

constexpr CodeRow kCodeRows[] = {
    { SIGILL, ILL_PRVOPC, EXCEPTION_PRIV_INSTRUCTION },
    { SIGILL, ILL_PRVREG, EXCEPTION_PRIV_INSTRUCTION },
    { SIGILL, 0, EXCEPTION_ILLEGAL_INSTRUCTION },
    { SIGFPE, FPE_INTDIV, EXCEPTION_INT_DIVIDE_BY_ZERO }, // or overflow: see divisorIsZero
    { SIGFPE, FPE_INTOVF, EXCEPTION_INT_OVERFLOW },
    { SIGFPE, FPE_FLTDIV, EXCEPTION_FLT_DIVIDE_BY_ZERO },
    { SIGFPE, FPE_FLTOVF, EXCEPTION_FLT_OVERFLOW },
    { SIGFPE, FPE_FLTUND, EXCEPTION_FLT_UNDERFLOW },
    { SIGFPE, FPE_FLTRES, EXCEPTION_FLT_INEXACT_RESULT },
    { SIGFPE, FPE_FLTSUB, EXCEPTION_ARRAY_BOUNDS_EXCEEDED },
    { SIGFPE, 0, EXCEPTION_FLT_INVALID_OPERATION },
    { SIGBUS, BUS_ADRALN, EXCEPTION_DATATYPE_MISALIGNMENT },
    { SIGBUS, 0, EXCEPTION_IN_PAGE_ERROR },
    { SIGSEGV, 0, EXCEPTION_ACCESS_VIOLATION },
};

DWORD exceptionCode(int signal, int code)
{
    for (const CodeRow &row : kCodeRows) {
        if (row.signal == signal && (row.code == code || row.code == 0))
            return row.exception;
    }
    return EXCEPTION_ACCESS_VIOLATION;
}

// Registers in the order x86 encodes them (rax, rcx, rdx, rbx, rsp, rbp,
// rsi, rdi, r8-r15), as slots of the ucontext.
constexpr int kRegisterSlots[16] = { REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP, REG_RSI, REG_RDI,
                                     REG_R8,  REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15 };

// Instructions user mode may not execute; Linux reports them as a general
// protection fault (SIGSEGV), Windows as EXCEPTION_PRIV_INSTRUCTION.
constexpr unsigned char kPrivilegedOneByte[] = { 0xF4, 0xFA, 0xFB, 0xE4, 0xE5, 0xE6, 0xE7, 0xEC,
                                                 0xED, 0xEE, 0xEF, 0x6C, 0x6D, 0x6E, 0x6F };
constexpr unsigned char kPrivilegedTwoByte[] = { 0x06, 0x08, 0x09, 0x20, 0x21, 0x22, 0x23, 0x30, 0x32 };

struct ModRmPrivilege {
    unsigned char opcode; // after 0x0F
    unsigned char registerMask; // bit n: ModRM reg field n is privileged
};
constexpr ModRmPrivilege kPrivilegedByModRm[] = {
    { 0x00, (1 << 2) | (1 << 3) },            // lldt, ltr
    { 0x01, (1 << 2) | (1 << 3) | (1 << 6) }, // lgdt, lidt, lmsw
};

template <size_t N>
bool contains(const unsigned char (&table)[N], unsigned char value)
{
    for (unsigned char entry : table) {
        if (entry == value)
            return true;
    }
    return false;
}

const greg_t *registers(const ucontext_t *context)
{
    return context->uc_mcontext.gregs;
}

// The instruction at the fault, as many bytes of it as are readable.
struct Instruction {
    unsigned char bytes[kMaximumInstruction];
    size_t length = 0;
    size_t position = 0; // after the prefixes once skipPrefixes ran
    bool operandSize16 = false;
    bool addressSize32 = false;
    bool segmentOverride = false;
    unsigned char rex = 0;

    bool has(size_t count) const { return position + count <= length; }
    unsigned char next() { return bytes[position++]; }
};

// Copies memory the faulting instruction has itself just read (its own
// bytes, the operand of a division that faulted), which cannot fault; used
// where a seccomp policy refuses process_vm_readv.
__attribute__((no_sanitize("address", "undefined"))) void copyTouchedMemory(uintptr_t address, void *buffer,
                                                                             size_t length)
{
    const auto *source = reinterpret_cast<const volatile unsigned char *>(address);
    auto *target = static_cast<unsigned char *>(buffer);
    for (size_t index = 0; index < length; ++index)
        target[index] = source[index];
}

// Reads memory the faulting instruction has itself just read, through
// process_vm_readv or, where that is refused, directly. Keeps errno.
bool readTouchedMemory(uintptr_t address, void *buffer, size_t length)
{
    const int savedErrno = errno;
    bool read = readOwnMemory(address, buffer, length);
    if (!read && errno != EFAULT) {
        copyTouchedMemory(address, buffer, length);
        read = true;
    }
    errno = savedErrno;
    return read;
}

bool fetchInstruction(const ucontext_t *context, Instruction &instruction)
{
    const uintptr_t pointer = uintptr_t(registers(context)[REG_RIP]);
    // One byte an element: an instruction that ends a readable page reads
    // up to the page's end.
    iovec local{ instruction.bytes, kMaximumInstruction };
    iovec remote[kMaximumInstruction];
    for (size_t index = 0; index < kMaximumInstruction; ++index)
        remote[index] = iovec{ reinterpret_cast<void *>(pointer + index), 1 };
    const int savedErrno = errno;
    const ssize_t read = process_vm_readv(getpid(), &local, 1, remote, kMaximumInstruction, 0);
    if (read < 0 && errno != EFAULT) {
        // The page of the instruction's first byte was just executed.
        instruction.length = std::min(kMaximumInstruction, size_t(kPageSize - (pointer & (kPageSize - 1))));
        copyTouchedMemory(pointer, instruction.bytes, instruction.length);
    } else {
        instruction.length = read > 0 ? size_t(read) : 0;
    }
    errno = savedErrno;
    return instruction.length > 0;
}

void skipPrefixes(Instruction &instruction)
{
    while (instruction.has(1)) {
        const unsigned char byte = instruction.bytes[instruction.position];
        if (byte == 0x66)
            instruction.operandSize16 = true;
        else if (byte == 0x67)
            instruction.addressSize32 = true;
        else if (byte == 0x64 || byte == 0x65)
            instruction.segmentOverride = true;
        else if (byte != 0xF0 && byte != 0xF2 && byte != 0xF3 && byte != 0x2E && byte != 0x36 && byte != 0x3E
                 && byte != 0x26)
            break;
        ++instruction.position;
    }
    if (instruction.has(1) && (instruction.bytes[instruction.position] & 0xF0) == 0x40)
        instruction.rex = instruction.next();
}

bool isPrivilegedInstruction(const ucontext_t *context)
{
    Instruction instruction;
    if (!fetchInstruction(context, instruction))
        return false;
    skipPrefixes(instruction);
    if (!instruction.has(1))
        return false;
    const unsigned char opcode = instruction.next();
    if (opcode != 0x0F)
        return contains(kPrivilegedOneByte, opcode);
    if (!instruction.has(1))
        return false;
    const unsigned char second = instruction.next();
    if (contains(kPrivilegedTwoByte, second))
        return true;
    for (const ModRmPrivilege &entry : kPrivilegedByModRm) {
        if (entry.opcode == second && instruction.has(1))
            return (entry.registerMask >> ((instruction.bytes[instruction.position] >> 3) & 7)) & 1;
    }
    return false;
}

int32_t signedBytes(Instruction &instruction, size_t count)
{
    if (count == 1)
        return int8_t(instruction.next());
    uint32_t value = 0;
    for (size_t index = 0; index < 4; ++index)
        value |= uint32_t(instruction.next()) << (8 * index);
    return int32_t(value);
}

// The address of a ModRM memory operand; false for forms not worth
// decoding here (segment overrides).
bool operandAddress(Instruction &instruction, const ucontext_t *context, unsigned char modRm, uintptr_t &address)
{
    const greg_t *gregs = registers(context);
    const unsigned mod = modRm >> 6;
    const unsigned rm = modRm & 7;
    const unsigned rexB = (instruction.rex & 1) << 3;
    if (instruction.segmentOverride)
        return false;
    bool ripRelative = false;
    address = 0;
    if (rm == 4) {
        if (!instruction.has(1))
            return false;
        const unsigned char sib = instruction.next();
        const unsigned index = ((sib >> 3) & 7) | ((instruction.rex & 2) << 2);
        if (index != 4)
            address += uintptr_t(gregs[kRegisterSlots[index]]) << (sib >> 6);
        if ((sib & 7) == 5 && mod == 0) {
            if (!instruction.has(4))
                return false;
            address += uintptr_t(intptr_t(signedBytes(instruction, 4)));
        } else {
            address += uintptr_t(gregs[kRegisterSlots[(sib & 7) | rexB]]);
        }
    } else if (rm == 5 && mod == 0) {
        ripRelative = true;
    } else {
        address = uintptr_t(gregs[kRegisterSlots[rm | rexB]]);
    }
    const size_t displacement = mod == 1 ? 1 : (mod == 2 || ripRelative) ? 4 : 0;
    if (!instruction.has(displacement))
        return false;
    if (displacement)
        address += uintptr_t(intptr_t(signedBytes(instruction, displacement)));
    // div and idiv carry no immediate: the instruction ends here.
    if (ripRelative)
        address += uintptr_t(gregs[REG_RIP]) + instruction.position;
    if (instruction.addressSize32)
        address &= 0xFFFFFFFFu;
    return true;
}

// Linux reports both a zero divisor and a quotient too large (INT_MIN / -1)
// as FPE_INTDIV; Windows tells them apart. Decodes the div or idiv at the
// fault; false when it cannot.
bool divisorIsZero(const ucontext_t *context, bool &zero)
{
    Instruction instruction;
    if (!fetchInstruction(context, instruction))
        return false;
    skipPrefixes(instruction);
    if (!instruction.has(2))
        return false;
    const unsigned char opcode = instruction.next();
    const unsigned char modRm = instruction.next();
    const unsigned operation = (modRm >> 3) & 7;
    if ((opcode != 0xF6 && opcode != 0xF7) || (operation != 6 && operation != 7))
        return false;
    const size_t width = opcode == 0xF6 ? 1 : (instruction.rex & 8) ? 8 : instruction.operandSize16 ? 2 : 4;
    uint64_t divisor = 0;
    if ((modRm >> 6) == 3) {
        const unsigned number = (modRm & 7) | ((instruction.rex & 1) << 3);
        const greg_t *gregs = registers(context);
        // Without REX, byte registers 4-7 are ah, ch, dh, bh.
        if (width == 1 && instruction.rex == 0 && number >= 4)
            divisor = uint64_t(gregs[kRegisterSlots[number - 4]]) >> 8;
        else
            divisor = uint64_t(gregs[kRegisterSlots[number]]);
    } else {
        uintptr_t address = 0;
        if (!operandAddress(instruction, context, modRm, address) || !readTouchedMemory(address, &divisor, width))
            return false;
    }
    if (width < 8)
        divisor &= (uint64_t(1) << (8 * width)) - 1;
    zero = divisor == 0;
    return true;
}

bool isStackOverflow(uintptr_t address, const ucontext_t *context, uintptr_t stackLow)
{
    const uintptr_t stackPointer = uintptr_t(registers(context)[REG_RSP]);
    const bool nearStackPointer =
        address + kStackOverflowReach >= stackPointer && address <= stackPointer + kStackOverflowReach;
    const bool atStackEnd = address < stackLow + kPageSize && address + kStackGuardGap >= stackLow;
    return stackLow != 0 && nearStackPointer && atStackEnd;
}

DWORD accessKind(unsigned long errorCode)
{
    if (errorCode & kPageFaultInstructionFetch)
        return 8;
    return (errorCode & kPageFaultWrite) ? 1 : 0;
}

void describeSegmentationFault(const siginfo_t *info, const ucontext_t *context, uintptr_t stackLow,
                               EXCEPTION_RECORD *record)
{
    const greg_t *gregs = registers(context);
    if (info->si_code == SI_KERNEL || gregs[REG_TRAPNO] == kGeneralProtectionTrap) {
        if (isPrivilegedInstruction(context)) {
            record->ExceptionCode = EXCEPTION_PRIV_INSTRUCTION;
            return;
        }
        // A general protection fault (a non-canonical address) has no
        // faulting address; Windows reports all ones, as here.
        record->ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
        record->NumberParameters = 2;
        record->ExceptionInformation[0] = 0;
        record->ExceptionInformation[1] = ~ULONG_PTR(0);
        return;
    }
    const uintptr_t address = reinterpret_cast<uintptr_t>(info->si_addr);
    const unsigned long errorCode = gregs[REG_TRAPNO] == kPageFaultTrap ? (unsigned long)gregs[REG_ERR] : 0;
    record->ExceptionCode =
        isStackOverflow(address, context, stackLow) ? EXCEPTION_STACK_OVERFLOW : EXCEPTION_ACCESS_VIOLATION;
    record->NumberParameters = 2;
    record->ExceptionInformation[0] = accessKind(errorCode);
    record->ExceptionInformation[1] = address;
}

} // namespace

bool readOwnMemory(uintptr_t address, void *buffer, size_t length)
{
    iovec local{ buffer, length };
    iovec remote{ reinterpret_cast<void *>(address), length };
    return process_vm_readv(getpid(), &local, 1, &remote, 1, 0) == ssize_t(length);
}

void describeFault(int signal, const siginfo_t *info, const ucontext_t *context, uintptr_t stackLow,
                   EXCEPTION_RECORD *record)
{
    std::memset(record, 0, sizeof *record);
    record->ExceptionAddress = reinterpret_cast<PVOID>(registers(context)[REG_RIP]);
    if (signal == SIGSEGV) {
        describeSegmentationFault(info, context, stackLow, record);
        return;
    }
    record->ExceptionCode = exceptionCode(signal, info->si_code);
    if (signal == SIGFPE && info->si_code == FPE_INTDIV) {
        bool zero = true;
        if (divisorIsZero(context, zero) && !zero)
            record->ExceptionCode = EXCEPTION_INT_OVERFLOW;
    }
    if (record->ExceptionCode == EXCEPTION_IN_PAGE_ERROR) {
        const greg_t *gregs = registers(context);
        record->NumberParameters = 3;
        record->ExceptionInformation[0] =
            gregs[REG_TRAPNO] == kPageFaultTrap ? accessKind((unsigned long)gregs[REG_ERR]) : 0;
        record->ExceptionInformation[1] = reinterpret_cast<ULONG_PTR>(info->si_addr);
        // The cause, as Windows gives it: Linux raises BUS_ADRERR for pages
        // beyond the end of the mapped file.
        record->ExceptionInformation[2] = info->si_code == BUS_ADRERR ? STATUS_END_OF_FILE : STATUS_DEVICE_DATA_ERROR;
    }
}

} // namespace platform
