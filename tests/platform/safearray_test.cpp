// SAFEARRAY: creation by element type, the hidden type marks, bounds and
// indices, locking, element transfer, copies, resizing and destruction.
#include <gtest/gtest.h>

#include <cstring>

#include "counting_objects.h"
#include "platform/automation.h"

using testing_objects::CountingDispatch;

namespace {

constexpr USHORT createVectorFeature = 0x2000; // FADF_CREATEVECTOR on Windows

DWORD hiddenVarType(SAFEARRAY *array)
{
    DWORD vt;
    std::memcpy(&vt, reinterpret_cast<char *>(array) - sizeof vt, sizeof vt);
    return vt;
}

GUID hiddenIid(SAFEARRAY *array)
{
    GUID iid;
    std::memcpy(&iid, reinterpret_cast<char *>(array) - sizeof iid, sizeof iid);
    return iid;
}

// Element sizes and features of arrays by element type, as Windows x64
// creates them; size 0 means that SafeArrayCreate refuses the type.
struct ElementRow {
    const char *name;
    VARTYPE vt;
    ULONG size;
    USHORT features;
};
const ElementRow elementRows[] = {
    { "VT_EMPTY", VT_EMPTY, 0, 0 },
    { "VT_NULL", VT_NULL, 0, 0 },
    { "VT_I2", VT_I2, 2, FADF_HAVEVARTYPE },
    { "VT_I4", VT_I4, 4, FADF_HAVEVARTYPE },
    { "VT_R4", VT_R4, 4, FADF_HAVEVARTYPE },
    { "VT_R8", VT_R8, 8, FADF_HAVEVARTYPE },
    { "VT_CY", VT_CY, 8, FADF_HAVEVARTYPE },
    { "VT_DATE", VT_DATE, 8, FADF_HAVEVARTYPE },
    { "VT_BSTR", VT_BSTR, 8, FADF_HAVEVARTYPE | FADF_BSTR },
    { "VT_DISPATCH", VT_DISPATCH, 8, FADF_HAVEIID | FADF_DISPATCH },
    { "VT_ERROR", VT_ERROR, 4, FADF_HAVEVARTYPE },
    { "VT_BOOL", VT_BOOL, 2, FADF_HAVEVARTYPE },
    { "VT_VARIANT", VT_VARIANT, 24, FADF_HAVEVARTYPE | FADF_VARIANT },
    { "VT_UNKNOWN", VT_UNKNOWN, 8, FADF_HAVEIID | FADF_UNKNOWN },
    { "VT_DECIMAL", VT_DECIMAL, 16, FADF_HAVEVARTYPE },
    { "unassigned 15", 15, 0, 0 },
    { "VT_I1", VT_I1, 1, FADF_HAVEVARTYPE },
    { "VT_UI1", VT_UI1, 1, FADF_HAVEVARTYPE },
    { "VT_UI2", VT_UI2, 2, FADF_HAVEVARTYPE },
    { "VT_UI4", VT_UI4, 4, FADF_HAVEVARTYPE },
    { "VT_I8", VT_I8, 8, FADF_HAVEVARTYPE },
    { "VT_UI8", VT_UI8, 8, FADF_HAVEVARTYPE },
    { "VT_INT", VT_INT, 4, FADF_HAVEVARTYPE },
    { "VT_UINT", VT_UINT, 4, FADF_HAVEVARTYPE },
    { "VT_VOID", VT_VOID, 0, 0 },
    { "VT_LPWSTR", VT_LPWSTR, 0, 0 },
    { "VT_RECORD", VT_RECORD, 0, 0 },
    { "VT_INT_PTR", VT_INT_PTR, 8, FADF_HAVEVARTYPE },
    { "VT_UINT_PTR", VT_UINT_PTR, 8, FADF_HAVEVARTYPE },
    { "VT_CLSID", VT_CLSID, 0, 0 },
    { "VT_ARRAY|VT_I4", VT_ARRAY | VT_I4, 0, 0 },
    { "VT_BYREF|VT_I4", VT_BYREF | VT_I4, 0, 0 },
    { "-1", VARTYPE(-1), 0, 0 },
};

SAFEARRAY *vectorOf(VARTYPE vt, ULONG elements, LONG lowerBound = 0)
{
    SAFEARRAYBOUND bound{ elements, lowerBound };
    return SafeArrayCreate(vt, 1, &bound);
}

} // namespace

TEST(SafeArray, CreateSetsSizesFeaturesAndTypeMarksByElementType)
{
    SAFEARRAYBOUND bound{ 3, 0 };
    for (const ElementRow &row : elementRows) {
        SCOPED_TRACE(row.name);
        SAFEARRAY *array = SafeArrayCreate(row.vt, 1, &bound);
        SAFEARRAY *vector = SafeArrayCreateVector(row.vt, 0, 3);
        if (!row.size) {
            EXPECT_EQ(array, nullptr);
            EXPECT_EQ(vector, nullptr);
            continue;
        }
        ASSERT_NE(array, nullptr);
        ASSERT_NE(vector, nullptr);
        EXPECT_EQ(array->cbElements, row.size);
        EXPECT_EQ(SafeArrayGetElemsize(array), row.size);
        EXPECT_EQ(array->fFeatures, row.features);
        EXPECT_EQ(vector->fFeatures, row.features | createVectorFeature);
        EXPECT_EQ(vector->cbElements, row.size);
        VARTYPE vt = 0;
        ASSERT_EQ(SafeArrayGetVartype(array, &vt), S_OK);
        EXPECT_EQ(vt, row.vt);
        if (row.features & FADF_HAVEVARTYPE) {
            EXPECT_EQ(hiddenVarType(array), row.vt) << "the VARTYPE sits in the 4 bytes before the descriptor";
        } else {
            EXPECT_EQ(hiddenIid(array), row.vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown);
        }
        SAFEARRAY *copy = nullptr;
        ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
        EXPECT_EQ(copy->fFeatures, row.features);
        EXPECT_EQ(copy->cbElements, row.size);
        ASSERT_EQ(SafeArrayGetVartype(copy, &vt), S_OK);
        EXPECT_EQ(vt, row.vt);
        EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
        EXPECT_EQ(SafeArrayDestroy(array), S_OK);
        EXPECT_EQ(SafeArrayDestroy(vector), S_OK);
    }
}

TEST(SafeArray, CreateRefusesBadArguments)
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
    EXPECT_EQ(SafeArrayDestroyDescriptor(array), S_OK);
}

TEST(SafeArray, EmptyDimensionsAreAllowed)
{
    SAFEARRAYBOUND bound{ 0, 42 };
    SAFEARRAY *array = SafeArrayCreate(VT_I4, 1, &bound);
    ASSERT_NE(array, nullptr);
    LONG value = 0;
    ASSERT_EQ(SafeArrayGetLBound(array, 1, &value), S_OK);
    EXPECT_EQ(value, 42);
    ASSERT_EQ(SafeArrayGetUBound(array, 1, &value), S_OK);
    EXPECT_EQ(value, 41) << "upper bound of an empty dimension is lower bound - 1";
    void *data = nullptr;
    EXPECT_EQ(SafeArrayAccessData(array, &data), S_OK);
    EXPECT_EQ(SafeArrayUnaccessData(array), S_OK);
    LONG index = 42;
    EXPECT_EQ(SafeArrayGetElement(array, &index, &value), DISP_E_BADINDEX);

    bound.cElements = 2;
    EXPECT_EQ(SafeArrayRedim(array, &bound), S_OK);
    EXPECT_EQ(SafeArrayPutElement(array, &index, &value), S_OK);
    bound.cElements = 0;
    EXPECT_EQ(SafeArrayRedim(array, &bound), S_OK);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);

    SAFEARRAY *vector = SafeArrayCreateVector(VT_UI1, 0, 0);
    ASSERT_NE(vector, nullptr);
    EXPECT_EQ(SafeArrayDestroy(vector), S_OK);
}

TEST(SafeArray, IndicesNameDimensionsLeftToRight)
{
    // Dimension 1 has 42 elements from 1, dimension 2 has 2 from 23.
    SAFEARRAYBOUND bounds[2] = { { 42, 1 }, { 2, 23 } };
    SAFEARRAY *array = SafeArrayCreate(VT_I4, 2, bounds);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->rgsabound[0].cElements, 2u) << "rgsabound[0] is the last dimension";
    EXPECT_EQ(array->rgsabound[0].lLbound, 23);
    EXPECT_EQ(array->rgsabound[1].cElements, 42u);
    EXPECT_EQ(array->rgsabound[1].lLbound, 1);

    char *base = static_cast<char *>(array->pvData);
    struct Row {
        const char *name;
        LONG first;
        LONG second;
        HRESULT expected;
        ptrdiff_t offset;
    } rows[] = {
        { "origin", 1, 23, S_OK, 0 },
        { "first index varies fastest", 3, 23, S_OK, 8 },
        { "second index strides a column", 3, 24, S_OK, 176 },
        { "last of the first dimension", 42, 23, S_OK, 164 },
        { "last element", 42, 24, S_OK, 332 },
        { "first below", 0, 23, DISP_E_BADINDEX, 0 },
        { "first above", 43, 23, DISP_E_BADINDEX, 0 },
        { "second below", 1, 22, DISP_E_BADINDEX, 0 },
        { "second above", 1, 25, DISP_E_BADINDEX, 0 },
        { "far below", -2147483647 - 1, 23, DISP_E_BADINDEX, 0 },
        { "far above", 1, 2147483647, DISP_E_BADINDEX, 0 },
    };
    for (const Row &row : rows) {
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
    LONG indices[2] = { 1, 23 };
    void *element = nullptr;
    EXPECT_EQ(SafeArrayPtrOfIndex(nullptr, indices, &element), E_INVALIDARG);
    EXPECT_EQ(SafeArrayPtrOfIndex(array, nullptr, &element), E_INVALIDARG);
    EXPECT_EQ(SafeArrayPtrOfIndex(array, indices, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, ValuesRoundTripInFourDimensions)
{
    SAFEARRAYBOUND bounds[4];
    for (int d = 0; d < 4; ++d)
        bounds[d] = { ULONG(d * 3 + 1), LONG(d * 2 + 1) };
    SAFEARRAY *array = SafeArrayCreate(VT_INT, 4, bounds);
    ASSERT_NE(array, nullptr);
    LONG indices[4];
    auto forEach = [&](auto visit) {
        int counter = 0;
        for (indices[0] = 1; indices[0] < 2; ++indices[0])
            for (indices[1] = 3; indices[1] < 7; ++indices[1])
                for (indices[2] = 5; indices[2] < 12; ++indices[2])
                    for (indices[3] = 7; indices[3] < 17; ++indices[3])
                        visit(counter++);
    };
    forEach([&](int counter) { ASSERT_EQ(SafeArrayPutElement(array, indices, &counter), S_OK); });
    forEach([&](int counter) {
        int value = -1;
        ASSERT_EQ(SafeArrayGetElement(array, indices, &value), S_OK);
        ASSERT_EQ(value, counter);
    });
    // The first index varies fastest in memory, the last slowest.
    const int *data = static_cast<const int *>(array->pvData);
    EXPECT_EQ(data[0], 0);
    EXPECT_EQ(data[1], 70) << "second index 4 follows second index 3 directly";
    EXPECT_EQ(data[4], 10) << "then the third index steps";
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, BoundQueriesCheckTheirArguments)
{
    SAFEARRAYBOUND bounds[2] = { { 42, 1 }, { 2, 23 } };
    SAFEARRAY *array = SafeArrayCreate(VT_I4, 2, bounds);
    struct Row {
        const char *name;
        UINT dim;
        HRESULT expected;
        LONG lower;
        LONG upper;
    } rows[] = {
        { "dimension 0", 0, DISP_E_BADINDEX, 0, 0 },
        { "dimension 1", 1, S_OK, 1, 42 },
        { "dimension 2", 2, S_OK, 23, 24 },
        { "dimension 3", 3, DISP_E_BADINDEX, 0, 0 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        LONG lower = -99;
        LONG upper = -99;
        EXPECT_EQ(SafeArrayGetLBound(array, row.dim, &lower), row.expected);
        EXPECT_EQ(SafeArrayGetUBound(array, row.dim, &upper), row.expected);
        if (row.expected == S_OK) {
            EXPECT_EQ(lower, row.lower);
            EXPECT_EQ(upper, row.upper);
        }
    }
    LONG value;
    EXPECT_EQ(SafeArrayGetLBound(nullptr, 1, &value), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetUBound(array, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetDim(nullptr), 0u);
    EXPECT_EQ(SafeArrayGetElemsize(nullptr), 0u);
    VARTYPE vt;
    EXPECT_EQ(SafeArrayGetVartype(nullptr, &vt), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetVartype(array, nullptr), E_INVALIDARG);
    SAFEARRAY *untyped = nullptr;
    ASSERT_EQ(SafeArrayAllocDescriptor(1, &untyped), S_OK);
    EXPECT_EQ(SafeArrayGetVartype(untyped, &vt), E_INVALIDARG) << "no type marks on a bare descriptor";
    SafeArrayDestroyDescriptor(untyped);
    SafeArrayDestroy(array);
}

TEST(SafeArray, LocksCountUpTo65535AndUnlockChecksBalance)
{
    EXPECT_EQ(SafeArrayLock(nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayUnlock(nullptr), E_INVALIDARG);
    SAFEARRAY *arrays[] = { vectorOf(VT_UI1, 8), SafeArrayCreateVector(VT_UI1, 0, 100) };
    for (SAFEARRAY *array : arrays) {
        EXPECT_EQ(SafeArrayUnlock(array), E_UNEXPECTED);
        EXPECT_EQ(array->cLocks, 0u);
        int count = 0;
        HRESULT hr;
        while ((hr = SafeArrayLock(array)) == S_OK && count < 70000)
            ++count;
        EXPECT_EQ(count, 65535);
        EXPECT_EQ(hr, E_UNEXPECTED);
        EXPECT_EQ(array->cLocks, 65535u);
        while ((hr = SafeArrayUnlock(array)) == S_OK && count > -5)
            --count;
        EXPECT_EQ(count, 0);
        EXPECT_EQ(hr, E_UNEXPECTED);
        EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    }
}

TEST(SafeArray, LockedArraysRefuseDestructionAndResizing)
{
    SAFEARRAY *array = vectorOf(VT_BSTR, 4);
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
    BSTR value = SysAllocString(u"Test");
    ASSERT_EQ(SafeArrayPutElement(array, &index, value), S_OK);
    BSTR stored = static_cast<BSTR *>(array->pvData)[0];
    EXPECT_NE(stored, value);
    EXPECT_EQ(std::u16string(stored), u"Test");

    BSTR replacement = SysAllocString(u"Replaced");
    ASSERT_EQ(SafeArrayPutElement(array, &index, replacement), S_OK); // old element freed (sanitizer)
    BSTR got = nullptr;
    ASSERT_EQ(SafeArrayGetElement(array, &index, &got), S_OK);
    EXPECT_NE(got, static_cast<BSTR *>(array->pvData)[0]);
    EXPECT_EQ(std::u16string(got), u"Replaced");

    index = 2;
    ASSERT_EQ(SafeArrayPutElement(array, &index, nullptr), S_OK);
    BSTR empty = static_cast<BSTR *>(array->pvData)[1];
    ASSERT_NE(empty, nullptr) << "a null string is stored as an empty one";
    EXPECT_EQ(SysStringLen(empty), 0u);

    EXPECT_EQ(SafeArrayGetElement(array, &index, nullptr), E_INVALIDARG);
    EXPECT_EQ(SafeArrayPutElement(nullptr, &index, value), E_INVALIDARG);
    EXPECT_EQ(SafeArrayPutElement(array, nullptr, value), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetElement(array, nullptr, &got), E_INVALIDARG);
    SysFreeString(value);
    SysFreeString(replacement);
    SysFreeString(got);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(SafeArray, InterfaceElementsBalanceTheirReferences)
{
    for (VARTYPE vt : { VARTYPE(VT_UNKNOWN), VARTYPE(VT_DISPATCH) }) {
        SCOPED_TRACE(vt);
        CountingDispatch first;
        CountingDispatch second;
        SAFEARRAY *array = vectorOf(vt, 2, 1);
        LONG index = 1;
        ASSERT_EQ(SafeArrayPutElement(array, &index, static_cast<IDispatch *>(&first)), S_OK);
        EXPECT_EQ(first.references, 2u);
        IUnknown *got = nullptr;
        ASSERT_EQ(SafeArrayGetElement(array, &index, &got), S_OK);
        EXPECT_EQ(got, static_cast<IUnknown *>(&first));
        EXPECT_EQ(first.references, 3u);
        got->Release();
        ASSERT_EQ(SafeArrayPutElement(array, &index, static_cast<IDispatch *>(&second)), S_OK);
        EXPECT_EQ(first.references, 1u) << "the replaced element is released";
        EXPECT_EQ(second.references, 2u);
        index = 2;
        ASSERT_EQ(SafeArrayPutElement(array, &index, static_cast<IDispatch *>(&first)), S_OK);

        SAFEARRAY *copy = nullptr;
        ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
        EXPECT_EQ(first.references, 3u);
        EXPECT_EQ(second.references, 3u);

        SAFEARRAYBOUND shorter{ 1, 1 };
        ASSERT_EQ(SafeArrayRedim(copy, &shorter), S_OK);
        EXPECT_EQ(first.references, 2u) << "the dropped element is released";
        EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
        EXPECT_EQ(second.references, 2u);
        EXPECT_EQ(SafeArrayDestroy(array), S_OK);
        EXPECT_EQ(first.references, 1u);
        EXPECT_EQ(second.references, 1u);
    }
}

TEST(SafeArray, VariantElementsAreDeepCopies)
{
    CountingDispatch object;
    SAFEARRAY *array = vectorOf(VT_VARIANT, 3);
    LONG index = 0;
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(u"inside a variant");
    ASSERT_EQ(SafeArrayPutElement(array, &index, &value), S_OK);
    VariantClear(&value);
    index = 1;
    value.vt = VT_DISPATCH;
    value.pdispVal = &object;
    ASSERT_EQ(SafeArrayPutElement(array, &index, &value), S_OK);
    EXPECT_EQ(object.references, 2u);

    VARIANT got;
    got.vt = 0xDEAD; // uninitialised destination: its contents are ignored
    index = 0;
    ASSERT_EQ(SafeArrayGetElement(array, &index, &got), S_OK);
    EXPECT_EQ(got.vt, VT_BSTR);
    EXPECT_EQ(std::u16string(got.bstrVal), u"inside a variant");
    VariantClear(&got);

    VARIANT bad;
    VariantInit(&bad);
    bad.vt = VT_VOID;
    EXPECT_EQ(SafeArrayPutElement(array, &index, &bad), DISP_E_BADVARTYPE);
    EXPECT_EQ(SafeArrayPutElement(array, &index, nullptr), E_INVALIDARG);

    SAFEARRAY *copy = nullptr;
    ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
    EXPECT_EQ(object.references, 3u);
    VARIANT *copied = static_cast<VARIANT *>(copy->pvData);
    EXPECT_NE(copied[0].bstrVal, static_cast<VARIANT *>(array->pvData)[0].bstrVal);
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
    BSTR text = SysAllocString(u"copied");
    SafeArrayPutElement(source, indices, text);
    SafeArrayPutElement(target, indices, text); // replaced (and freed) by the copy
    SysFreeString(text);
    ASSERT_EQ(SafeArrayCopyData(source, target), S_OK);
    BSTR got = nullptr;
    ASSERT_EQ(SafeArrayGetElement(target, indices, &got), S_OK);
    EXPECT_EQ(std::u16string(got), u"copied");
    SysFreeString(got);

    EXPECT_EQ(SafeArrayCopyData(nullptr, target), E_INVALIDARG);
    EXPECT_EQ(SafeArrayCopyData(source, nullptr), E_INVALIDARG);
    SAFEARRAYBOUND other[2] = { { 3, 0 }, { 3, 5 } };
    SAFEARRAY *larger = SafeArrayCreate(VT_BSTR, 2, other);
    EXPECT_EQ(SafeArrayCopyData(source, larger), E_INVALIDARG);
    SAFEARRAY *differentType = SafeArrayCreate(VT_I4, 2, bounds);
    EXPECT_EQ(SafeArrayCopyData(source, differentType), E_INVALIDARG) << "element sizes differ";
    SAFEARRAY *oneDimension = vectorOf(VT_BSTR, 6);
    EXPECT_EQ(SafeArrayCopyData(source, oneDimension), E_INVALIDARG);

    for (SAFEARRAY *array : { source, target, larger, differentType, oneDimension })
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
        EXPECT_NE(copy, bare);
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
    ASSERT_EQ(SafeArrayGetLBound(vector, 1, &value), S_OK);
    EXPECT_EQ(value, -3);
    ASSERT_EQ(SafeArrayGetUBound(vector, 1, &value), S_OK);
    EXPECT_EQ(value, 6);

    ASSERT_EQ(SafeArrayDestroyData(vector), S_OK);
    EXPECT_EQ(vector->fFeatures, FADF_HAVEVARTYPE) << "destroying the data drops the vector mark";
    EXPECT_EQ(vector->pvData, nullptr);
    ASSERT_EQ(SafeArrayAllocData(vector), S_OK);
    EXPECT_EQ(SafeArrayDestroy(vector), S_OK);

    // A vector of strings frees its elements with the descriptor alone.
    SAFEARRAY *strings = SafeArrayCreateVector(VT_BSTR, 0, 2);
    LONG index = 1;
    BSTR text = SysAllocString(u"vector element");
    SafeArrayPutElement(strings, &index, text);
    SysFreeString(text);
    EXPECT_EQ(SafeArrayDestroyDescriptor(strings), S_OK);
}

TEST(SafeArray, RedimChangesTheLastDimensionAndKeepsData)
{
    SAFEARRAY *array = nullptr;
    ASSERT_EQ(SafeArrayAllocDescriptor(2, &array), S_OK);
    array->rgsabound[0] = { 2, 1 }; // last dimension
    array->rgsabound[1] = { 4, 1 }; // first dimension
    array->cbElements = 2;
    ASSERT_EQ(SafeArrayAllocData(array), S_OK);
    LONG indices[2] = { 4, 2 };
    void *element = nullptr;
    ASSERT_EQ(SafeArrayPtrOfIndex(array, indices, &element), S_OK);
    EXPECT_EQ(static_cast<char *>(element) - static_cast<char *>(array->pvData), 14);
    *static_cast<WORD *>(element) = 0x55AA;

    SAFEARRAYBOUND bound{ 10, 1 };
    ASSERT_EQ(SafeArrayRedim(array, &bound), S_OK);
    EXPECT_EQ(array->rgsabound[0].cElements, 10u);
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

TEST(SafeArray, RedimOfAVectorMovesItsDataOut)
{
    SAFEARRAY *vector = SafeArrayCreateVector(VT_BSTR, 0, 2);
    LONG index = 1;
    BSTR text = SysAllocString(u"moves along");
    SafeArrayPutElement(vector, &index, text);
    SysFreeString(text);
    SAFEARRAYBOUND bound{ 50, 0 };
    ASSERT_EQ(SafeArrayRedim(vector, &bound), S_OK);
    BSTR got = nullptr;
    ASSERT_EQ(SafeArrayGetElement(vector, &index, &got), S_OK);
    EXPECT_EQ(std::u16string(got), u"moves along");
    SysFreeString(got);
    EXPECT_EQ(SafeArrayDestroy(vector), S_OK); // both blocks freed (sanitizer)
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
    EXPECT_EQ(array->fFeatures, FADF_HAVEVARTYPE);
    EXPECT_EQ(SafeArrayDestroyData(array), S_OK) << "nothing left to destroy is fine";
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}
