// Marshaling and the global interface table.
#pragma once

#include <cstddef>

#include "interfaces/unknown.h"

DEFINE_IID(IID_IMarshal, 0x00000003, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_IStream, 0x0000000C, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_ISequentialStream, 0x0C733A30, 0x2A1C, 0x11CE, 0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D);
DEFINE_IID(IID_IGlobalInterfaceTable, 0x00000146, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(CLSID_StdGlobalInterfaceTable, 0x00000323, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(CLSID_InProcFreeMarshaler, 0x0000033A, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_IAgileObject, 0x94EA2B94, 0xE9CC, 0x49E0, 0xC0, 0xFF, 0xEE, 0x64, 0xCA, 0x8F, 0x5B, 0x90);

typedef union _LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    };
    LONGLONG QuadPart;
} LARGE_INTEGER;

typedef union _ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    };
    ULONGLONG QuadPart;
} ULARGE_INTEGER;

typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME;

typedef struct tagSTATSTG {
    LPOLESTR pwcsName;
    DWORD type;
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
} STATSTG;
static_assert(sizeof(LARGE_INTEGER) == 8 && sizeof(FILETIME) == 8, "LARGE_INTEGER and FILETIME layout");
static_assert(sizeof(STATSTG) == 80 && offsetof(STATSTG, clsid) == 56, "STATSTG layout");

#define STREAM_SEEK_SET 0
#define STREAM_SEEK_CUR 1
#define STREAM_SEEK_END 2

struct ISequentialStream : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Read(void *buffer, ULONG bytes, ULONG *bytesRead) = 0;
    virtual HRESULT STDMETHODCALLTYPE Write(const void *buffer, ULONG bytes, ULONG *bytesWritten) = 0;
};

struct IStream : ISequentialStream {
    virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *newPosition) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER newSize) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream *stream, ULARGE_INTEGER bytes, ULARGE_INTEGER *bytesRead,
                                             ULARGE_INTEGER *bytesWritten) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD commitFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD lockType) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD lockType) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG *statistics, DWORD statFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IStream **stream) = 0;
};

#define MSHCTX_LOCAL 0
#define MSHCTX_NOSHAREDMEM 1
#define MSHCTX_DIFFERENTMACHINE 2
#define MSHCTX_INPROC 3
#define MSHLFLAGS_NORMAL 0
#define MSHLFLAGS_TABLESTRONG 1
#define MSHLFLAGS_TABLEWEAK 2
#define MSHLFLAGS_NOPING 4

struct IMarshal : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID riid, void *object, DWORD destContext, void *destContextData,
                                                        DWORD marshalFlags, CLSID *clsid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID riid, void *object, DWORD destContext, void *destContextData,
                                                        DWORD marshalFlags, DWORD *size) = 0;
    virtual HRESULT STDMETHODCALLTYPE MarshalInterface(IStream *stream, REFIID riid, void *object, DWORD destContext,
                                                       void *destContextData, DWORD marshalFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream *stream, REFIID riid, void **object) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream *stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD reserved) = 0;
};

struct IGlobalInterfaceTable : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE RegisterInterfaceInGlobal(IUnknown *object, REFIID riid, DWORD *cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE RevokeInterfaceFromGlobal(DWORD cookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInterfaceFromGlobal(DWORD cookie, REFIID riid, void **object) = 0;
};
