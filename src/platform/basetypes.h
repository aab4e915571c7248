// Scalar types, GUIDs and the structures every automation call shares.
// Layouts are those of Windows x64: they cross the boundary with the host.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(VRQT_PLATFORM_BUILD)
#  define PLATFORM_API extern "C" __attribute__((visibility("default")))
#else
#  define PLATFORM_API extern "C"
#endif

#define STDMETHODCALLTYPE
#define STDAPI PLATFORM_API HRESULT
#define WINAPI

typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef DWORD *LPDWORD;
typedef int32_t BOOL;
typedef int32_t LONG;      // 32-bit, never C long
typedef uint32_t ULONG;
typedef int32_t INT;
typedef uint32_t UINT;
typedef int16_t SHORT;
typedef uint16_t USHORT;
typedef char CHAR;
typedef signed char SCHAR;
typedef uint8_t UCHAR;
typedef float FLOAT;
typedef double DOUBLE;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef int64_t LONG64;
typedef uint64_t ULONG64;
typedef uintptr_t ULONG_PTR;
typedef intptr_t LONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef uintptr_t UINT_PTR;
typedef size_t SIZE_T;
typedef void VOID;
typedef void *PVOID, *LPVOID;
typedef const void *LPCVOID;
typedef char *LPSTR;
typedef const char *LPCSTR;
typedef char16_t WCHAR;
typedef WCHAR *LPWSTR;
typedef const WCHAR *LPCWSTR;
typedef char16_t OLECHAR;
typedef OLECHAR *LPOLESTR;
typedef const OLECHAR *LPCOLESTR;
typedef OLECHAR *BSTR;
typedef BSTR *LPBSTR;
typedef int32_t HRESULT;
typedef LONG SCODE;
typedef DWORD LCID;
typedef WORD LANGID;
typedef short VARIANT_BOOL;
typedef unsigned short VARTYPE;
typedef double DATE;
typedef LONG DISPID;
typedef DISPID MEMBERID;
typedef DWORD HREFTYPE;
typedef void *HANDLE;
typedef HANDLE *LPHANDLE;
typedef void *HMODULE;
typedef void *HINSTANCE;
typedef void *HKEY;
typedef void *HWND; // a native window id of this process (WId)
typedef HKEY *PHKEY;
typedef void *HLOCAL;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;

#define TRUE 1
#define FALSE 0
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

typedef struct _GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
} GUID;
typedef GUID IID;
typedef GUID CLSID;
typedef GUID *LPGUID;
typedef const GUID &REFGUID;
typedef const IID &REFIID;
typedef const CLSID &REFCLSID;

inline bool operator==(const GUID &a, const GUID &b)
{
    return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3
        && a.Data4[0] == b.Data4[0] && a.Data4[1] == b.Data4[1] && a.Data4[2] == b.Data4[2]
        && a.Data4[3] == b.Data4[3] && a.Data4[4] == b.Data4[4] && a.Data4[5] == b.Data4[5]
        && a.Data4[6] == b.Data4[6] && a.Data4[7] == b.Data4[7];
}
inline bool operator!=(const GUID &a, const GUID &b) { return !(a == b); }

// Interface and class identifiers are written as in the registry:
// DEFINE_GUID_VALUE(0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0, 0, 0, 0, 0, 0x46).
#define DEFINE_GUID_VALUE(l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    GUID{ l, w1, w2, { b1, b2, b3, b4, b5, b6, b7, b8 } }
#define DEFINE_IID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    inline constexpr IID name = DEFINE_GUID_VALUE(l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)

typedef union tagCY {
    struct {
        ULONG Lo;
        LONG Hi;
    };
    LONGLONG int64;
} CY;

typedef struct tagDEC {
    USHORT wReserved;
    union {
        struct {
            BYTE scale;
            BYTE sign;
        };
        USHORT signscale;
    };
    ULONG Hi32;
    union {
        struct {
            ULONG Lo32;
            ULONG Mid32;
        };
        ULONGLONG Lo64;
    };
} DECIMAL;
#define DECIMAL_NEG ((BYTE)0x80)

typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *LPSYSTEMTIME;

#define EXCEPTION_MAXIMUM_PARAMETERS 15
typedef struct _EXCEPTION_RECORD {
    DWORD ExceptionCode;
    DWORD ExceptionFlags;
    struct _EXCEPTION_RECORD *ExceptionRecord;
    PVOID ExceptionAddress;
    DWORD NumberParameters;
    ULONG_PTR ExceptionInformation[EXCEPTION_MAXIMUM_PARAMETERS];
} EXCEPTION_RECORD;

// Locales: only the US English default is served; others are accepted.
#define LANG_NEUTRAL 0x00
#define LANG_ENGLISH 0x09
#define SUBLANG_DEFAULT 0x01
#define SUBLANG_ENGLISH_US 0x01
#define SORT_DEFAULT 0x0
#define MAKELANGID(p, s) ((WORD)((((WORD)(s)) << 10) | (WORD)(p)))
#define MAKELCID(lgid, srtid) ((DWORD)((((DWORD)((WORD)(srtid))) << 16) | ((DWORD)((WORD)(lgid)))))
#define LANGIDFROMLCID(lcid) ((WORD)(lcid))
#define LOCALE_SYSTEM_DEFAULT 0x0800
#define LOCALE_USER_DEFAULT 0x0400
#define LOCALE_NEUTRAL 0x0000
#define LOCALE_INVARIANT 0x007F

static_assert(sizeof(GUID) == 16, "GUID layout");
static_assert(offsetof(GUID, Data2) == 4 && offsetof(GUID, Data3) == 6 && offsetof(GUID, Data4) == 8, "GUID layout");
static_assert(sizeof(CY) == 8 && sizeof(DECIMAL) == 16, "CY and DECIMAL layout");
static_assert(offsetof(DECIMAL, scale) == 2 && offsetof(DECIMAL, sign) == 3, "DECIMAL layout");
static_assert(offsetof(DECIMAL, Hi32) == 4 && offsetof(DECIMAL, Lo32) == 8 && offsetof(DECIMAL, Mid32) == 12, "DECIMAL layout");
static_assert(sizeof(SYSTEMTIME) == 16, "SYSTEMTIME layout");
static_assert(sizeof(EXCEPTION_RECORD) == 152, "EXCEPTION_RECORD layout");
static_assert(offsetof(EXCEPTION_RECORD, ExceptionAddress) == 16 && offsetof(EXCEPTION_RECORD, ExceptionInformation) == 32, "EXCEPTION_RECORD layout");
static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(HRESULT) == 4, "32-bit LONG");
static_assert(sizeof(OLECHAR) == 2 && sizeof(VARIANT_BOOL) == 2, "16-bit OLECHAR and VARIANT_BOOL");
