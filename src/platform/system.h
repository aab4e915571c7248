// Operating system services under their Windows names: threads and time,
// critical sections, events and waits, the fault guard and pointer probes,
// modules, environment, registry, event log, debug output and named shared
// memory. docs/platform.md says what stands in for each.
#pragma once

#include "platform/errors.h"

// Threads and time
#define INFINITE 0xFFFFFFFF
#define STILL_ACTIVE 259
PLATFORM_API DWORD GetCurrentThreadId(void);
PLATFORM_API DWORD GetCurrentProcessId(void);
PLATFORM_API DWORD GetTickCount(void);
PLATFORM_API ULONGLONG GetTickCount64(void);
PLATFORM_API void Sleep(DWORD milliseconds);
PLATFORM_API DWORD SleepEx(DWORD milliseconds, BOOL alertable);
PLATFORM_API DWORD GetLastError(void);
PLATFORM_API void SetLastError(DWORD error);
PLATFORM_API void GetLocalTime(LPSYSTEMTIME time);
PLATFORM_API void GetSystemTime(LPSYSTEMTIME time);

// Critical sections: recursive; the spin count is accepted and ignored.
typedef struct _CRITICAL_SECTION {
    alignas(8) BYTE opaque[40];
} CRITICAL_SECTION, *LPCRITICAL_SECTION;
PLATFORM_API void InitializeCriticalSection(LPCRITICAL_SECTION section);
PLATFORM_API BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD spinCount);
PLATFORM_API void EnterCriticalSection(LPCRITICAL_SECTION section);
PLATFORM_API BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section);
PLATFORM_API void LeaveCriticalSection(LPCRITICAL_SECTION section);
PLATFORM_API void DeleteCriticalSection(LPCRITICAL_SECTION section);

// Events, thread handles and waits
#define WAIT_OBJECT_0 0x00000000
#define WAIT_ABANDONED 0x00000080
#define WAIT_IO_COMPLETION 0x000000C0
#define WAIT_TIMEOUT 258
#define WAIT_FAILED 0xFFFFFFFF
#define MAXIMUM_WAIT_OBJECTS 64
#define SYNCHRONIZE 0x00100000
#define EVENT_MODIFY_STATE 0x0002
#define EVENT_ALL_ACCESS 0x001F0003
#define THREAD_SET_CONTEXT 0x0010
#define THREAD_QUERY_INFORMATION 0x0040
#define THREAD_ALL_ACCESS 0x001FFFFF
#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define COWAIT_DEFAULT 0x0
#define COWAIT_WAITALL 0x1
#define COWAIT_ALERTABLE 0x2
typedef void (*PAPCFUNC)(ULONG_PTR data);

PLATFORM_API HANDLE CreateEventW(LPVOID attributes, BOOL manualReset, BOOL initialState, LPCWSTR name);
PLATFORM_API HANDLE OpenEventW(DWORD access, BOOL inherit, LPCWSTR name);
// Not a Windows function: OpenEventW's answer for names only this process makes.
PLATFORM_API BOOL IsEventNameInProcess(LPCWSTR name);
PLATFORM_API BOOL SetEvent(HANDLE event);
PLATFORM_API BOOL ResetEvent(HANDLE event);
PLATFORM_API BOOL CloseHandle(HANDLE handle);
PLATFORM_API HANDLE OpenThread(DWORD access, BOOL inherit, DWORD threadId);
PLATFORM_API BOOL GetExitCodeThread(HANDLE thread, DWORD *exitCode);
PLATFORM_API DWORD QueueUserAPC(PAPCFUNC function, HANDLE thread, ULONG_PTR data);
PLATFORM_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
PLATFORM_API DWORD WaitForSingleObjectEx(HANDLE handle, DWORD milliseconds, BOOL alertable);
PLATFORM_API DWORD WaitForMultipleObjects(DWORD count, const HANDLE *handles, BOOL waitAll, DWORD milliseconds);
PLATFORM_API DWORD WaitForMultipleObjectsEx(DWORD count, const HANDLE *handles, BOOL waitAll, DWORD milliseconds,
                                            BOOL alertable);
PLATFORM_API HRESULT CoWaitForMultipleHandles(DWORD flags, DWORD timeout, ULONG count, LPHANDLE handles, LPDWORD index);

// Fault guard: runs a routine so that a fault (SIGSEGV, SIGBUS, SIGILL,
// SIGFPE) or a C++ exception inside it ends the routine, not the process.
#define EXCEPTION_ACCESS_VIOLATION 0xC0000005
#define EXCEPTION_DATATYPE_MISALIGNMENT 0x80000002
#define EXCEPTION_IN_PAGE_ERROR 0xC0000006
#define EXCEPTION_ILLEGAL_INSTRUCTION 0xC000001D
#define EXCEPTION_PRIV_INSTRUCTION 0xC0000096
#define EXCEPTION_INT_DIVIDE_BY_ZERO 0xC0000094
#define EXCEPTION_INT_OVERFLOW 0xC0000095
#define EXCEPTION_FLT_DIVIDE_BY_ZERO 0xC000008E
#define EXCEPTION_FLT_INVALID_OPERATION 0xC0000090
#define EXCEPTION_FLT_OVERFLOW 0xC0000091
#define EXCEPTION_FLT_UNDERFLOW 0xC0000093
#define EXCEPTION_FLT_INEXACT_RESULT 0xC000008F
#define EXCEPTION_FLT_DENORMAL_OPERAND 0xC000008D
#define EXCEPTION_STACK_OVERFLOW 0xC00000FD
#define EXCEPTION_CPP 0xE06D7363
typedef void (*GUARDED_ROUTINE)(void *context);
PLATFORM_API BOOL CallWithFaultGuard(GUARDED_ROUTINE routine, void *context, EXCEPTION_RECORD *record);

// Pointer probes: never fault.
typedef LONG_PTR (*FARPROC)(void);
PLATFORM_API BOOL IsBadReadPtr(LPCVOID pointer, UINT_PTR bytes);
PLATFORM_API BOOL IsBadCodePtr(FARPROC pointer);

#define MEM_COMMIT 0x1000
#define MEM_FREE 0x10000
#define MEM_PRIVATE 0x20000
#define MEM_MAPPED 0x40000
#define MEM_IMAGE 0x1000000
#define PAGE_NOACCESS 0x01
#define PAGE_READONLY 0x02
#define PAGE_READWRITE 0x04
#define PAGE_EXECUTE 0x10
#define PAGE_EXECUTE_READ 0x20
#define PAGE_EXECUTE_READWRITE 0x40
typedef struct _MEMORY_BASIC_INFORMATION {
    PVOID BaseAddress;
    PVOID AllocationBase;
    DWORD AllocationProtect;
    WORD PartitionId;
    SIZE_T RegionSize;
    DWORD State;
    DWORD Protect;
    DWORD Type;
} MEMORY_BASIC_INFORMATION, *PMEMORY_BASIC_INFORMATION;
static_assert(sizeof(MEMORY_BASIC_INFORMATION) == 48, "MEMORY_BASIC_INFORMATION layout");
PLATFORM_API SIZE_T VirtualQuery(LPCVOID address, PMEMORY_BASIC_INFORMATION info, SIZE_T length);

// Modules: a module handle is the address where the object's ELF header is mapped.
#define MAX_PATH 260
#define GET_MODULE_HANDLE_EX_FLAG_PIN 0x1
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x2
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x4
PLATFORM_API DWORD GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size);
PLATFORM_API DWORD GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size);
PLATFORM_API HMODULE GetModuleHandleW(LPCWSTR moduleName);
PLATFORM_API HMODULE GetModuleHandleA(LPCSTR moduleName);
PLATFORM_API BOOL GetModuleHandleExW(DWORD flags, LPCWSTR moduleName, HMODULE *module);
PLATFORM_API HMODULE LoadLibraryW(LPCWSTR fileName);
PLATFORM_API HMODULE LoadLibraryA(LPCSTR fileName);
PLATFORM_API BOOL FreeLibrary(HMODULE module);
PLATFORM_API FARPROC GetProcAddress(HMODULE module, LPCSTR procName);

// File versions: the version of a shared object is the number its real file
// name carries after ".so." (libQt5Core.so.5 -> libQt5Core.so.5.15.8).
typedef struct tagVS_FIXEDFILEINFO {
    DWORD dwSignature;
    DWORD dwStrucVersion;
    DWORD dwFileVersionMS;
    DWORD dwFileVersionLS;
    DWORD dwProductVersionMS;
    DWORD dwProductVersionLS;
    DWORD dwFileFlagsMask;
    DWORD dwFileFlags;
    DWORD dwFileOS;
    DWORD dwFileType;
    DWORD dwFileSubtype;
    DWORD dwFileDateMS;
    DWORD dwFileDateLS;
} VS_FIXEDFILEINFO;
static_assert(sizeof(VS_FIXEDFILEINFO) == 52, "VS_FIXEDFILEINFO layout");
PLATFORM_API DWORD GetFileVersionInfoSizeW(LPCWSTR fileName, DWORD *handle);
PLATFORM_API BOOL GetFileVersionInfoW(LPCWSTR fileName, DWORD handle, DWORD size, LPVOID data);
PLATFORM_API BOOL VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID *buffer, UINT *length);

// Environment, command line, folders
PLATFORM_API DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size);
PLATFORM_API DWORD GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD size);
PLATFORM_API BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value);
PLATFORM_API BOOL SetEnvironmentVariableA(LPCSTR name, LPCSTR value);
PLATFORM_API LPSTR GetCommandLineA(void);
PLATFORM_API LPWSTR GetCommandLineW(void);
PLATFORM_API DWORD GetTempPathW(DWORD size, LPWSTR buffer);
PLATFORM_API BOOL CreateDirectoryW(LPCWSTR path, LPVOID attributes);
PLATFORM_API BOOL GetComputerNameW(LPWSTR buffer, DWORD *size);
PLATFORM_API BOOL IsDebuggerPresent(void);

// Process and system queries
#define NORMAL_PRIORITY_CLASS 0x00000020
#define IDLE_PRIORITY_CLASS 0x00000040
#define HIGH_PRIORITY_CLASS 0x00000080
#define REALTIME_PRIORITY_CLASS 0x00000100
#define BELOW_NORMAL_PRIORITY_CLASS 0x00004000
#define ABOVE_NORMAL_PRIORITY_CLASS 0x00008000
#define VER_PLATFORM_WIN32_NT 2
typedef struct _OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
} OSVERSIONINFOW, *LPOSVERSIONINFOW;
static_assert(sizeof(OSVERSIONINFOW) == 276, "OSVERSIONINFOW layout");
PLATFORM_API HANDLE GetCurrentProcess(void);
PLATFORM_API DWORD GetPriorityClass(HANDLE process);
PLATFORM_API BOOL ProcessIdToSessionId(DWORD processId, DWORD *sessionId);
PLATFORM_API BOOL GetVersionExW(LPOSVERSIONINFOW info);

// Registry: read-only, from INI-style files (docs/platform.md).
typedef LONG LSTATUS;
#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)0x80000000)
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)0x80000001)
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)0x80000002)
#define KEY_QUERY_VALUE 0x0001
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_READ 0x20019
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_MULTI_SZ 7
#define REG_QWORD 11
PLATFORM_API LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, DWORD desired, PHKEY result);
PLATFORM_API LSTATUS RegQueryValueExW(HKEY key, LPCWSTR valueName, DWORD *reserved, DWORD *type, BYTE *data,
                                      DWORD *dataSize);
PLATFORM_API LSTATUS RegCloseKey(HKEY key);

// Event log and debug output
#define EVENTLOG_SUCCESS 0x0000
#define EVENTLOG_ERROR_TYPE 0x0001
#define EVENTLOG_WARNING_TYPE 0x0002
#define EVENTLOG_INFORMATION_TYPE 0x0004
PLATFORM_API HANDLE RegisterEventSourceW(LPCWSTR serverName, LPCWSTR sourceName);
PLATFORM_API BOOL ReportEventW(HANDLE eventLog, WORD type, WORD category, DWORD eventId, LPVOID userSid,
                               WORD stringCount, DWORD dataSize, LPCWSTR *strings, LPVOID rawData);
PLATFORM_API BOOL DeregisterEventSource(HANDLE eventLog);
PLATFORM_API void OutputDebugStringW(LPCWSTR text);
PLATFORM_API void OutputDebugStringA(LPCSTR text);

// Named shared memory
#define FILE_MAP_WRITE 0x0002
#define FILE_MAP_READ 0x0004
#define FILE_MAP_ALL_ACCESS 0x000F001F
PLATFORM_API HANDLE CreateFileMappingA(HANDLE file, LPVOID attributes, DWORD protect, DWORD maximumSizeHigh,
                                       DWORD maximumSizeLow, LPCSTR name);
PLATFORM_API HANDLE OpenFileMappingA(DWORD access, BOOL inherit, LPCSTR name);
PLATFORM_API LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);
PLATFORM_API BOOL UnmapViewOfFile(LPCVOID view);
