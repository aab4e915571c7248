// The free-threaded marshaler: aggregation and in-process marshal data.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/automation.h"

namespace {

constexpr HRESULT coErrorNotSupported = _HR(0x80004021);
constexpr HRESULT storageReadFault = _HR(0x8003001E);

// A stream over bytes in memory: Read, Write and Seek.
class MemoryStream : public IStream {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE Read(void *buffer, ULONG bytes, ULONG *bytesRead) override
    {
        const ULONG available = ULONG(std::min<size_t>(bytes, data.size() - position));
        std::memcpy(buffer, data.data() + position, available);
        position += available;
        if (bytesRead)
            *bytesRead = available;
        return available == bytes ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Write(const void *buffer, ULONG bytes, ULONG *bytesWritten) override
    {
        data.resize(std::max(data.size(), position + bytes));
        std::memcpy(data.data() + position, buffer, bytes);
        position += bytes;
        if (bytesWritten)
            *bytesWritten = bytes;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER *newPosition) override
    {
        position = size_t((origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? position : data.size())
                          + move.QuadPart);
        if (newPosition)
            newPosition->QuadPart = position;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream *, ULARGE_INTEGER, ULARGE_INTEGER *, ULARGE_INTEGER *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG *, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IStream **) override { return E_NOTIMPL; }

    void rewind() { position = 0; }

    std::vector<unsigned char> data;
    size_t position = 0;
};

// An object that aggregates a free-threaded marshaler, as objects that
// want to be agile do.
class AgileObject : public IUnknown {
public:
    AgileObject() { EXPECT_EQ(CoCreateFreeThreadedMarshaler(this, &marshaler), S_OK); }
    ~AgileObject() { marshaler->Release(); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override
    {
        if (riid == IID_IMarshal)
            return marshaler->QueryInterface(riid, object);
        *object = riid == IID_IUnknown ? this : nullptr;
        if (!*object)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    IUnknown *marshaler = nullptr;
    ULONG references = 1;
};

IMarshal *marshalOf(IUnknown *object)
{
    IMarshal *marshal = nullptr;
    EXPECT_EQ(object->QueryInterface(IID_IMarshal, reinterpret_cast<void **>(&marshal)), S_OK);
    return marshal;
}

} // namespace

TEST(FreeThreadedMarshaler, IdentityIsTheOuterObjectOrTheMarshalerItself)
{
    AgileObject object;
    IMarshal *marshal = marshalOf(&object);
    ASSERT_NE(marshal, nullptr);
    EXPECT_EQ(object.references, 2u); // the reference went to the outer object
    IUnknown *identity = nullptr;
    EXPECT_EQ(marshal->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&identity)), S_OK);
    EXPECT_EQ(identity, &object);
    identity->Release();
    void *none = nullptr;
    EXPECT_EQ(object.marshaler->QueryInterface(IID_IDispatch, &none), E_NOINTERFACE);
    marshal->Release();
    EXPECT_EQ(object.references, 1u);

    IUnknown *standalone = nullptr; // is its own identity
    ASSERT_EQ(CoCreateFreeThreadedMarshaler(nullptr, &standalone), S_OK);
    marshal = marshalOf(standalone);
    EXPECT_EQ(marshal->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&identity)), S_OK);
    EXPECT_EQ(identity, standalone);
    identity->Release();
    EXPECT_EQ(marshal->Release(), 1u);
    EXPECT_EQ(standalone->Release(), 0u);
    EXPECT_EQ(CoCreateFreeThreadedMarshaler(nullptr, nullptr), E_INVALIDARG);
}

TEST(FreeThreadedMarshaler, OnlyInProcessContextsAreServed)
{
    AgileObject object;
    IMarshal *marshal = marshalOf(&object);
    CLSID clsid{};
    DWORD size = 0;
    EXPECT_EQ(marshal->GetUnmarshalClass(IID_IUnknown, &object, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL, &clsid), S_OK);
    EXPECT_EQ(clsid, CLSID_InProcFreeMarshaler);
    EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, &object, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL, &size), S_OK);
    EXPECT_EQ(size, 32u);
    MemoryStream stream;
    for (const DWORD context : { DWORD(MSHCTX_LOCAL), DWORD(MSHCTX_NOSHAREDMEM), DWORD(MSHCTX_DIFFERENTMACHINE) }) {
        SCOPED_TRACE(context);
        EXPECT_EQ(marshal->GetUnmarshalClass(IID_IUnknown, &object, context, nullptr, 0, &clsid), coErrorNotSupported);
        EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, &object, context, nullptr, 0, &size), coErrorNotSupported);
        EXPECT_EQ(marshal->MarshalInterface(&stream, IID_IUnknown, &object, context, nullptr, 0), coErrorNotSupported);
    }
    EXPECT_TRUE(stream.data.empty());
    EXPECT_EQ(marshal->DisconnectObject(0), S_OK);
    marshal->Release();
}

// References the object holds after marshal, unmarshal (result released)
// twice where the flags allow, and ReleaseMarshalData.
TEST(FreeThreadedMarshaler, MarshalDataHoldsReferencesAsTheFlagsSay)
{
    struct Row {
        const char *name;
        DWORD flags;
        ULONG afterMarshal;
        int unmarshals;
        ULONG afterUnmarshal;
        ULONG afterRelease;
    } rows[] = {
        { "normal", MSHLFLAGS_NORMAL, 2, 1, 1, 1 },
        { "table strong", MSHLFLAGS_TABLESTRONG, 2, 2, 2, 1 },
        { "table weak", MSHLFLAGS_TABLEWEAK, 1, 2, 1, 1 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        AgileObject object;
        IMarshal *marshal = marshalOf(&object);
        marshal->Release();
        MemoryStream stream;
        ASSERT_EQ(marshal->MarshalInterface(&stream, IID_IUnknown, &object, MSHCTX_INPROC, nullptr, row.flags), S_OK);
        EXPECT_EQ(stream.data.size(), 32u);
        EXPECT_EQ(object.references, row.afterMarshal);
        for (int i = 0; i < row.unmarshals; ++i) {
            stream.rewind();
            IUnknown *unmarshaled = nullptr;
            ASSERT_EQ(marshal->UnmarshalInterface(&stream, IID_IUnknown, reinterpret_cast<void **>(&unmarshaled)), S_OK);
            EXPECT_EQ(unmarshaled, &object);
            unmarshaled->Release();
        }
        EXPECT_EQ(object.references, row.afterUnmarshal);
        if (row.flags != MSHLFLAGS_NORMAL) {
            stream.rewind();
            EXPECT_EQ(marshal->ReleaseMarshalData(&stream), S_OK);
        }
        EXPECT_EQ(object.references, row.afterRelease);
    }
}

TEST(FreeThreadedMarshaler, ForeignOrShortDataIsRefused)
{
    AgileObject object;
    IMarshal *marshal = marshalOf(&object);
    marshal->Release();
    MemoryStream stream;
    ASSERT_EQ(marshal->MarshalInterface(&stream, IID_IUnknown, &object, MSHCTX_INPROC, nullptr, MSHLFLAGS_TABLESTRONG),
              S_OK);
    void *unmarshaled = nullptr;
    MemoryStream foreign;
    foreign.data = stream.data;
    foreign.data.back() ^= 0xFF; // another process's secret
    EXPECT_EQ(marshal->UnmarshalInterface(&foreign, IID_IUnknown, &unmarshaled), E_UNEXPECTED);
    EXPECT_EQ(unmarshaled, nullptr);
    MemoryStream shortStream;
    shortStream.data.assign(stream.data.begin(), stream.data.begin() + 20);
    EXPECT_EQ(marshal->UnmarshalInterface(&shortStream, IID_IUnknown, &unmarshaled), storageReadFault);
    stream.rewind();
    EXPECT_EQ(marshal->UnmarshalInterface(&stream, IID_IDispatch, &unmarshaled), E_NOINTERFACE);
    EXPECT_EQ(marshal->MarshalInterface(&stream, IID_IDispatch, &object, MSHCTX_INPROC, nullptr, 0), E_NOINTERFACE);
    EXPECT_EQ(marshal->MarshalInterface(nullptr, IID_IUnknown, &object, MSHCTX_INPROC, nullptr, 0), E_INVALIDARG);
    stream.rewind();
    EXPECT_EQ(marshal->ReleaseMarshalData(&stream), S_OK);
    EXPECT_EQ(object.references, 1u);
}
