// SAFEARRAY: creation by element type, the hidden type marks, bounds and
// indices, locking, element transfer, copies, resizing and destruction.
#include <gtest/gtest.h>

#include <cstring>

#include "counting_objects.h"
#include "platform/automation.h"

using testing_objects::CountingDispatch;

namespace {

constexpr USHORT createVectorFeature = 0x2000; // FADF_CREATEVECTOR on Windows

template <typename T>
T hiddenBefore(SAFEARRAY *array)
{
    T value;
    std::memcpy(&value, reinterpret_cast<char *>(array) - sizeof value, sizeof value);
    return value;
}

SAFEARRAY *vectorOf(VARTYPE vt, ULONG elements, LONG lowerBound = 0)
{
    SAFEARRAYBOUND bound{ elements, lowerBound };
    return SafeArrayCreate(vt, 1, &bound);
}

void putText(SAFEARRAY *array, LONG *indices, const char16_t *text)
{
    BSTR value = SysAllocString(text);
    EXPECT_EQ(SafeArrayPutElement(array, indices, value), S_OK);
    SysFreeString(value);
}

std::u16string textAt(SAFEARRAY *array, LONG *indices)
{
    BSTR got = nullptr;
    EXPECT_EQ(SafeArrayGetElement(array, indices, &got), S_OK);
    std::u16string text = got ? got : u"";
    SysFreeString(got);
    return text;
}

} // namespace

// Element sizes and features as Windows x64 gives them; size 0: refused.
TEST(SafeArray, CreateSetsSizesFeaturesAndTypeMarksByElementType)
{
    const struct {
        const char *name;
        VARTYPE vt;
        ULONG size;
        USHORT features;
    } rows[] = {
        { "VT_EMPTY", VT_EMPTY, 0, 0 },
        { "VT_NULL", VT_NULL, 0, 0 },
        { "VT_I2", VT_I2, 2, FADF_HAVEVARTYPE },
        { "VT_R8", VT_R8, 8, FADF_HAVEVARTYPE },
        { "VT_BSTR", VT_BSTR, 8, FADF_HAVEVARTYPE | FADF_BSTR },
        { "VT_DISPATCH", VT_DISPATCH, 8, FADF_HAVEIID | FADF_DISPATCH },
        { "VT_ERROR", VT_ERROR, 4, FADF_HAVEVARTYPE },
        { "VT_VARIANT", VT_VARIANT, 24, FADF_HAVEVARTYPE | FADF_VARIANT },
        { "VT_UNKNOWN", VT_UNKNOWN, 8, FADF_HAVEIID | FADF_UNKNOWN },
        { "VT_DECIMAL", VT_DECIMAL, 16, FADF_HAVEVARTYPE },
        { "unassigned 15", 15, 0, 0 },
        { "VT_I1", VT_I1, 1, FADF_HAVEVARTYPE },
        { "VT_UINT", VT_UINT, 4, FADF_HAVEVARTYPE },
        { "VT_VOID", VT_VOID, 0, 0 },
        { "VT_RECORD", VT_RECORD, 0, 0 },
        { "VT_INT_PTR", VT_INT_PTR, 8, FADF_HAVEVARTYPE },
        { "VT_CLSID", VT_CLSID, 0, 0 },
        { "VT_ARRAY|VT_I4", VT_ARRAY | VT_I4, 0, 0 },
        { "VT_BYREF|VT_I4", VT_BYREF | VT_I4, 0, 0 },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        SAFEARRAY *array = vectorOf(row.vt, 3);
        SAFEARRAY *vector = SafeArrayCreateVector(row.vt, 0, 3);
        if (!row.size) {
            EXPECT_EQ(array, nullptr);
            EXPECT_EQ(vector, nullptr);
            continue;
        }
        ASSERT_TRUE(array && vector);
        EXPECT_EQ(SafeArrayGetElemsize(array), row.size);
        EXPECT_EQ(array->fFeatures, row.features);
        EXPECT_EQ(vector->fFeatures, row.features | createVectorFeature);
        if (row.features & FADF_HAVEVARTYPE) {
            EXPECT_EQ(hiddenBefore<DWORD>(array), row.vt) << "the VARTYPE sits in the 4 bytes before the descriptor";
        } else {
            EXPECT_EQ(hiddenBefore<GUID>(array), row.vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown);
        }
        SAFEARRAY *copy = nullptr;
        ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
        EXPECT_EQ(copy->fFeatures, row.features);
        VARTYPE vt = 0;
        ASSERT_EQ(SafeArrayGetVartype(copy, &vt), S_OK);
        EXPECT_EQ(vt, row.vt);
        for (SAFEARRAY *each : { copy, array, vector })
            EXPECT_EQ(SafeArrayDestroy(each), S_OK);
    }
}

TEST(SafeArray, CreateRefusesBadArgumentsAndAllowsEmptyDimensions)
{
    SAFEARRAYBOUND bounds[2] = { { 2, 0 }, { 2, 0 } };
    EXPECT_EQ(SafeArrayCreate(VT_I4, 1, nullptr), nullptr);
    EXPECT_EQ(SafeArrayCreate(VT_I4, 0, bounds), nullptr);
    EXPECT_EQ(SafeArrayCreate(VT_I4, 65536, bounds), nullptr);
    SAFEARRAY *array = nullptr;
    EXPECT_EQ(SafeArrayAllocDescriptor(0, &array), E_INVALIDARG);
    EXPECT_EQ(SafeArrayAllocDescriptor(65536, &array), E_INVALIDARG);
    EXPECT_EQ(SafeArrayAllocDescriptor(1, nullptr), E_POINTER);
    EXPECT_EQ(SafeArrayAllocData(nullptr), E_INVALIDARG);
    ASSERT_EQ(SafeArrayAllocDescriptor(65535, &array), S_OK);
    EXPECT_EQ(SafeArrayGetDim(array), 65535u);
    VARTYPE vt;
    EXPECT_EQ(SafeArrayGetVartype(array, &vt), E_INVALIDARG) << "no type marks on a bare descriptor";
    EXPECT_EQ(SafeArrayDestroyDescriptor(array), S_OK);

    array = vectorOf(VT_I4, 0, 42);
    ASSERT_NE(array, nullptr);
    LONG value = 0, index = 42;
    ASSERT_EQ(SafeArrayGetUBound(array, 1, &value), S_OK);
    EXPECT_EQ(value, 41) << "upper bound of an empty dimension is lower bound - 1";
    EXPECT_EQ(SafeArrayGetElement(array, &index, &value), DISP_E_BADINDEX);
    bounds[0] = { 2, 42 };
    EXPECT_EQ(SafeArrayRedim(array, &bounds[0]), S_OK);
    EXPECT_EQ(SafeArrayPutElement(array, &index, &value), S_OK);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

// Dimension 1 has 42 elements from 1, dimension 2 has 2 from 23; the first
// index varies fastest and rgsabound[0] holds the last dimension.
TEST(SafeArray, TwoDimensionsBoundsAndIndices)
{
    SAFEARRAYBOUND bounds[2] = { { 42, 1 }, { 2, 23 } };
    SAFEARRAY *array = SafeArrayCreate(VT_I4, 2, bounds);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->rgsabound[0].cElements, 2u);
    EXPECT_EQ(array->rgsabound[0].lLbound, 23);

    const struct {
        const char *name;
        UINT dim;
        HRESULT expected;
        LONG lower, upper;
    } dims[] = {
        { "dimension 0", 0, DISP_E_BADINDEX, 0, 0 },
        { "dimension 1", 1, S_OK, 1, 42 },
        { "dimension 2", 2, S_OK, 23, 24 },
        { "dimension 3", 3, DISP_E_BADINDEX, 0, 0 },
    };
    for (const auto &row : dims) {
        SCOPED_TRACE(row.name);
        LONG lower = -99, upper = -99;
        EXPECT_EQ(SafeArrayGetLBound(array, row.dim, &lower), row.expected);
        EXPECT_EQ(SafeArrayGetUBound(array, row.dim, &upper), row.expected);
        if (row.expected == S_OK) {
            EXPECT_TRUE(lower == row.lower && upper == row.upper) << lower << ".." << upper;
        }
    }

    char *base = static_cast<char *>(array->pvData);
    const struct {
        const char *name;
        LONG first, second;
        HRESULT expected;
        ptrdiff_t offset;
    } rows[] = {
        { "origin", 1, 23, S_OK, 0 },
        { "first index varies fastest", 3, 23, S_OK, 8 },
        { "second index strides a column", 3, 24, S_OK, 176 },
        { "last element", 42, 24, S_OK, 332 },
        { "first below", 0, 23, DISP_E_BADINDEX, 0 },
        { "first above", 43, 23, DISP_E_BADINDEX, 0 },
        { "second below", 1, 22, DISP_E_BADINDEX, 0 },
        { "second above", 1, 25, DISP_E_BADINDEX, 0 },
        { "far below", -2147483647 - 1, 23, DISP_E_BADINDEX, 0 },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        LONG indices[2] = { row.first, row.second };
        void *element = nullptr;
        EXPECT_EQ(SafeArrayPtrOfIndex(array, indices, &element), row.expected);
        if (row.expected == S_OK) {
            EXPECT_EQ(static_cast<char *>(element) - base, row.offset);
        }
        LONG value = 7;
        EXPECT_EQ(SafeArrayPutElement(array, indices, &value), row.expected);
        EXPECT_EQ(SafeArrayGetElement(array, indices, &value), row.expected);
    }

    LONG indices[2] = { 1, 23 }, value;
    void *element = nullptr;
    VARTYPE vt;
    EXPECT_EQ(SafeArrayPtrOfIndex(nullptr, indices, &element), E_INVALIDARG);
    EXPECT_EQ(SafeArrayPtrOfIndex(array, nullptr, &element), E_INVALIDARG);
    EXPECT_EQ(SafeArrayPtrOfIndex(array, indices, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetLBound(nullptr, 1, &value), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetUBound(array, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetDim(nullptr), 0u);
    EXPECT_EQ(SafeArrayGetElemsize(nullptr), 0u);
    EXPECT_EQ(SafeArrayGetVartype(nullptr, &vt), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetVartype(array, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, LocksCountTo65535AndLockedArraysRefuseDestruction)
{
    SAFEARRAY *array = vectorOf(VT_BSTR, 4);
    EXPECT_EQ(SafeArrayUnlock(array), E_UNEXPECTED);
    int count = 0;
    HRESULT hr;
    while ((hr = SafeArrayLock(array)) == S_OK && count < 70000)
        ++count;
    EXPECT_EQ(count, 65535);
    EXPECT_EQ(hr, E_UNEXPECTED);
    while ((hr = SafeArrayUnlock(array)) == S_OK && count > -5)
        --count;
    EXPECT_EQ(count, 0);
    EXPECT_EQ(hr, E_UNEXPECTED);

    void *data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
    EXPECT_EQ(data, array->pvData);
    EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(SafeArrayDestroyData(array), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(SafeArrayDestroyDescriptor(array), DISP_E_ARRAYISLOCKED);
    SAFEARRAYBOUND bound{ 8, 0 };
    EXPECT_EQ(SafeArrayRedim(array, &bound), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(array->rgsabound[0].cElements, 4u);
    EXPECT_EQ(SafeArrayUnaccessData(array), S_OK);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);

    EXPECT_EQ(SafeArrayLock(nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayUnlock(nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayAccessData(nullptr, &data), E_INVALIDARG);
    EXPECT_EQ(SafeArrayUnaccessData(nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayDestroy(nullptr), S_OK);
    EXPECT_EQ(SafeArrayDestroyDescriptor(nullptr), S_OK);
    EXPECT_EQ(SafeArrayDestroyData(nullptr), E_INVALIDARG);
}

TEST(SafeArray, StringElementsAreCopiedInAndOut)
{
    SAFEARRAY *array = vectorOf(VT_BSTR, 2, 1);
    LONG index = 1;
    putText(array, &index, u"Test");
    putText(array, &index, u"Replaced"); // the old element is freed (sanitizer)
    EXPECT_EQ(textAt(array, &index), u"Replaced");

    index = 2;
    ASSERT_EQ(SafeArrayPutElement(array, &index, nullptr), S_OK);
    BSTR empty = static_cast<BSTR *>(array->pvData)[1];
    ASSERT_NE(empty, nullptr) << "a null string is stored as an empty one";
    EXPECT_EQ(SysStringLen(empty), 0u);

    BSTR got = nullptr;
    EXPECT_EQ(SafeArrayGetElement(array, &index, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayPutElement(nullptr, &index, empty), E_INVALIDARG);
    EXPECT_EQ(SafeArrayPutElement(array, nullptr, empty), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetElement(array, nullptr, &got), E_INVALIDARG);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, InterfaceElementsBalanceTheirReferences)
{
    for (VARTYPE vt : { VARTYPE(VT_UNKNOWN), VARTYPE(VT_DISPATCH) }) {
        SCOPED_TRACE(vt);
        CountingDispatch first, second;
        SAFEARRAY *array = vectorOf(vt, 2, 1);
        LONG index = 1;
        ASSERT_EQ(SafeArrayPutElement(array, &index, static_cast<IDispatch *>(&first)), S_OK);
        IUnknown *got = nullptr;
        ASSERT_EQ(SafeArrayGetElement(array, &index, &got), S_OK);
        EXPECT_EQ(first.references, 3u);
        got->Release();
        ASSERT_EQ(SafeArrayPutElement(array, &index, static_cast<IDispatch *>(&second)), S_OK);
        EXPECT_EQ(first.references, 1u) << "the replaced element is released";
        index = 2;
        ASSERT_EQ(SafeArrayPutElement(array, &index, static_cast<IDispatch *>(&first)), S_OK);

        SAFEARRAY *copy = nullptr;
        ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
        EXPECT_EQ(first.references, 3u);
        SAFEARRAYBOUND shorter{ 1, 1 };
        ASSERT_EQ(SafeArrayRedim(copy, &shorter), S_OK);
        EXPECT_EQ(first.references, 2u) << "the dropped element is released";
        EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
        EXPECT_EQ(SafeArrayDestroy(array), S_OK);
        EXPECT_EQ(first.references, 1u);
        EXPECT_EQ(second.references, 1u);
    }
}

TEST(SafeArray, VariantElementsAreDeepCopies)
{
    CountingDispatch object;
    SAFEARRAY *array = vectorOf(VT_VARIANT, 3);
    LONG index = 1;
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_DISPATCH;
    value.pdispVal = &object;
    ASSERT_EQ(SafeArrayPutElement(array, &index, &value), S_OK);
    EXPECT_EQ(object.references, 2u);

    VARIANT got;
    got.vt = 0xDEAD; // uninitialised destination: its contents are ignored
    ASSERT_EQ(SafeArrayGetElement(array, &index, &got), S_OK);
    EXPECT_EQ(got.pdispVal, &object);
    VariantClear(&got);

    value.vt = VT_VOID;
    EXPECT_EQ(SafeArrayPutElement(array, &index, &value), DISP_E_BADVARTYPE);
    EXPECT_EQ(SafeArrayPutElement(array, &index, nullptr), E_INVALIDARG);

    SAFEARRAY *copy = nullptr;
    ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
    EXPECT_EQ(object.references, 3u);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    EXPECT_EQ(object.references, 1u);
}

TEST(SafeArray, CopyDataNeedsTheSameShapeAndReplacesTheTarget)
{
    SAFEARRAYBOUND bounds[2] = { { 3, 0 }, { 2, 5 } };
    SAFEARRAY *source = SafeArrayCreate(VT_BSTR, 2, bounds);
    SAFEARRAY *target = SafeArrayCreate(VT_BSTR, 2, bounds);
    LONG indices[2] = { 2, 6 };
    putText(source, indices, u"copied");
    putText(target, indices, u"replaced"); // freed by the copy (sanitizer)
    ASSERT_EQ(SafeArrayCopyData(source, target), S_OK);
    EXPECT_EQ(textAt(target, indices), u"copied");

    EXPECT_EQ(SafeArrayCopyData(nullptr, target), E_INVALIDARG);
    EXPECT_EQ(SafeArrayCopyData(source, nullptr), E_INVALIDARG);
    SAFEARRAY *differentType = SafeArrayCreate(VT_I4, 2, bounds);
    EXPECT_EQ(SafeArrayCopyData(source, differentType), E_INVALIDARG) << "element sizes differ";
    SAFEARRAY *oneDimension = vectorOf(VT_BSTR, 6);
    EXPECT_EQ(SafeArrayCopyData(source, oneDimension), E_INVALIDARG);
    for (SAFEARRAY *array : { source, target, differentType, oneDimension })
        EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, CopyDropsStorageFeaturesAndCopiesNullArrays)
{
    SAFEARRAY *copy = reinterpret_cast<SAFEARRAY *>(0x1);
    EXPECT_EQ(SafeArrayCopy(nullptr, &copy), S_OK);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(SafeArrayCopy(nullptr, nullptr), E_INVALIDARG);

    SAFEARRAY *bare = nullptr;
    ASSERT_EQ(SafeArrayAllocDescriptor(1, &bare), S_OK);
    copy = reinterpret_cast<SAFEARRAY *>(0x1);
    EXPECT_EQ(SafeArrayCopy(bare, &copy), E_INVALIDARG) << "no element size";
    EXPECT_EQ(copy, nullptr);
    bare->cbElements = 16;
    for (USHORT feature : { USHORT(FADF_AUTO), USHORT(FADF_STATIC), USHORT(FADF_EMBEDDED), USHORT(FADF_FIXEDSIZE) }) {
        SCOPED_TRACE(feature);
        bare->fFeatures = feature;
        ASSERT_EQ(SafeArrayCopy(bare, &copy), S_OK);
        EXPECT_EQ(copy->fFeatures, 0);
        EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
    }
    bare->fFeatures = 0;
    SafeArrayDestroyDescriptor(bare);

    SAFEARRAY *vector = SafeArrayCreateVector(VT_UI1, 0, 2);
    ASSERT_EQ(SafeArrayCopy(vector, &copy), S_OK);
    EXPECT_EQ(copy->fFeatures, FADF_HAVEVARTYPE) << "a copy of a vector is an ordinary array";
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
    EXPECT_EQ(SafeArrayDestroy(vector), S_OK);
}

TEST(SafeArray, VectorsKeepTheirDataInTheDescriptorBlock)
{
    SAFEARRAY *vector = SafeArrayCreateVector(VT_I4, -3, 10);
    ASSERT_NE(vector, nullptr);
    EXPECT_EQ(vector->pvData, reinterpret_cast<char *>(vector) + sizeof(SAFEARRAY));
    LONG value = 0;
    ASSERT_EQ(SafeArrayGetUBound(vector, 1, &value), S_OK);
    EXPECT_EQ(value, 6);
    ASSERT_EQ(SafeArrayDestroyData(vector), S_OK);
    EXPECT_EQ(vector->fFeatures, FADF_HAVEVARTYPE) << "destroying the data drops the vector mark";
    EXPECT_EQ(vector->pvData, nullptr);
    ASSERT_EQ(SafeArrayAllocData(vector), S_OK);
    EXPECT_EQ(SafeArrayDestroy(vector), S_OK);

    // A vector of strings frees its elements with the descriptor alone; a
    // resized one moves its data out first (sanitizer).
    for (ULONG grown : { 0u, 50u }) {
        SAFEARRAY *strings = SafeArrayCreateVector(VT_BSTR, 0, 2);
        LONG index = 1;
        putText(strings, &index, u"vector element");
        SAFEARRAYBOUND bound{ grown, 0 };
        if (grown) {
            ASSERT_EQ(SafeArrayRedim(strings, &bound), S_OK);
            EXPECT_EQ(textAt(strings, &index), u"vector element");
        }
        EXPECT_EQ(grown ? SafeArrayDestroy(strings) : SafeArrayDestroyDescriptor(strings), S_OK);
    }
}

TEST(SafeArray, RedimChangesTheLastDimensionAndKeepsData)
{
    SAFEARRAYBOUND bounds[2] = { { 4, 1 }, { 2, 1 } };
    SAFEARRAY *array = SafeArrayCreate(VT_I2, 2, bounds);
    LONG indices[2] = { 4, 2 };
    void *element = nullptr;
    ASSERT_EQ(SafeArrayPtrOfIndex(array, indices, &element), S_OK);
    *static_cast<WORD *>(element) = 0x55AA;

    SAFEARRAYBOUND bound{ 10, 1 };
    ASSERT_EQ(SafeArrayRedim(array, &bound), S_OK);
    EXPECT_EQ(array->rgsabound[1].cElements, 4u) << "other dimensions stay";
    ASSERT_EQ(SafeArrayPtrOfIndex(array, indices, &element), S_OK);
    EXPECT_EQ(*static_cast<WORD *>(element), 0x55AA);
    indices[1] = 10;
    ASSERT_EQ(SafeArrayPtrOfIndex(array, indices, &element), S_OK);
    EXPECT_EQ(*static_cast<WORD *>(element), 0) << "added elements are zeroed";

    bound = { 10, 0 }; // a new lower bound shifts the indices
    ASSERT_EQ(SafeArrayRedim(array, &bound), S_OK);
    indices[1] = 1;
    ASSERT_EQ(SafeArrayPtrOfIndex(array, indices, &element), S_OK);
    EXPECT_EQ(*static_cast<WORD *>(element), 0x55AA);

    EXPECT_EQ(SafeArrayRedim(nullptr, &bound), E_INVALIDARG);
    EXPECT_EQ(SafeArrayRedim(array, nullptr), E_INVALIDARG);
    array->fFeatures |= FADF_FIXEDSIZE;
    EXPECT_EQ(SafeArrayRedim(array, &bound), E_INVALIDARG);
    array->fFeatures &= USHORT(~FADF_FIXEDSIZE);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, DestroyDataZeroesStaticArraysAndFreesOthers)
{
    SAFEARRAY *array = vectorOf(VT_INT, 10);
    LONG index = 1;
    int value = 0x1234;
    SafeArrayPutElement(array, &index, &value);
    array->fFeatures |= FADF_STATIC;
    void *data = array->pvData;
    ASSERT_EQ(SafeArrayDestroyData(array), S_OK);
    EXPECT_EQ(array->pvData, data) << "static data stays where it is";
    ASSERT_EQ(SafeArrayGetElement(array, &index, &value), S_OK);
    EXPECT_EQ(value, 0);
    array->fFeatures &= USHORT(~FADF_STATIC);
    ASSERT_EQ(SafeArrayDestroyData(array), S_OK);
    EXPECT_EQ(array->pvData, nullptr);
    EXPECT_EQ(SafeArrayDestroyData(array), S_OK) << "nothing left to destroy is fine";
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}
