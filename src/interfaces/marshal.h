// Marshaling and the global interface table.
#pragma once

#include "interfaces/unknown.h"

DEFINE_IID(IID_IMarshal, 0x00000003, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_IStream, 0x0000000C, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_IGlobalInterfaceTable, 0x00000146, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(CLSID_StdGlobalInterfaceTable, 0x00000323, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(CLSID_InProcFreeMarshaler, 0x0000033A, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_IAgileObject, 0x94EA2B94, 0xE9CC, 0x49E0, 0xC0, 0xFF, 0xEE, 0x64, 0xCA, 0x8F, 0x5B, 0x90);

struct IStream;

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
