// The component runtime: task memory, GUIDs, error objects, the global
// interface table, the free-threaded marshaler and system message texts.
// There are no apartments here; docs/platform.md says what each call does.
#pragma once

#include <cstdarg>

#include "interfaces/errorinfo.h"
#include "interfaces/marshal.h"
#include "interfaces/threading.h"
#include "platform/errors.h"

#define COINIT_MULTITHREADED 0x0
#define COINIT_APARTMENTTHREADED 0x2
#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_LOCAL_SERVER 0x4
#define CLSCTX_ALL 0x17
#define CO_E_CLASSSTRING _HR(0x800401F3)

PLATFORM_API HRESULT CoInitializeEx(LPVOID reserved, DWORD coInit);
PLATFORM_API void CoUninitialize(void);
PLATFORM_API HRESULT CoCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, LPVOID *object);
PLATFORM_API HRESULT CoCreateFreeThreadedMarshaler(IUnknown *outer, IUnknown **marshaler);
PLATFORM_API HRESULT CoDisconnectObject(IUnknown *object, DWORD reserved);
PLATFORM_API HRESULT CoGetObjectContext(REFIID riid, LPVOID *context);
PLATFORM_API HRESULT CoRegisterMessageFilter(IMessageFilter *filter, IMessageFilter **previous);

PLATFORM_API LPVOID CoTaskMemAlloc(SIZE_T size);
PLATFORM_API LPVOID CoTaskMemRealloc(LPVOID block, SIZE_T size);
PLATFORM_API void CoTaskMemFree(LPVOID block);

PLATFORM_API HRESULT CoCreateGuid(GUID *guid);
PLATFORM_API INT StringFromGUID2(REFGUID guid, LPOLESTR text, INT capacity);
PLATFORM_API HRESULT CLSIDFromString(LPCOLESTR text, CLSID *clsid);
inline BOOL IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }
#define IsEqualIID(a, b) IsEqualGUID(a, b)
#define IsEqualCLSID(a, b) IsEqualGUID(a, b)

PLATFORM_API HRESULT CreateErrorInfo(ICreateErrorInfo **errorInfo);
PLATFORM_API HRESULT SetErrorInfo(ULONG reserved, IErrorInfo *errorInfo);
PLATFORM_API HRESULT GetErrorInfo(ULONG reserved, IErrorInfo **errorInfo);

// System message texts.
#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_STRING 0x00000400
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000
#define FORMAT_MESSAGE_ARGUMENT_ARRAY 0x00002000
#define LMEM_FIXED 0x0000
#define LMEM_ZEROINIT 0x0040
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)

PLATFORM_API DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer,
                                  DWORD size, va_list *arguments);
PLATFORM_API HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
PLATFORM_API LPVOID LocalLock(HLOCAL memory);
PLATFORM_API BOOL LocalUnlock(HLOCAL memory);
PLATFORM_API HLOCAL LocalFree(HLOCAL memory);
