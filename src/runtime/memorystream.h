// Memory streams: a growing block of bytes that can hold automation values.
// MemoryStream and MemoryStream2 differ only in how a string lies in the
// stream (with or without its terminator), so data written by one is read
// by the same class.
#pragma once

#include "interfaces/stream.h"
#include "runtime/comobject.h"

namespace BaseZK {

// The shared body of both classes; Derived supplies how a write makes room
// and the string format. No lock: only the reference count is safe across
// threads.
template <typename Derived>
class MemoryStreamBase : public ComObjectRoot, public IzkStream
{
public:
    static constexpr ULONG InitialCapacity = 2048;
    // A block the stream does not own and must not free.
    static constexpr ULONG ForeignBlock = 0xFFFFFFFF;

    MemoryStreamBase();
    ~MemoryStreamBase() override;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    HRESULT STDMETHODCALLTYPE GetSize(ULONG *size) override;
    HRESULT STDMETHODCALLTYPE GetPosition(ULONG *position) override;
    HRESULT STDMETHODCALLTYPE SetPosition(ULONG position) override;
    HRESULT STDMETHODCALLTYPE Read(void *buffer, ULONG count) override;
    HRESULT STDMETHODCALLTYPE ReadUInt8(BYTE *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadUInt16(USHORT *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadInt16(SHORT *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadUInt32(ULONG *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadInt32(LONG *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadUInt64(ULONGLONG *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadInt64(LONGLONG *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadRaw32(ULONG *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadRaw64(ULONGLONG *value) override { return Read(value, sizeof *value); }
    HRESULT STDMETHODCALLTYPE ReadBstr(BSTR *value) override;
    HRESULT STDMETHODCALLTYPE ReadVariant(VARIANT *value) override;
    HRESULT STDMETHODCALLTYPE Write(const void *buffer, ULONG count) override;
    HRESULT STDMETHODCALLTYPE WriteUInt8(BYTE value) override { return Write(&value, sizeof value); }
    HRESULT STDMETHODCALLTYPE WriteUInt16(USHORT value) override { return Write(&value, sizeof value); }
    HRESULT STDMETHODCALLTYPE WriteInt16(SHORT value) override { return Write(&value, sizeof value); }
    HRESULT STDMETHODCALLTYPE WriteUInt32(ULONG value) override { return Write(&value, sizeof value); }
    HRESULT STDMETHODCALLTYPE WriteInt32(LONG value) override { return Write(&value, sizeof value); }
    HRESULT STDMETHODCALLTYPE WriteUInt64(ULONGLONG value) override { return Write(&value, sizeof value); }
    HRESULT STDMETHODCALLTYPE WriteInt64(LONGLONG value) override { return Write(&value, sizeof value); }
    HRESULT STDMETHODCALLTYPE WriteBstr(BSTR value) override;
    HRESULT STDMETHODCALLTYPE WriteVariant(const VARIANT *value) override;

    ULONG capacityForTesting() const { return capacity; }

protected:
    // The growth rule: size becomes end; a block too small doubles while
    // that stays below 0xFFFFF, then grows by half, or to end if larger.
    HRESULT growTo(ULONG end);
    // Bytes of the block from the position on; reads never pass them.
    ULONG blockLeft() const;
    // Reads a string's length; an empty string is made here, as both
    // classes make it.
    HRESULT readStringLength(BSTR *value, ULONG &length);

    BYTE *data = nullptr;
    ULONG size = 0;
    ULONG capacity = 0;
    ULONG position = 0;

private:
    HRESULT readVariant(VARIANT *value, int depth);
    HRESULT writeArray(SAFEARRAY *array);
    HRESULT readArray(VARTYPE type, SAFEARRAY **result, int depth);
    HRESULT walkElements(SAFEARRAY *array, UINT dimension, LONG *indices, bool writing, int depth);
};

class MemoryStream : public MemoryStreamBase<MemoryStream>
{
public:
    // The last slot: every write makes room through it, so that a subclass
    // can take over.
    virtual HRESULT STDMETHODCALLTYPE EnsureSize(ULONG newSize) { return growTo(newSize); }

    HRESULT makeRoom(ULONG end) { return EnsureSize(end); }
    // Length in units, then the text and its terminator; nothing more for
    // an empty string.
    HRESULT writeString(BSTR value);
    HRESULT readString(BSTR *value);
};

class MemoryStream2 : public MemoryStreamBase<MemoryStream2>
{
public:
    HRESULT makeRoom(ULONG end) { return growTo(end); }
    // Length in units, then the text alone.
    HRESULT writeString(BSTR value);
    HRESULT readString(BSTR *value);
};

extern template class MemoryStreamBase<MemoryStream>;
extern template class MemoryStreamBase<MemoryStream2>;

} // namespace BaseZK
