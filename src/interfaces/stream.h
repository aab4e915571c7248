// A binary stream over a growing block of memory that can also store
// automation values, arrays included.
#pragma once

#include "interfaces/unknown.h"
#include "platform/variant.h"

DEFINE_IID(IID_IzkStream, 0xBFC06497, 0x51E1, 0x4952, 0x88, 0x82, 0x00, 0x53, 0x9B, 0xBF, 0xF7, 0x37);

struct IzkStream : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetSize(ULONG *size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPosition(ULONG *position) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPosition(ULONG position) = 0;
    virtual HRESULT STDMETHODCALLTYPE Read(void *buffer, ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadUInt8(BYTE *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadUInt16(USHORT *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadInt16(SHORT *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadUInt32(ULONG *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadInt32(LONG *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadUInt64(ULONGLONG *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadInt64(LONGLONG *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadRaw32(ULONG *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadRaw64(ULONGLONG *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadBstr(BSTR *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadVariant(VARIANT *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE Write(const void *buffer, ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteUInt8(BYTE value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteUInt16(USHORT value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteInt16(SHORT value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteUInt32(ULONG value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteInt32(LONG value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteUInt64(ULONGLONG value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteInt64(LONGLONG value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteBstr(BSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteVariant(const VARIANT *value) = 0;
};
