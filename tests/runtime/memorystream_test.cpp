// Memory streams: byte layouts, growth, round trips and hostile input.
#include <gtest/gtest.h>

#include <vector>

#include "runtime/memorystream.h"

using BaseZK::MemoryStream;
using BaseZK::MemoryStream2;

namespace {

// Owns one reference to a new stream, as a creator does.
template <typename Stream>
struct Owned {
    Stream *stream = new Stream;
    Owned() { stream->AddRef(); }
    ~Owned() { stream->Release(); }
    Stream *operator->() const { return stream; }

    std::vector<BYTE> bytes() const
    {
        ULONG size = 0, position = 0;
        stream->GetSize(&size);
        stream->GetPosition(&position);
        std::vector<BYTE> out(size);
        stream->SetPosition(0);
        stream->Read(out.data(), size);
        stream->SetPosition(position);
        return out;
    }
    // Replaces the content with raw bytes and rewinds.
    void load(const std::vector<BYTE> &raw)
    {
        stream->SetPosition(0);
        stream->Write(raw.data(), ULONG(raw.size()));
        stream->SetPosition(0);
    }
};

struct Variant : VARIANT {
    Variant() { VariantInit(this); }
    ~Variant() { VariantClear(this); }
};

std::vector<BYTE> le16(USHORT v) { return { BYTE(v), BYTE(v >> 8) }; }
std::vector<BYTE> le32(ULONG v) { return { BYTE(v), BYTE(v >> 8), BYTE(v >> 16), BYTE(v >> 24) }; }
std::vector<BYTE> operator+(std::vector<BYTE> a, const std::vector<BYTE> &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

SAFEARRAY *vectorOfI4(std::initializer_list<LONG> values, LONG lower = 0)
{
    SAFEARRAY *array = SafeArrayCreateVector(VT_I4, lower, ULONG(values.size()));
    LONG index = lower;
    for (LONG value : values) {
        SafeArrayPutElement(array, &index, &value);
        ++index;
    }
    return array;
}

// Reads the value back and writes it again: the same bytes, all consumed.
template <typename Stream>
void expectRoundTrip(const VARIANT &original)
{
    Owned<Stream> stream, again;
    ASSERT_EQ(stream->WriteVariant(&original), S_OK);
    stream->SetPosition(0);
    Variant back;
    ASSERT_EQ(stream->ReadVariant(&back), S_OK);
    ULONG size = 0, position = 0;
    stream->GetSize(&size), stream->GetPosition(&position);
    EXPECT_EQ(position, size);
    ASSERT_EQ(again->WriteVariant(&back), S_OK);
    EXPECT_EQ(again.bytes(), stream.bytes());
}

} // namespace

template <typename Stream>
std::vector<BYTE> bytesOf(const VARIANT *value)
{
    Owned<Stream> stream;
    value ? stream->WriteVariant(value) : stream->WriteBstr(nullptr);
    return stream.bytes();
}

TEST(MemoryStream, ByteLayoutsOfValues)
{
    Variant text, number, array;
    V_VT(&text) = VT_BSTR, V_BSTR(&text) = SysAllocString(u"ab");
    const std::vector<BYTE> ab{ 'a', 0, 'b', 0 };
    EXPECT_EQ(bytesOf<MemoryStream>(&text), le16(VT_BSTR) + le32(2) + ab + le16(0)) << "with its terminator";
    EXPECT_EQ(bytesOf<MemoryStream2>(&text), le16(VT_BSTR) + le32(2) + ab);
    EXPECT_EQ(bytesOf<MemoryStream>(nullptr), le32(0)) << "an empty string";
    EXPECT_EQ(bytesOf<MemoryStream2>(nullptr), le32(0));

    V_VT(&number) = VT_I4, V_I4(&number) = 0x01020304;
    EXPECT_EQ(bytesOf<MemoryStream>(&number), le16(VT_I4) + le16(VT_I4) + std::vector<BYTE>(6, 0) + le32(0x01020304) + le32(0))
        << "the type stands twice";

    V_VT(&array) = VT_ARRAY | VT_I4, V_ARRAY(&array) = vectorOfI4({ 7, 8, 9 });
    EXPECT_EQ(bytesOf<MemoryStream>(&array), le16(VT_ARRAY | VT_I4) + le32(1) + le32(0) + le32(2) + le32(7) + le32(8) + le32(9));
}

TEST(MemoryStream, GrowthAndSize)
{
    Owned<MemoryStream> stream;
    EXPECT_EQ(stream->capacityForTesting(), 2048u);
    std::vector<BYTE> block(10000, 0x5A);
    stream->Write(block.data(), 2049);
    EXPECT_EQ(stream->capacityForTesting(), 4096u) << "doubles";

    Owned<MemoryStream2> jump;
    jump->Write(block.data(), 10000);
    EXPECT_EQ(jump->capacityForTesting(), 10000u) << "a write larger than the doubled block sets it";

    Owned<MemoryStream> large;
    large->EnsureSize(524288);
    EXPECT_EQ(large->capacityForTesting(), 524288u);
    large->SetPosition(524288);
    large->WriteUInt8(1);
    EXPECT_EQ(large->capacityForTesting(), 786432u) << "grows by half once doubling reaches 0xFFFFF";

    Owned<MemoryStream> shrink;
    shrink->Write(block.data(), 100);
    shrink->SetPosition(0);
    shrink->WriteUInt32(1);
    ULONG size = 0;
    shrink->GetSize(&size);
    EXPECT_EQ(size, 4u) << "size is where the last write ended";
}

TEST(MemoryStream, ScalarsRoundTripInBothClasses)
{
    struct Row {
        const char *name;
        VARTYPE type;
        LONGLONG bits;
    } rows[] = {
        { "empty", VT_EMPTY, 0 }, { "null", VT_NULL, 0 }, { "i1", VT_I1, -5 }, { "ui1", VT_UI1, 200 },
        { "i2", VT_I2, -30000 }, { "ui2", VT_UI2, 60000 }, { "i4", VT_I4, -2000000000 }, { "ui4", VT_UI4, 4000000000 },
        { "i8", VT_I8, -(1LL << 60) }, { "ui8", VT_UI8, 1LL << 62 }, { "int", VT_INT, 42 }, { "uint", VT_UINT, 43 },
        { "bool", VT_BOOL, VARIANT_TRUE }, { "error", VT_ERROR, LONG(DISP_E_TYPEMISMATCH) }, { "cy", VT_CY, 123456789 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        Variant value;
        V_VT(&value) = row.type;
        V_I8(&value) = row.bits;
        expectRoundTrip<MemoryStream>(value);
        expectRoundTrip<MemoryStream2>(value);
    }
    Variant real, date, decimal;
    V_VT(&real) = VT_R8, V_R8(&real) = -1.5e300;
    V_VT(&date) = VT_DATE, V_DATE(&date) = 45000.25;
    V_DECIMAL(&decimal).Hi32 = 7, V_DECIMAL(&decimal).Lo64 = 99, V_DECIMAL(&decimal).scale = 3;
    V_VT(&decimal) = VT_DECIMAL;
    for (const VARIANT *value : { (const VARIANT *)&real, (const VARIANT *)&date, (const VARIANT *)&decimal }) {
        expectRoundTrip<MemoryStream>(*value);
        expectRoundTrip<MemoryStream2>(*value);
    }
}

TEST(MemoryStream, ArraysOfStringsAndNestedVariantsReadBackWhole)
{
    Variant strings;
    V_VT(&strings) = VT_ARRAY | VT_BSTR;
    V_ARRAY(&strings) = SafeArrayCreateVector(VT_BSTR, 1, 3);
    const OLECHAR *texts[] = { u"one", u"", u"thr\0ee" };
    for (LONG i = 1; i <= 3; ++i) {
        BSTR text = SysAllocStringLen(texts[i - 1], i == 3 ? 6 : ULONG(std::char_traits<char16_t>::length(texts[i - 1])));
        SafeArrayPutElement(V_ARRAY(&strings), &i, text);
        SysFreeString(text);
    }
    expectRoundTrip<MemoryStream>(strings);
    expectRoundTrip<MemoryStream2>(strings);

    // An array of variants that holds an array of variants that holds numbers.
    Variant inner, middle, outer, numbers, word;
    V_VT(&numbers) = VT_ARRAY | VT_I4, V_ARRAY(&numbers) = vectorOfI4({ 1, 2, 3 }, -1);
    V_VT(&word) = VT_BSTR, V_BSTR(&word) = SysAllocString(u"deep");
    V_VT(&inner) = VT_ARRAY | VT_VARIANT, V_ARRAY(&inner) = SafeArrayCreateVector(VT_VARIANT, 0, 2);
    LONG index = 0;
    SafeArrayPutElement(V_ARRAY(&inner), &index, &numbers);
    index = 1;
    SafeArrayPutElement(V_ARRAY(&inner), &index, &word);
    V_VT(&outer) = VT_ARRAY | VT_VARIANT, V_ARRAY(&outer) = SafeArrayCreateVector(VT_VARIANT, 5, 1);
    index = 5;
    SafeArrayPutElement(V_ARRAY(&outer), &index, &inner);
    expectRoundTrip<MemoryStream>(outer);
    expectRoundTrip<MemoryStream2>(outer);
}

TEST(MemoryStream, PlainArraysOfTwoDimensionsKeepTheirFirstRunOnly)
{
    SAFEARRAYBOUND bounds[] = { { 2, 0 }, { 3, 0 } };
    Variant grid;
    V_VT(&grid) = VT_ARRAY | VT_I4;
    V_ARRAY(&grid) = SafeArrayCreate(VT_I4, 2, bounds);
    LONG *cells = nullptr;
    SafeArrayAccessData(V_ARRAY(&grid), reinterpret_cast<void **>(&cells));
    for (int i = 0; i < 6; ++i)
        cells[i] = 10 + i;
    SafeArrayUnaccessData(V_ARRAY(&grid));

    Owned<MemoryStream> stream;
    ASSERT_EQ(stream->WriteVariant(&grid), S_OK);
    const std::vector<BYTE> run = le32(10) + le32(11) + le32(12);
    EXPECT_EQ(stream.bytes(), le16(VT_ARRAY | VT_I4) + le32(2) + le32(0) + le32(1) + le32(0) + le32(2) + run + run);
    stream->SetPosition(0);
    Variant back;
    ASSERT_EQ(stream->ReadVariant(&back), S_OK);
    SafeArrayAccessData(V_ARRAY(&back), reinterpret_cast<void **>(&cells));
    EXPECT_EQ(std::vector<LONG>(cells, cells + 6), (std::vector<LONG>{ 10, 11, 12, 0, 0, 0 }));
    SafeArrayUnaccessData(V_ARRAY(&back));
}

// Each class reads the other's string, then misreads the value after it.
template <typename Writer, typename Reader>
void expectStringsRefused()
{
    BSTR text = SysAllocString(u"ab"), read = nullptr;
    Variant number, misread;
    V_VT(&number) = VT_I4, V_I4(&number) = 5;
    Owned<Writer> writer;
    writer->WriteBstr(text), writer->WriteVariant(&number);
    Owned<Reader> reader;
    reader.load(writer.bytes());
    EXPECT_EQ(reader->ReadBstr(&read), S_OK);
    EXPECT_TRUE(FAILED(reader->ReadVariant(&misread)));
    SysFreeString(read);
    SysFreeString(text);
}

TEST(MemoryStream, TheClassesRefuseEachOthersStrings)
{
    expectStringsRefused<MemoryStream, MemoryStream2>();
    expectStringsRefused<MemoryStream2, MemoryStream>();
}

TEST(MemoryStream, HostileBytesFailCleanly)
{
    struct Row {
        const char *name;
        std::vector<BYTE> bytes;
        HRESULT expected;
    } rows[] = {
        { "string longer than the block", le16(VT_BSTR) + le32(0x7FFFFFFF), E_BOUNDS },
        { "string of 4G units", le16(VT_BSTR) + le32(0xFFFFFFFF), E_BOUNDS },
        { "too many dimensions", le16(VT_ARRAY | VT_I4) + le32(100000), E_BOUNDS },
        { "huge element count", le16(VT_ARRAY | VT_I4) + le32(2) + le32(0) + le32(0x7FFFFFFE) + le32(0) + le32(0x7FFFFFFE), E_BOUNDS },
        { "upper below lower", le16(VT_ARRAY | VT_UI1) + le32(1) + le32(5) + le32(1), E_BOUNDS },
        { "planted string pointer", le16(VT_I4) + le16(VT_BSTR) + std::vector<BYTE>(6, 0) + le32(0x1234) + le32(0x5678), DISP_E_BADVARTYPE },
        { "planted interface", le16(VT_UNKNOWN) + le16(VT_UNKNOWN) + std::vector<BYTE>(6, 0) + le32(0xDEAD0) + le32(0x7F), DISP_E_BADVARTYPE },
        { "array of interfaces", le16(VT_ARRAY | VT_DISPATCH) + le32(1) + le32(0) + le32(0) + le32(0xDEAD0) + le32(0x7F), DISP_E_BADVARTYPE },
        { "planted reference", le16(VT_BYREF | VT_I4) + le16(VT_BYREF | VT_I4) + std::vector<BYTE>(6, 0) + le32(0x1000) + le32(0), DISP_E_BADVARTYPE },
        { "array of by-reference", le16(VT_ARRAY | VT_BYREF | VT_I4) + le32(1) + le32(0) + le32(0), E_OUTOFMEMORY },
        { "no dimensions", le16(VT_ARRAY | VT_I4) + le32(0), E_OUTOFMEMORY },
        { "array of a type no VARIANT holds", le16(VT_ARRAY | VT_INT_PTR) + le32(1) + le32(0) + le32(0), DISP_E_BADVARTYPE },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        Owned<MemoryStream> stream;
        stream.load(row.bytes);
        Variant value;
        EXPECT_EQ(stream->ReadVariant(&value), row.expected);
    }

    // Arrays of variants nested deeper than any real value.
    std::vector<BYTE> nested;
    for (int level = 0; level < 100; ++level)
        nested = nested + le16(VT_ARRAY | VT_VARIANT) + le32(1) + le32(0) + le32(0);
    Owned<MemoryStream2> deep;
    deep.load(nested);
    Variant value;
    EXPECT_EQ(deep->ReadVariant(&value), E_BOUNDS);

    Owned<MemoryStream> past;
    past->SetPosition(2040);
    ULONGLONG word = 0;
    EXPECT_EQ(past->ReadUInt64(&word), S_OK) << "inside the block, beyond the size";
    EXPECT_EQ(past->ReadUInt8(nullptr), E_POINTER);
    EXPECT_EQ(past->ReadUInt8(reinterpret_cast<BYTE *>(&word)), E_BOUNDS) << "beyond the block";
    past->SetPosition(0xFFFFFFFC);
    EXPECT_EQ(past->WriteUInt64(1), E_BOUNDS) << "the position would wrap";
    EXPECT_EQ(past->capacityForTesting(), 2048u) << "nothing was allocated for it";
}

TEST(MemoryStream, StartsUnreferencedAndAnswersItsInterfaces)
{
    auto *stream = new MemoryStream;
    EXPECT_EQ(stream->AddRef(), 1u) << "the creator takes the first reference";
    void *other = reinterpret_cast<void *>(1);
    EXPECT_EQ(stream->QueryInterface(IID_IDispatch, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(stream->QueryInterface(IID_IzkStream, &other), S_OK);
    EXPECT_EQ(other, static_cast<IzkStream *>(stream));
    stream->Release();
    EXPECT_EQ(stream->Release(), 0u);
}
