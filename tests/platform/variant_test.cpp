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
    { "VT_I2", VT_I2, true },
    { "VT_DECIMAL", VT_DECIMAL, true },
    { "unassigned 15", 15, false },
    { "VT_I1", VT_I1, true },
    { "VT_UINT", VT_UINT, true },
    { "VT_VOID", VT_VOID, false },
    { "VT_LPWSTR", VT_LPWSTR, false },
    { "VT_RECORD", VT_RECORD, true },
    { "VT_INT_PTR", VT_INT_PTR, false },
    { "VT_FILETIME", VT_FILETIME, false },
    { "VT_CLSID", VT_CLSID, true },
    { "VT_BSTR_BLOB", VT_BSTR_BLOB, false },
    { "VT_BYREF|VT_EMPTY", VT_BYREF | VT_EMPTY, false },
    { "VT_BYREF|VT_NULL", VT_BYREF | VT_NULL, false },
    { "VT_ARRAY|VT_NULL", VT_ARRAY | VT_NULL, false },
    { "VT_BYREF|VT_I4", VT_BYREF | VT_I4, true },
    { "VT_ARRAY|VT_I4", VT_ARRAY | VT_I4, true },
    { "VT_BYREF|VT_ARRAY|VT_I4", VT_BYREF | VT_ARRAY | VT_I4, true },
    { "VT_BYREF|VT_RECORD", VT_BYREF | VT_RECORD, true },
    { "VT_BYREF|VT_SAFEARRAY", VT_BYREF | VT_SAFEARRAY, false },
    { "VT_VECTOR|VT_I4", VT_VECTOR | VT_I4, false },
    { "VT_RESERVED|VT_I4", VT_RESERVED | VT_I4, false },
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

TEST(Variant, ClearChecksTheTypeAsWindowsDoes)
{
    for (const TypeRow &row : typeRows) {
        SCOPED_TRACE(row.name);
        VARIANT v = filledVariant(row.vt); // null pointers: nothing is dereferenced
        const HRESULT hr = VariantClear(&v);
        EXPECT_EQ(hr, row.valid ? S_OK : DISP_E_BADVARTYPE);
        EXPECT_EQ(v.vt, row.valid ? VARTYPE(VT_EMPTY) : row.vt) << "a refused variant is left as it was";
    }
    EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
}

TEST(Variant, ClearSetsOnlyTheType)
{
    VARIANT v = filledVariant(VT_UI4);
    v.ulVal = 0xFFFFFFFFu;
    ASSERT_EQ(VariantClear(&v), S_OK);
    EXPECT_EQ(v.vt, VT_EMPTY);
    EXPECT_EQ(v.ulVal, 0xFFFFFFFFu);
}

TEST(Variant, ClearReleasesInterfacesButNotReferences)
{
    CountingDispatch object;
    struct Row {
        const char *name;
        VARTYPE vt;
        bool byReference;
        ULONG expectedReferences;
    } rows[] = {
        { "VT_UNKNOWN", VT_UNKNOWN, false, 1 },
        { "VT_DISPATCH", VT_DISPATCH, false, 1 },
        { "VT_UNKNOWN|VT_BYREF", VT_UNKNOWN | VT_BYREF, true, 2 },
        { "VT_DISPATCH|VT_BYREF", VT_DISPATCH | VT_BYREF, true, 2 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        object.references = 2;
        IUnknown *pointer = &object;
        VARIANT v = filledVariant(row.vt);
        if (row.byReference)
            v.ppunkVal = &pointer;
        else
            v.punkVal = &object;
        ASSERT_EQ(VariantClear(&v), S_OK);
        EXPECT_EQ(v.vt, VT_EMPTY);
        EXPECT_EQ(object.references, row.expectedReferences);
    }
}

TEST(Variant, ClearFreesStringsAndArraysAndLeavesReferencedValues)
{
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
    EXPECT_EQ(reference.pvarVal, &inner);
    EXPECT_EQ(inner.vt, VT_I4);
    EXPECT_EQ(inner.lVal, 0x1234);
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

TEST(Variant, ClearOfARecordClearsAndReleasesThroughItsInfo)
{
    CountingRecordInfo info;
    info.references = 2;
    char record[16] = {};
    VARIANT v = filledVariant(VT_RECORD);
    v.pvRecord = record;
    v.pRecInfo = &info;
    ASSERT_EQ(VariantClear(&v), S_OK);
    EXPECT_EQ(info.clears, 1);
    EXPECT_EQ(info.references, 1u);

    v = filledVariant(VT_RECORD | VT_BYREF);
    v.pvRecord = record;
    v.pRecInfo = &info;
    ASSERT_EQ(VariantClear(&v), S_OK);
    EXPECT_EQ(info.clears, 1) << "a reference owns nothing";
}

TEST(Variant, CopyChecksTheSourceAndAcceptsItselfAsDestination)
{
    for (const TypeRow &row : typeRows) {
        SCOPED_TRACE(row.name);
        const bool accepted = row.valid && (row.vt & VT_TYPEMASK) != VT_CLSID;
        VARIANT source = filledVariant(row.vt);
        EXPECT_EQ(VariantCopy(&source, &source), accepted ? S_OK : DISP_E_BADVARTYPE);
        EXPECT_EQ(source.vt, row.vt) << "copying onto itself changes nothing";
        if (row.vt & VT_ARRAY)
            continue; // a null array pointer is copied only by reference below
        VARIANT dest = filledVariant(VT_EMPTY);
        EXPECT_EQ(VariantCopy(&dest, &source), accepted ? S_OK : DISP_E_BADVARTYPE);
        EXPECT_EQ(dest.vt, accepted ? row.vt : VARTYPE(VT_EMPTY));
        VariantClear(&dest);
    }
    VARIANT v = filledVariant(VT_I4);
    EXPECT_EQ(VariantCopy(nullptr, &v), E_INVALIDARG);
    EXPECT_EQ(VariantCopy(&v, nullptr), E_INVALIDARG);
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
    EXPECT_EQ(dest.vt, VT_I2);
    EXPECT_EQ(dest.iVal, 7);

    VARIANT badDest = filledVariant(VT_VOID);
    EXPECT_EQ(VariantCopy(&badDest, &source), DISP_E_BADVARTYPE);
    EXPECT_EQ(badDest.vt, VT_VOID);
}

TEST(Variant, CopyDuplicatesStringsKeepingOddByteLengths)
{
    VARIANT source = filledVariant(VT_BSTR);
    source.bstrVal = SysAllocStringByteLen("abc", 3);
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    ASSERT_NE(dest.bstrVal, source.bstrVal);
    EXPECT_EQ(SysStringByteLen(dest.bstrVal), 3u);
    EXPECT_EQ(std::memcmp(dest.bstrVal, "abc", 3), 0);
    VariantClear(&source);
    VariantClear(&dest);

    VARIANT nullString = filledVariant(VT_BSTR);
    ASSERT_EQ(VariantCopy(&dest, &nullString), S_OK);
    ASSERT_NE(dest.bstrVal, nullptr) << "a null string is copied as an empty one";
    EXPECT_EQ(SysStringLen(dest.bstrVal), 0u);
    VariantClear(&dest);
}

TEST(Variant, CopyAddsReferencesAndCopiesArraysDeeply)
{
    CountingDispatch object;
    VARIANT source = filledVariant(VT_DISPATCH);
    source.pdispVal = &object;
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    EXPECT_EQ(dest.pdispVal, &object);
    EXPECT_EQ(object.references, 2u);
    VariantClear(&dest);
    EXPECT_EQ(object.references, 1u);

    VARIANT array = filledVariant(VT_ARRAY | VT_BSTR);
    array.parray = bstrArray(u"deep");
    ASSERT_EQ(VariantCopy(&dest, &array), S_OK);
    ASSERT_NE(dest.parray, array.parray);
    BSTR original = static_cast<BSTR *>(array.parray->pvData)[0];
    BSTR copied = static_cast<BSTR *>(dest.parray->pvData)[0];
    EXPECT_NE(copied, original);
    EXPECT_EQ(std::u16string(copied), u"deep");
    VariantClear(&dest);
    VariantClear(&array);
}

TEST(Variant, CopyOfAReferenceCopiesThePointerOnly)
{
    SAFEARRAY *array = bstrArray(u"shared");
    VARIANT source = filledVariant(VT_ARRAY | VT_BYREF | VT_BSTR);
    source.pparray = &array;
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    EXPECT_EQ(dest.vt, VT_ARRAY | VT_BYREF | VT_BSTR);
    EXPECT_EQ(dest.pparray, &array);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(Variant, CopyOfARecordCopiesThroughItsInfo)
{
    CountingRecordInfo info(8);
    char record[8] = { 1, 2, 3, 4, 5, 6, 7, 8 };
    VARIANT source = filledVariant(VT_RECORD);
    source.pvRecord = record;
    source.pRecInfo = &info;
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopy(&dest, &source), S_OK);
    EXPECT_EQ(dest.pRecInfo, &info);
    EXPECT_EQ(info.references, 2u);
    EXPECT_EQ(info.copies, 1);
    EXPECT_EQ(info.inits, 0) << "Windows copies into zeroed memory without RecordInit";
    ASSERT_NE(dest.pvRecord, record);
    EXPECT_EQ(std::memcmp(dest.pvRecord, record, sizeof record), 0);
    void *copy = dest.pvRecord;
    ASSERT_EQ(VariantClear(&dest), S_OK);
    EXPECT_EQ(info.references, 1u);
    std::free(copy); // VariantClear clears a record but does not free it, as on Windows

    VARIANT orphan = filledVariant(VT_RECORD);
    orphan.pvRecord = record;
    EXPECT_EQ(VariantCopy(&dest, &orphan), E_INVALIDARG) << "record data without record info";

    info.failCopy = true;
    EXPECT_EQ(VariantCopy(&dest, &source), E_FAIL);
    EXPECT_EQ(info.references, 1u) << "a failed copy keeps no reference";
}

TEST(Variant, CopyIndDereferencesScalars)
{
    SHORT i2 = -2;
    LONG i4 = 0x12345678;
    DOUBLE r8 = 2.5;
    LONGLONG i8 = -1234567890123LL;
    VARIANT_BOOL flag = VARIANT_TRUE;
    CHAR i1 = -5;
    CY money;
    money.int64 = 123456;
    DECIMAL decimal{};
    decimal.scale = 2;
    decimal.Lo64 = 31415;
    struct Row {
        const char *name;
        VARTYPE vt;
        void *pointer;
        size_t bytes;
    } rows[] = {
        { "VT_I2", VT_I2, &i2, sizeof i2 },
        { "VT_I4", VT_I4, &i4, sizeof i4 },
        { "VT_R8", VT_R8, &r8, sizeof r8 },
        { "VT_I8", VT_I8, &i8, sizeof i8 },
        { "VT_BOOL", VT_BOOL, &flag, sizeof flag },
        { "VT_I1", VT_I1, &i1, sizeof i1 },
        { "VT_CY", VT_CY, &money, sizeof money },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        VARIANT source = filledVariant(VT_BYREF | row.vt);
        source.byref = row.pointer;
        VARIANT dest = filledVariant(VT_EMPTY);
        ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK);
        EXPECT_EQ(dest.vt, row.vt);
        EXPECT_EQ(std::memcmp(&dest.llVal, row.pointer, row.bytes), 0);
    }

    VARIANT source = filledVariant(VT_BYREF | VT_DECIMAL);
    source.pdecVal = &decimal;
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK);
    EXPECT_EQ(dest.vt, VT_DECIMAL) << "the decimal's first word is the variant's type";
    EXPECT_EQ(dest.decVal.scale, 2);
    EXPECT_EQ(dest.decVal.Lo64, 31415u);
}

TEST(Variant, CopyIndRefusesTypesItCannotDereference)
{
    LONG buffer[8] = {};
    struct Row {
        const char *name;
        VARTYPE vt;
        HRESULT expected;
    } rows[] = {
        { "VT_BYREF|VT_EMPTY", VT_BYREF | VT_EMPTY, E_INVALIDARG },
        { "VT_BYREF|VT_NULL", VT_BYREF | VT_NULL, E_INVALIDARG },
        { "VT_BYREF|15", VT_BYREF | 15, E_INVALIDARG },
        { "VT_BYREF|VT_VOID", VT_BYREF | VT_VOID, E_INVALIDARG },
        { "VT_BYREF|VT_CLSID", VT_BYREF | VT_CLSID, E_INVALIDARG },
        { "VT_BYREF|VT_RESERVED|VT_I4", VT_BYREF | VT_RESERVED | VT_I4, E_INVALIDARG },
        { "VT_BYREF|VT_VECTOR|VT_I4", VT_BYREF | VT_VECTOR | VT_I4, E_INVALIDARG },
        { "VT_BYREF|VT_UINT", VT_BYREF | VT_UINT, S_OK },
        { "VT_BYREF|VT_ERROR", VT_BYREF | VT_ERROR, S_OK },
        { "by value VT_VOID", VT_VOID, DISP_E_BADVARTYPE },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        VARIANT source = filledVariant(row.vt);
        source.byref = buffer;
        VARIANT dest = filledVariant(VT_EMPTY);
        EXPECT_EQ(VariantCopyInd(&dest, &source), row.expected);
        EXPECT_EQ(VariantCopyInd(&source, &source), row.expected) << "in place";
    }
    VARIANT nullReference = filledVariant(VT_BYREF | VT_I4);
    VARIANT dest = filledVariant(VT_EMPTY);
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
    EXPECT_EQ(dest.vt, VT_UI1);
    EXPECT_EQ(dest.bVal, 0x77);

    BYTE byte = 0x88;
    inner = filledVariant(VT_UI1 | VT_BYREF);
    inner.pbVal = &byte;
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK) << "a reference to a by-reference value resolves";
    EXPECT_EQ(dest.vt, VT_UI1);
    EXPECT_EQ(dest.bVal, 0x88);

    VARIANT innermost = filledVariant(VT_UI1);
    inner = filledVariant(VT_VARIANT | VT_BYREF);
    inner.pvarVal = &innermost;
    EXPECT_EQ(VariantCopyInd(&dest, &source), E_INVALIDARG) << "only one level of variant references";

    inner = filledVariant(VT_I4);
    inner.lVal = 99;
    ASSERT_EQ(VariantCopyInd(&source, &source), S_OK) << "in place";
    EXPECT_EQ(source.vt, VT_I4);
    EXPECT_EQ(source.lVal, 99);
}

TEST(Variant, CopyIndOwnsWhatItDereferences)
{
    CountingDispatch object;
    IDispatch *pointer = &object;
    VARIANT source = filledVariant(VT_DISPATCH | VT_BYREF);
    source.ppdispVal = &pointer;
    VARIANT dest = filledVariant(VT_EMPTY);
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK);
    EXPECT_EQ(dest.vt, VT_DISPATCH);
    EXPECT_EQ(object.references, 2u);
    VariantClear(&dest);
    EXPECT_EQ(object.references, 1u);

    BSTR text = SysAllocString(u"referenced");
    source = filledVariant(VT_BSTR | VT_BYREF);
    source.pbstrVal = &text;
    ASSERT_EQ(VariantCopyInd(&dest, &source), S_OK);
    EXPECT_EQ(dest.vt, VT_BSTR);
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
