// VARIANT life cycle: VariantInit, VariantClear, VariantCopy, VariantCopyInd.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "counting_objects.h"
#include "platform/automation.h"

using testing_objects::CountingDispatch;
using testing_objects::CountingRecordInfo;

namespace {

VARIANT filledVariant(VARTYPE vt)
{
    VARIANT v;
    std::memset(&v, 0, sizeof v);
    v.vt = vt;
    return v;
}

SAFEARRAY *bstrArray(const char16_t *first)
{
    SAFEARRAYBOUND bound{ 2, 0 };
    SAFEARRAY *array = SafeArrayCreate(VT_BSTR, 1, &bound);
    LONG index = 0;
    BSTR text = SysAllocString(first);
    SafeArrayPutElement(array, &index, text);
    SysFreeString(text);
    return array;
}

// The variant types Windows accepts or refuses in VariantClear and
// VariantCopy, as named rows.
struct TypeRow {
    const char *name;
    VARTYPE vt;
    bool valid;
};
const TypeRow typeRows[] = {
    { "VT_EMPTY", VT_EMPTY, true },
    { "VT_NULL", VT_NULL, true },
    { "VT_DECIMAL", VT_DECIMAL, true },
    { "unassigned 15", 15, false },
    { "VT_I1", VT_I1, true },
    { "VT_VOID", VT_VOID, false },
    { "VT_RECORD", VT_RECORD, true },
    { "VT_INT_PTR", VT_INT_PTR, false },
    { "VT_CLSID", VT_CLSID, true },
    { "VT_BSTR_BLOB", VT_BSTR_BLOB, false },
    { "VT_BYREF|VT_EMPTY", VT_BYREF | VT_EMPTY, false },
    { "VT_ARRAY|VT_NULL", VT_ARRAY | VT_NULL, false },
    { "VT_BYREF|VT_I4", VT_BYREF | VT_I4, true },
    { "VT_ARRAY|VT_I4", VT_ARRAY | VT_I4, true },
    { "VT_BYREF|VT_RECORD", VT_BYREF | VT_RECORD, true },
    { "VT_BYREF|VT_SAFEARRAY", VT_BYREF | VT_SAFEARRAY, false },
    { "VT_VECTOR|VT_I4", VT_VECTOR | VT_I4, false },
    { "VT_BYREF|VT_RESERVED|VT_I4", VT_BYREF | VT_RESERVED | VT_I4, false },
    { "VT_ILLEGAL", VT_ILLEGAL, false },
};

} // namespace

TEST(Variant, InitZeroesTheWholeVariant)
{
    VARIANT v;
    std::memset(&v, 0xCD, sizeof v);
    VariantInit(&v);
    const VARIANT zero = filledVariant(VT_EMPTY);
    EXPECT_EQ(std::memcmp(&v, &zero, sizeof v), 0);
}

// Null pointers in every row: nothing is dereferenced.
TEST(Variant, ClearAndCopyCheckTheTypeAsWindowsDoes)
{
    for (const TypeRow &row : typeRows) {
        SCOPED_TRACE(row.name);
        const bool copied = row.valid && (row.vt & VT_TYPEMASK) != VT_CLSID;
        VARIANT source = filledVariant(row.vt);
        EXPECT_EQ(VariantCopy(&source, &source), copied ? S_OK : DISP_E_BADVARTYPE);
        EXPECT_EQ(source.vt, row.vt) << "copying onto itself changes nothing";
        if (!(row.vt & VT_ARRAY)) { // a null array is copied only by reference below
            VARIANT dest = filledVariant(VT_EMPTY);
            EXPECT_EQ(VariantCopy(&dest, &source), copied ? S_OK : DISP_E_BADVARTYPE);
            EXPECT_EQ(dest.vt, copied ? row.vt : VARTYPE(VT_EMPTY));
            VariantClear(&dest);
        }
        EXPECT_EQ(VariantClear(&source), row.valid ? S_OK : DISP_E_BADVARTYPE);
        EXPECT_EQ(source.vt, row.valid ? VARTYPE(VT_EMPTY) : row.vt) << "a refused variant is left as it was";
    }
    VARIANT v = filledVariant(VT_UI4);
    v.ulVal = 0xFFFFFFFFu;
    ASSERT_EQ(VariantClear(&v), S_OK);
    EXPECT_EQ(v.ulVal, 0xFFFFFFFFu) << "only the type changes";
    EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
    EXPECT_EQ(VariantCopy(nullptr, &v), E_INVALIDARG);
    EXPECT_EQ(VariantCopy(&v, nullptr), E_INVALIDARG);
}

TEST(Variant, ClearReleasesOwnedValuesButNotReferencedOnes)
{
    CountingDispatch object;
    IUnknown *pointer = &object;
    object.references = 2;
    VARIANT v = filledVariant(VT_UNKNOWN);
    v.punkVal = &object;
    ASSERT_EQ(VariantClear(&v), S_OK);
    EXPECT_EQ(object.references, 1u);
    v = filledVariant(VT_DISPATCH | VT_BYREF);
    v.ppunkVal = &pointer;
    ASSERT_EQ(VariantClear(&v), S_OK);
    EXPECT_EQ(object.references, 1u) << "a reference owns nothing";

    VARIANT text = filledVariant(VT_BSTR);
    text.bstrVal = SysAllocString(u"freed by VariantClear");
    EXPECT_EQ(VariantClear(&text), S_OK); // the sanitizer run reports a leak otherwise
    VARIANT array = filledVariant(VT_ARRAY | VT_BSTR);
    array.parray = bstrArray(u"element freed with the array");
    EXPECT_EQ(VariantClear(&array), S_OK);

    VARIANT inner = filledVariant(VT_I4);
    inner.lVal = 0x1234;
    VARIANT reference = filledVariant(VT_VARIANT | VT_BYREF);
    reference.pvarVal = &inner;
    EXPECT_EQ(VariantClear(&reference), S_OK);
    EXPECT_TRUE(inner.vt == VT_I4 && inner.lVal == 0x1234);
}

TEST(Variant, ClearOfALockedArrayReportsItAndSparesTheArray)
{
    VARIANT v = filledVariant(VT_ARRAY | VT_BSTR);
    SAFEARRAY *array = bstrArray(u"still alive");
    v.parray = array;
    ASSERT_EQ(SafeArrayLock(array), S_OK);
    EXPECT_EQ(VariantClear(&v), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(v.vt, VT_EMPTY) << "Windows gives up the array all the same";
    BSTR element = nullptr;
    LONG index = 0;
    ASSERT_EQ(SafeArrayGetElement(array, &index, &element), S_OK);
    EXPECT_EQ(std::u16string(element), u"still alive");
    SysFreeString(element);
    ASSERT_EQ(SafeArrayUnlock(array), S_OK);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(Variant, CopyClearsTheDestinationFirst)
{
    CountingDispatch held;
    VARIANT dest = filledVariant(VT_DISPATCH);
    dest.pdispVal = &held;
    VARIANT source = filledVariant(VT_I2);
    source.iVal = 7;
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    EXPECT_EQ(held.references, 0u) << "the old value was released";
    EXPECT_TRUE(dest.vt == VT_I2 && dest.iVal == 7);

    VARIANT badDest = filledVariant(VT_VOID);
    EXPECT_EQ(VariantCopy(&badDest, &source), DISP_E_BADVARTYPE);
    EXPECT_EQ(badDest.vt, VT_VOID);
}

TEST(Variant, CopyIsDeepForValuesAndShallowForReferences)
{
    VARIANT source = filledVariant(VT_BSTR);
    source.bstrVal = SysAllocStringByteLen("abc", 3);
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    ASSERT_NE(dest.bstrVal, source.bstrVal);
    EXPECT_EQ(SysStringByteLen(dest.bstrVal), 3u) << "odd byte lengths are kept";
    EXPECT_EQ(std::memcmp(dest.bstrVal, "abc", 3), 0);
    VariantClear(&source);
    source = filledVariant(VT_BSTR);
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    ASSERT_NE(dest.bstrVal, nullptr) << "a null string is copied as an empty one";
    EXPECT_EQ(SysStringLen(dest.bstrVal), 0u);

    CountingDispatch object;
    source = filledVariant(VT_DISPATCH);
    source.pdispVal = &object;
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    EXPECT_EQ(object.references, 2u);
    VariantClear(&dest);
    EXPECT_EQ(object.references, 1u);

    VARIANT array = filledVariant(VT_ARRAY | VT_BSTR);
    array.parray = bstrArray(u"deep");
    ASSERT_EQ(VariantCopy(&dest, &array), S_OK);
    BSTR copied = static_cast<BSTR *>(dest.parray->pvData)[0];
    EXPECT_NE(copied, static_cast<BSTR *>(array.parray->pvData)[0]);
    EXPECT_EQ(std::u16string(copied), u"deep");
    VariantClear(&dest);

    source = filledVariant(VT_ARRAY | VT_BYREF | VT_BSTR);
    source.pparray = &array.parray;
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    EXPECT_EQ(dest.pparray, &array.parray);
    VariantClear(&array);
}

TEST(Variant, RecordsClearAndCopyThroughTheirInfo)
{
    CountingRecordInfo info(8);
    char record[8] = { 1, 2, 3, 4, 5, 6, 7, 8 };
    VARIANT source = filledVariant(VT_RECORD);
    source.pvRecord = record;
    source.pRecInfo = &info;
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    EXPECT_EQ(info.references, 2u);
    EXPECT_EQ(info.copies, 1);
    EXPECT_EQ(info.inits, 0) << "Windows copies into zeroed memory without RecordInit";
    ASSERT_NE(dest.pvRecord, record);
    EXPECT_EQ(std::memcmp(dest.pvRecord, record, sizeof record), 0);
    void *copy = dest.pvRecord;
    ASSERT_EQ(VariantClear(&dest), S_OK);
    EXPECT_EQ(info.clears, 1);
    EXPECT_EQ(info.references, 1u);
    std::free(copy); // VariantClear clears a record but does not free it, as on Windows

    VARIANT reference = filledVariant(VT_RECORD | VT_BYREF);
    reference.pvRecord = record;
    reference.pRecInfo = &info;
    ASSERT_EQ(VariantClear(&reference), S_OK);
    EXPECT_EQ(info.clears, 1) << "a reference owns nothing";

    VARIANT orphan = filledVariant(VT_RECORD);
    orphan.pvRecord = record;
    EXPECT_EQ(VariantCopy(&dest, &orphan), E_INVALIDARG) << "record data without record info";
    info.failCopy = true;
    EXPECT_EQ(VariantCopy(&dest, &source), E_FAIL);
    EXPECT_EQ(info.references, 1u) << "a failed copy keeps no reference";
}

TEST(Variant, CopyIndDereferencesWhatItKnows)
{
    LONGLONG buffer[4] = { -5, 0, 0, 0 };
    const struct {
        const char *name;
        VARTYPE vt;
        HRESULT expected;
        size_t bytes;
    } rows[] = {
        { "VT_BYREF|VT_I1", VT_BYREF | VT_I1, S_OK, 1 },
        { "VT_BYREF|VT_CY", VT_BYREF | VT_CY, S_OK, 8 },
        { "VT_BYREF|VT_ERROR", VT_BYREF | VT_ERROR, S_OK, 4 },
        { "VT_BYREF|VT_EMPTY", VT_BYREF | VT_EMPTY, E_INVALIDARG, 0 },
        { "VT_BYREF|VT_VOID", VT_BYREF | VT_VOID, E_INVALIDARG, 0 },
        { "VT_BYREF|VT_CLSID", VT_BYREF | VT_CLSID, E_INVALIDARG, 0 },
        { "VT_BYREF|VT_VECTOR|VT_I4", VT_BYREF | VT_VECTOR | VT_I4, E_INVALIDARG, 0 },
        { "by value VT_VOID", VT_VOID, DISP_E_BADVARTYPE, 0 },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        VARIANT source = filledVariant(row.vt);
        source.byref = buffer;
        VARIANT dest = filledVariant(VT_EMPTY);
        EXPECT_EQ(VariantCopyInd(&dest, &source), row.expected);
        if (row.expected == S_OK) {
            EXPECT_EQ(dest.vt, row.vt & VT_TYPEMASK);
            EXPECT_EQ(std::memcmp(&dest.llVal, buffer, row.bytes), 0);
        }
        EXPECT_EQ(VariantCopyInd(&source, &source), row.expected) << "in place";
    }
    DECIMAL decimal{};
    decimal.scale = 2;
    decimal.Lo64 = 31415;
    VARIANT source = filledVariant(VT_BYREF | VT_DECIMAL);
    VARIANT dest = filledVariant(VT_EMPTY);
    source.pdecVal = &decimal;
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK);
    EXPECT_EQ(dest.vt, VT_DECIMAL) << "the decimal's first word is the variant's type";
    EXPECT_TRUE(dest.decVal.scale == 2 && dest.decVal.Lo64 == 31415u);

    VARIANT nullReference = filledVariant(VT_BYREF | VT_I4);
    EXPECT_EQ(VariantCopyInd(&dest, &nullReference), E_INVALIDARG);
    EXPECT_EQ(VariantCopyInd(nullptr, &nullReference), E_INVALIDARG);
    EXPECT_EQ(VariantCopyInd(&dest, nullptr), E_INVALIDARG);
}

TEST(Variant, CopyIndFollowsOneVariantReference)
{
    VARIANT inner = filledVariant(VT_UI1);
    inner.bVal = 0x77;
    VARIANT source = filledVariant(VT_VARIANT | VT_BYREF);
    source.pvarVal = &inner;
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK);
    EXPECT_TRUE(dest.vt == VT_UI1 && dest.bVal == 0x77);

    BYTE byte = 0x88;
    inner = filledVariant(VT_UI1 | VT_BYREF);
    inner.pbVal = &byte;
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK) << "a reference to a by-reference value resolves";
    EXPECT_TRUE(dest.vt == VT_UI1 && dest.bVal == 0x88);

    VARIANT innermost = filledVariant(VT_UI1);
    inner = filledVariant(VT_VARIANT | VT_BYREF);
    inner.pvarVal = &innermost;
    EXPECT_EQ(VariantCopyInd(&dest, &source), E_INVALIDARG) << "only one level of variant references";

    inner = filledVariant(VT_I4);
    inner.lVal = 99;
    ASSERT_EQ(VariantCopyInd(&source, &source), S_OK) << "in place";
    EXPECT_TRUE(source.vt == VT_I4 && source.lVal == 99);
}

TEST(Variant, CopyIndOwnsWhatItDereferences)
{
    CountingDispatch object;
    IDispatch *pointer = &object;
    VARIANT source = filledVariant(VT_DISPATCH | VT_BYREF);
    source.ppdispVal = &pointer;
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK);
    EXPECT_EQ(object.references, 2u);
    VariantClear(&dest);
    EXPECT_EQ(object.references, 1u);

    BSTR text = SysAllocString(u"referenced");
    source = filledVariant(VT_BSTR | VT_BYREF);
    source.pbstrVal = &text;
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK);
    EXPECT_NE(dest.bstrVal, text);
    EXPECT_EQ(std::u16string(dest.bstrVal), u"referenced");
    VariantClear(&dest);
    SysFreeString(text);

    SAFEARRAY *array = bstrArray(u"referenced array");
    source = filledVariant(VT_ARRAY | VT_BSTR | VT_BYREF);
    source.pparray = &array;
    ASSERT_EQ(VariantCopyInd(&source, &source), S_OK) << "in place";
    EXPECT_EQ(source.vt, VT_ARRAY | VT_BSTR);
    EXPECT_NE(source.parray, array);
    VariantClear(&source);
    SafeArrayDestroy(array);
}
