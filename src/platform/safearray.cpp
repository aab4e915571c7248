// SAFEARRAY in the Windows layout.
//
// A descriptor is preceded by 16 hidden bytes in the same malloc block:
// the element interface's IID for FADF_HAVEIID arrays, the VARTYPE in the
// last 4 bytes for FADF_HAVEVARTYPE arrays, the IRecordInfo pointer in the
// last 8 bytes for FADF_RECORD arrays. rgsabound holds the dimensions right
// to left: rgsabound[0] is the last dimension, the one that varies slowest
// in memory and the one SafeArrayRedim changes. Index arrays name the
// dimensions left to right, the first varying fastest.
//
// Functions on one array are not synchronised beyond the atomic lock count,
// as on Windows.
#include <cstdlib>
#include <cstring>

#include "interfaces/dispatch.h"
#include "platform/oleauto.h"

namespace {

constexpr size_t hiddenBytes = sizeof(GUID);
// Features Windows keeps in the reserved bits.
constexpr USHORT featureCreateVector = 0x2000; // descriptor and data are one block
constexpr ULONG maximumLocks = 0xFFFF;
// Features a copy does not inherit: they describe the source's storage.
constexpr USHORT storageFeatures = FADF_AUTO | FADF_STATIC | FADF_EMBEDDED | FADF_FIXEDSIZE | featureCreateVector;

// Element size by VARTYPE; 0 where Windows refuses to create such an array.
struct ElementType {
    VARTYPE vt;
    ULONG size;
    USHORT feature; // the FADF_ flag of elements that own something
};
constexpr ElementType elementTypes[] = {
    { VT_I2, sizeof(SHORT), 0 },
    { VT_I4, sizeof(LONG), 0 },
    { VT_R4, sizeof(FLOAT), 0 },
    { VT_R8, sizeof(DOUBLE), 0 },
    { VT_CY, sizeof(CY), 0 },
    { VT_DATE, sizeof(DATE), 0 },
    { VT_BSTR, sizeof(BSTR), FADF_BSTR },
    { VT_DISPATCH, sizeof(IDispatch *), FADF_DISPATCH },
    { VT_ERROR, sizeof(SCODE), 0 },
    { VT_BOOL, sizeof(VARIANT_BOOL), 0 },
    { VT_VARIANT, sizeof(VARIANT), FADF_VARIANT },
    { VT_UNKNOWN, sizeof(IUnknown *), FADF_UNKNOWN },
    { VT_DECIMAL, sizeof(DECIMAL), 0 },
    { VT_I1, sizeof(CHAR), 0 },
    { VT_UI1, sizeof(BYTE), 0 },
    { VT_UI2, sizeof(USHORT), 0 },
    { VT_UI4, sizeof(ULONG), 0 },
    { VT_I8, sizeof(LONGLONG), 0 },
    { VT_UI8, sizeof(ULONGLONG), 0 },
    { VT_INT, sizeof(INT), 0 },
    { VT_UINT, sizeof(UINT), 0 },
    { VT_INT_PTR, sizeof(LONG_PTR), 0 },
    { VT_UINT_PTR, sizeof(ULONG_PTR), 0 },
};

const ElementType *elementType(VARTYPE vt)
{
    for (const ElementType &type : elementTypes) {
        if (type.vt == vt)
            return &type;
    }
    return nullptr;
}

char *hiddenArea(SAFEARRAY *array)
{
    return reinterpret_cast<char *>(array) - hiddenBytes;
}

void setHiddenVarType(SAFEARRAY *array, VARTYPE vt)
{
    const DWORD value = vt;
    std::memcpy(hiddenArea(array) + hiddenBytes - sizeof(DWORD), &value, sizeof value);
}

VARTYPE hiddenVarType(SAFEARRAY *array)
{
    DWORD value;
    std::memcpy(&value, hiddenArea(array) + hiddenBytes - sizeof(DWORD), sizeof value);
    return VARTYPE(value);
}

IRecordInfo *hiddenRecordInfo(SAFEARRAY *array)
{
    IRecordInfo *info;
    std::memcpy(&info, hiddenArea(array) + hiddenBytes - sizeof info, sizeof info);
    return info;
}

void setHiddenRecordInfo(SAFEARRAY *array, IRecordInfo *info)
{
    std::memcpy(hiddenArea(array) + hiddenBytes - sizeof info, &info, sizeof info);
}

// The type marks Windows gives a descriptor made for vt: an IID for
// interfaces, FADF_RECORD for records, the VARTYPE for everything else.
void setTypeFeatures(SAFEARRAY *array, VARTYPE vt)
{
    if (vt == VT_DISPATCH || vt == VT_UNKNOWN) {
        array->fFeatures = FADF_HAVEIID;
        const GUID &iid = vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown;
        std::memcpy(hiddenArea(array), &iid, sizeof iid);
    } else if (vt == VT_RECORD) {
        array->fFeatures = FADF_RECORD;
    } else {
        array->fFeatures = FADF_HAVEVARTYPE;
        setHiddenVarType(array, vt);
    }
}

// Allocates a zeroed descriptor of dims dimensions with extraBytes after it.
SAFEARRAY *allocateDescriptor(UINT dims, size_t extraBytes)
{
    const size_t descriptorBytes = sizeof(SAFEARRAY) + sizeof(SAFEARRAYBOUND) * (dims - 1);
    char *block = static_cast<char *>(std::calloc(1, hiddenBytes + descriptorBytes + extraBytes));
    if (!block)
        return nullptr;
    SAFEARRAY *array = reinterpret_cast<SAFEARRAY *>(block + hiddenBytes);
    array->cDims = USHORT(dims);
    return array;
}

// Number of elements, 0 when any dimension is empty; saturates so that
// sizes computed from it fail allocation instead of wrapping.
size_t cellCount(const SAFEARRAY *array)
{
    size_t count = 1;
    for (USHORT i = 0; i < array->cDims; ++i) {
        const ULONG elements = array->rgsabound[i].cElements;
        if (!elements)
            return 0;
        if (count > SIZE_MAX / elements)
            return SIZE_MAX;
        count *= elements;
    }
    return count;
}

// Bytes of the data block, or SIZE_MAX when it cannot exist.
size_t dataBytes(const SAFEARRAY *array)
{
    const size_t count = cellCount(array);
    if (array->cbElements && count > (SIZE_MAX / 2) / array->cbElements)
        return SIZE_MAX;
    return count * array->cbElements;
}

void *allocateData(size_t bytes)
{
    if (bytes == SIZE_MAX)
        return nullptr;
    return std::calloc(1, bytes ? bytes : 1);
}

bool dataIsInline(const SAFEARRAY *array)
{
    return (array->fFeatures & featureCreateVector) && array->pvData == array->rgsabound + array->cDims;
}

// Releases what the elements from firstCell on own; the memory stays.
void releaseElements(SAFEARRAY *array, size_t firstCell)
{
    if (!array->pvData)
        return;
    const size_t count = cellCount(array);
    if (firstCell >= count)
        return;
    char *cell = static_cast<char *>(array->pvData) + firstCell * array->cbElements;
    const char *end = static_cast<char *>(array->pvData) + count * array->cbElements;
    for (; cell < end; cell += array->cbElements) {
        if (array->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
            IUnknown *object = *reinterpret_cast<IUnknown **>(cell);
            if (object)
                object->Release();
        } else if (array->fFeatures & FADF_RECORD) {
            if (IRecordInfo *info = hiddenRecordInfo(array))
                info->RecordClear(cell);
        } else if (array->fFeatures & FADF_BSTR) {
            SysFreeString(*reinterpret_cast<BSTR *>(cell));
        } else if (array->fFeatures & FADF_VARIANT) {
            VariantClear(reinterpret_cast<VARIANT *>(cell));
        }
    }
}

// Copies one element from source to an initialised destination cell,
// releasing what the cell held, by the array's features.
HRESULT copyElement(const SAFEARRAY *array, const void *source, void *dest)
{
    if (array->fFeatures & FADF_VARIANT)
        return VariantCopy(static_cast<VARIANT *>(dest), static_cast<const VARIANT *>(source));
    if (array->fFeatures & FADF_BSTR) {
        BSTR *target = static_cast<BSTR *>(dest);
        const BSTR text = *static_cast<const BSTR *>(source);
        BSTR copy = text ? SysAllocStringByteLen(reinterpret_cast<LPCSTR>(text), SysStringByteLen(text)) : nullptr;
        if (text && !copy)
            return E_OUTOFMEMORY;
        SysFreeString(*target);
        *target = copy;
        return S_OK;
    }
    if (array->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
        IUnknown **target = static_cast<IUnknown **>(dest);
        IUnknown *object = *static_cast<IUnknown *const *>(source);
        if (object)
            object->AddRef();
        if (*target)
            (*target)->Release();
        *target = object;
        return S_OK;
    }
    if (array->fFeatures & FADF_RECORD) {
        IRecordInfo *info = hiddenRecordInfo(const_cast<SAFEARRAY *>(array));
        return info ? info->RecordCopy(const_cast<void *>(source), dest) : E_INVALIDARG;
    }
    std::memcpy(dest, source, array->cbElements);
    return S_OK;
}

// Copies every element of source into dest, whose data block has the same
// shape, and gives dest the source's features and type marks.
HRESULT copyAllData(SAFEARRAY *source, SAFEARRAY *dest)
{
    if (!source->pvData)
        return S_OK;
    if (!dest->pvData)
        return E_INVALIDARG;
    IRecordInfo *oldInfo = (dest->fFeatures & FADF_RECORD) ? hiddenRecordInfo(dest) : nullptr;
    dest->fFeatures = USHORT((dest->fFeatures & featureCreateVector)
                             | (source->fFeatures & ~storageFeatures));
    const size_t count = cellCount(source);
    if (source->fFeatures & (FADF_VARIANT | FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_RECORD)) {
        const char *from = static_cast<const char *>(source->pvData);
        char *to = static_cast<char *>(dest->pvData);
        for (size_t i = 0; i < count; ++i) {
            const HRESULT hr = copyElement(source, from + i * source->cbElements, to + i * source->cbElements);
            if (FAILED(hr))
                return hr;
        }
    } else {
        std::memcpy(dest->pvData, source->pvData, count * source->cbElements);
    }
    std::memcpy(hiddenArea(dest), hiddenArea(source), hiddenBytes);
    if (IRecordInfo *info = (source->fFeatures & FADF_RECORD) ? hiddenRecordInfo(source) : nullptr)
        info->AddRef();
    if (oldInfo)
        oldInfo->Release();
    return S_OK;
}

// Runs an element access with the array locked, as Windows does, so that
// the array cannot be destroyed meanwhile.
template <typename Access>
HRESULT withElement(SAFEARRAY *array, LONG *indices, Access access)
{
    HRESULT hr = SafeArrayLock(array);
    if (FAILED(hr))
        return hr;
    void *element = nullptr;
    hr = SafeArrayPtrOfIndex(array, indices, &element);
    if (SUCCEEDED(hr))
        hr = access(element);
    SafeArrayUnlock(array);
    return hr;
}

// Bound of dimension dim (1 is the leftmost); shared by the two queries.
HRESULT boundOf(SAFEARRAY *array, UINT dim, LONG *result, bool upper)
{
    if (!array || !result)
        return E_INVALIDARG;
    if (!dim || dim > array->cDims)
        return DISP_E_BADINDEX;
    const SAFEARRAYBOUND &bound = array->rgsabound[array->cDims - dim];
    *result = upper ? LONG(int64_t(bound.lLbound) + bound.cElements - 1) : bound.lLbound;
    return S_OK;
}

} // namespace

/// SafeArrayAllocDescriptor: allocates a zeroed descriptor.
///   dims [in]: number of dimensions, 1 to 65535.
///   array [out]: the descriptor; fFeatures and cbElements are 0.
/// Returns S_OK, E_INVALIDARG for 0 or too many dimensions, E_POINTER for a
/// null array, E_OUTOFMEMORY.
PLATFORM_API HRESULT SafeArrayAllocDescriptor(UINT dims, SAFEARRAY **array)
{
    if (!dims || dims > 0xFFFF)
        return E_INVALIDARG;
    if (!array)
        return E_POINTER;
    *array = allocateDescriptor(dims, 0);
    return *array ? S_OK : E_OUTOFMEMORY;
}

/// SafeArrayAllocData: allocates the zeroed data block for a descriptor's
/// bounds and element size.
///   array [in/out]: the descriptor; pvData receives the block.
/// Returns S_OK, E_INVALIDARG for null, E_OUTOFMEMORY.
PLATFORM_API HRESULT SafeArrayAllocData(SAFEARRAY *array)
{
    if (!array)
        return E_INVALIDARG;
    void *data = allocateData(dataBytes(array));
    if (!data)
        return E_OUTOFMEMORY;
    array->pvData = data;
    return S_OK;
}

/// SafeArrayCreate: creates an array of elements of type vt.
///   vt [in]: the element type.
///   dims [in]: number of dimensions.
///   bounds [in]: the dimensions left to right (stored right to left).
/// Returns the array with zeroed elements, or null for a null bounds, 0
/// dimensions, a type Windows does not create arrays of (VT_RECORD among
/// them: it needs SafeArrayCreateEx) or lack of memory.
PLATFORM_API SAFEARRAY *SafeArrayCreate(VARTYPE vt, UINT dims, SAFEARRAYBOUND *bounds)
{
    const ElementType *type = elementType(vt);
    if (!bounds || !type || !dims || dims > 0xFFFF)
        return nullptr;
    SAFEARRAY *array = allocateDescriptor(dims, 0);
    if (!array)
        return nullptr;
    setTypeFeatures(array, vt);
    array->fFeatures |= type->feature;
    array->cbElements = type->size;
    for (UINT i = 0; i < dims; ++i)
        array->rgsabound[i] = bounds[dims - 1 - i];
    if (FAILED(SafeArrayAllocData(array))) {
        SafeArrayDestroyDescriptor(array);
        return nullptr;
    }
    return array;
}

/// SafeArrayCreateVector: creates a one-dimensional array whose data follows
/// the descriptor in the same block, as Windows does.
///   vt [in]: the element type.
///   lowerBound [in]: index of the first element.
///   elements [in]: number of elements.
/// Returns the array with zeroed elements, or null for VT_RECORD, a type
/// Windows does not create arrays of, or lack of memory.
PLATFORM_API SAFEARRAY *SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG elements)
{
    const ElementType *type = elementType(vt);
    if (!type)
        return nullptr;
    const size_t bytes = size_t(elements) * type->size;
    SAFEARRAY *array = allocateDescriptor(1, bytes);
    if (!array)
        return nullptr;
    setTypeFeatures(array, vt);
    array->fFeatures |= USHORT(type->feature | featureCreateVector);
    array->cbElements = type->size;
    array->rgsabound[0].cElements = elements;
    array->rgsabound[0].lLbound = lowerBound;
    array->pvData = array->rgsabound + 1;
    return array;
}

/// SafeArrayDestroyDescriptor: frees a descriptor (and the data of a vector
/// made by SafeArrayCreateVector, whose elements are released first).
///   array [in]: the descriptor, or null.
/// Returns S_OK, DISP_E_ARRAYISLOCKED for a locked array.
PLATFORM_API HRESULT SafeArrayDestroyDescriptor(SAFEARRAY *array)
{
    if (!array)
        return S_OK;
    if (array->cLocks)
        return DISP_E_ARRAYISLOCKED;
    // A vector owns its data until SafeArrayDestroyData, which also drops
    // the vector mark.
    if (array->fFeatures & featureCreateVector) {
        releaseElements(array, 0);
        if (!dataIsInline(array))
            std::free(array->pvData); // SafeArrayRedim moved it out of the block
    }
    if (array->fFeatures & FADF_RECORD) {
        if (IRecordInfo *info = hiddenRecordInfo(array))
            info->Release();
        setHiddenRecordInfo(array, nullptr);
    }
    std::free(hiddenArea(array));
    return S_OK;
}

/// SafeArrayDestroyData: releases the elements and frees the data block.
///   array [in/out]: the array; pvData becomes null, except for FADF_STATIC
///                   arrays (zeroed, kept). A vector loses FADF_CREATEVECTOR,
///                   as on Windows; its data stays part of the descriptor's
///                   block until that is freed.
/// Returns S_OK, E_INVALIDARG for null, DISP_E_ARRAYISLOCKED for a locked
/// array.
PLATFORM_API HRESULT SafeArrayDestroyData(SAFEARRAY *array)
{
    if (!array)
        return E_INVALIDARG;
    if (array->cLocks)
        return DISP_E_ARRAYISLOCKED;
    releaseElements(array, 0);
    if (!array->pvData)
        return S_OK;
    if (array->fFeatures & FADF_STATIC) {
        const size_t bytes = dataBytes(array);
        if (bytes != SIZE_MAX)
            std::memset(array->pvData, 0, bytes);
        return S_OK;
    }
    if (!dataIsInline(array))
        std::free(array->pvData);
    array->pvData = nullptr;
    array->fFeatures &= USHORT(~featureCreateVector);
    return S_OK;
}

/// SafeArrayDestroy: destroys an array's data and descriptor.
///   array [in]: the array, or null.
/// Returns S_OK, DISP_E_ARRAYISLOCKED for a locked array (nothing happens).
PLATFORM_API HRESULT SafeArrayDestroy(SAFEARRAY *array)
{
    if (!array)
        return S_OK;
    if (array->cLocks)
        return DISP_E_ARRAYISLOCKED;
    SafeArrayDestroyData(array);
    return SafeArrayDestroyDescriptor(array);
}

/// SafeArrayGetDim: number of dimensions; 0 for null.
PLATFORM_API UINT SafeArrayGetDim(SAFEARRAY *array)
{
    return array ? array->cDims : 0;
}

/// SafeArrayGetElemsize: size of an element in bytes; 0 for null.
PLATFORM_API UINT SafeArrayGetElemsize(SAFEARRAY *array)
{
    return array ? array->cbElements : 0;
}

/// SafeArrayGetVartype: the element type an array was made for.
///   array [in]: the array.
///   vt [out]: VT_RECORD, VT_DISPATCH, VT_UNKNOWN or the stored VARTYPE.
/// Returns S_OK, E_INVALIDARG for null pointers or an array without type
/// marks (one made by SafeArrayAllocDescriptor).
PLATFORM_API HRESULT SafeArrayGetVartype(SAFEARRAY *array, VARTYPE *vt)
{
    if (!array || !vt)
        return E_INVALIDARG;
    if (array->fFeatures & FADF_RECORD)
        *vt = VT_RECORD;
    else if ((array->fFeatures & (FADF_HAVEIID | FADF_DISPATCH)) == (FADF_HAVEIID | FADF_DISPATCH))
        *vt = VT_DISPATCH;
    else if (array->fFeatures & FADF_HAVEIID)
        *vt = VT_UNKNOWN;
    else if (array->fFeatures & FADF_HAVEVARTYPE)
        *vt = hiddenVarType(array);
    else
        return E_INVALIDARG;
    return S_OK;
}

/// SafeArrayGetLBound: lower bound of a dimension.
///   array [in]: the array.
///   dim [in]: the dimension, 1 for the leftmost.
///   lowerBound [out]: its lower bound.
/// Returns S_OK, E_INVALIDARG for null pointers, DISP_E_BADINDEX for a
/// dimension outside 1..cDims.
PLATFORM_API HRESULT SafeArrayGetLBound(SAFEARRAY *array, UINT dim, LONG *lowerBound)
{
    return boundOf(array, dim, lowerBound, false);
}

/// SafeArrayGetUBound: upper bound of a dimension (lower bound - 1 when the
/// dimension is empty).
///   array [in]: the array.
///   dim [in]: the dimension, 1 for the leftmost.
///   upperBound [out]: its upper bound.
/// Returns S_OK, E_INVALIDARG for null pointers, DISP_E_BADINDEX for a
/// dimension outside 1..cDims.
PLATFORM_API HRESULT SafeArrayGetUBound(SAFEARRAY *array, UINT dim, LONG *upperBound)
{
    return boundOf(array, dim, upperBound, true);
}

/// SafeArrayLock: increments the lock count; a locked array cannot be
/// destroyed or resized. Atomic, so any thread may call it.
/// Returns S_OK, E_INVALIDARG for null, E_UNEXPECTED when the count would
/// pass 65535.
PLATFORM_API HRESULT SafeArrayLock(SAFEARRAY *array)
{
    if (!array)
        return E_INVALIDARG;
    if (__atomic_add_fetch(&array->cLocks, 1, __ATOMIC_ACQ_REL) > maximumLocks) {
        __atomic_sub_fetch(&array->cLocks, 1, __ATOMIC_ACQ_REL);
        return E_UNEXPECTED;
    }
    return S_OK;
}

/// SafeArrayUnlock: decrements the lock count. Atomic, like SafeArrayLock.
/// Returns S_OK, E_INVALIDARG for null, E_UNEXPECTED when it is not locked.
PLATFORM_API HRESULT SafeArrayUnlock(SAFEARRAY *array)
{
    if (!array)
        return E_INVALIDARG;
    if (LONG(__atomic_sub_fetch(&array->cLocks, 1, __ATOMIC_ACQ_REL)) < 0) {
        __atomic_add_fetch(&array->cLocks, 1, __ATOMIC_ACQ_REL);
        return E_UNEXPECTED;
    }
    return S_OK;
}

/// SafeArrayAccessData: locks an array and hands out its data.
///   array [in]: the array.
///   data [out]: pvData, or null on failure.
/// Returns S_OK, E_INVALIDARG for null pointers, E_UNEXPECTED as
/// SafeArrayLock.
PLATFORM_API HRESULT SafeArrayAccessData(SAFEARRAY *array, void **data)
{
    if (!array || !data)
        return E_INVALIDARG;
    const HRESULT hr = SafeArrayLock(array);
    *data = SUCCEEDED(hr) ? array->pvData : nullptr;
    return hr;
}

/// SafeArrayUnaccessData: ends SafeArrayAccessData (unlocks).
/// Returns S_OK, E_INVALIDARG for null, E_UNEXPECTED when not locked.
PLATFORM_API HRESULT SafeArrayUnaccessData(SAFEARRAY *array)
{
    return SafeArrayUnlock(array);
}

/// SafeArrayPtrOfIndex: address of an element.
///   array [in]: the array.
///   indices [in]: one index per dimension, leftmost dimension first.
///   element [out]: the element's address.
/// Returns S_OK, E_INVALIDARG for null pointers, DISP_E_BADINDEX for an index
/// out of bounds.
PLATFORM_API HRESULT SafeArrayPtrOfIndex(SAFEARRAY *array, LONG *indices, void **element)
{
    if (!array || !indices || !element)
        return E_INVALIDARG;
    size_t cell = 0;
    size_t stride = 1;
    for (USHORT d = 0; d < array->cDims; ++d) {
        const SAFEARRAYBOUND &bound = array->rgsabound[array->cDims - 1 - d];
        const int64_t offset = int64_t(indices[d]) - bound.lLbound;
        if (offset < 0 || offset >= int64_t(bound.cElements))
            return DISP_E_BADINDEX;
        cell += size_t(offset) * stride;
        stride *= bound.cElements;
    }
    *element = static_cast<char *>(array->pvData) + cell * array->cbElements;
    return S_OK;
}

/// SafeArrayPutElement: stores a copy of a value in an element.
///   array [in/out]: the array (locked while the element is written).
///   indices [in]: one index per dimension, leftmost dimension first.
///   value [in]: the value: a VARIANT* for variant arrays, the BSTR itself
///               for string arrays, the interface pointer itself for
///               interface arrays, else a pointer to the element's bytes.
///               Strings and variants are copied, interfaces gain a
///               reference; the element's old value is released.
/// Returns S_OK, E_INVALIDARG for null pointers, DISP_E_BADINDEX,
/// E_OUTOFMEMORY, or the failure of the variant copy.
PLATFORM_API HRESULT SafeArrayPutElement(SAFEARRAY *array, LONG *indices, void *value)
{
    if (!array || !indices)
        return E_INVALIDARG;
    return withElement(array, indices, [&](void *element) -> HRESULT {
        if (array->fFeatures & FADF_BSTR) {
            // A null string is stored as an empty one, as on Windows.
            const BSTR text = static_cast<BSTR>(value);
            BSTR copy = SysAllocStringLen(text, SysStringLen(text));
            if (!copy)
                return E_OUTOFMEMORY;
            SysFreeString(*static_cast<BSTR *>(element));
            *static_cast<BSTR *>(element) = copy;
            return S_OK;
        }
        if (array->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH))
            return copyElement(array, &value, element);
        if (!value)
            return E_INVALIDARG;
        return copyElement(array, value, element);
    });
}

/// SafeArrayGetElement: copies an element out.
///   array [in]: the array (locked while the element is read).
///   indices [in]: one index per dimension, leftmost dimension first.
///   value [out]: receives the copy, which the caller owns: a VARIANT (its
///                old contents are ignored), a BSTR, an interface pointer
///                with a new reference, or the element's bytes.
/// Returns S_OK, E_INVALIDARG for null pointers, DISP_E_BADINDEX,
/// E_OUTOFMEMORY, or the failure of the variant copy.
PLATFORM_API HRESULT SafeArrayGetElement(SAFEARRAY *array, LONG *indices, void *value)
{
    if (!array || !indices || !value)
        return E_INVALIDARG;
    return withElement(array, indices, [&](void *element) -> HRESULT {
        // The destination is uninitialised memory: start it empty so that the
        // copy releases nothing.
        if (array->fFeatures & FADF_VARIANT) {
            static_cast<VARIANT *>(value)->vt = VT_EMPTY;
        } else if (array->fFeatures & FADF_BSTR) {
            // Whole units, as Windows copies string elements.
            const BSTR text = *static_cast<BSTR *>(element);
            BSTR copy = text ? SysAllocStringLen(text, SysStringLen(text)) : nullptr;
            *static_cast<BSTR *>(value) = copy;
            return text && !copy ? E_OUTOFMEMORY : S_OK;
        } else if (array->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
            *static_cast<IUnknown **>(value) = nullptr;
        }
        return copyElement(array, element, value);
    });
}

/// SafeArrayCopy: deep copy of an array.
///   source [in]: the array, or null (gives a null copy).
///   dest [out]: the copy, with its own data block (also for vectors),
///               strings and variants copied, interfaces with a new
///               reference.
/// Returns S_OK, E_INVALIDARG for a null dest or a source without element
/// size, E_OUTOFMEMORY.
PLATFORM_API HRESULT SafeArrayCopy(SAFEARRAY *source, SAFEARRAY **dest)
{
    if (!dest)
        return E_INVALIDARG;
    *dest = nullptr;
    if (!source)
        return S_OK;
    if (!source->cbElements)
        return E_INVALIDARG;
    SAFEARRAY *copy = allocateDescriptor(source->cDims, 0);
    if (!copy)
        return E_OUTOFMEMORY;
    copy->fFeatures = USHORT(source->fFeatures & ~storageFeatures);
    copy->cbElements = source->cbElements;
    std::memcpy(copy->rgsabound, source->rgsabound, sizeof(SAFEARRAYBOUND) * source->cDims);
    if (source->pvData) {
        copy->pvData = allocateData(dataBytes(source));
        if (!copy->pvData) {
            SafeArrayDestroyDescriptor(copy);
            return E_OUTOFMEMORY;
        }
        const HRESULT hr = copyAllData(source, copy);
        if (FAILED(hr)) {
            SafeArrayDestroy(copy);
            return hr;
        }
    } else {
        std::memcpy(hiddenArea(copy), hiddenArea(source), hiddenBytes);
        if (IRecordInfo *info = (source->fFeatures & FADF_RECORD) ? hiddenRecordInfo(source) : nullptr)
            info->AddRef();
    }
    *dest = copy;
    return S_OK;
}

/// SafeArrayCopyData: copies the elements of one array into another of the
/// same shape, releasing what the target's elements held.
///   source [in]: the array to copy.
///   dest [in/out]: the target; it takes the source's features.
/// Returns S_OK, E_INVALIDARG for null pointers, different dimensions, element
/// sizes or extents, or a target without data; E_OUTOFMEMORY.
PLATFORM_API HRESULT SafeArrayCopyData(SAFEARRAY *source, SAFEARRAY *dest)
{
    if (!source || !dest || source->cDims != dest->cDims || source->cbElements != dest->cbElements)
        return E_INVALIDARG;
    for (USHORT i = 0; i < source->cDims; ++i) {
        if (source->rgsabound[i].cElements != dest->rgsabound[i].cElements)
            return E_INVALIDARG;
    }
    return copyAllData(source, dest);
}

/// SafeArrayRedim: changes the last dimension (rgsabound[0]) of an array.
///   array [in/out]: the array; elements dropped from the end are released,
///                   elements added are zeroed.
///   lastBound [in]: the new lower bound and extent of the last dimension.
/// Returns S_OK, E_INVALIDARG for null pointers or a FADF_FIXEDSIZE array,
/// DISP_E_ARRAYISLOCKED for a locked array, E_OUTOFMEMORY.
PLATFORM_API HRESULT SafeArrayRedim(SAFEARRAY *array, SAFEARRAYBOUND *lastBound)
{
    if (!array || !lastBound || (array->fFeatures & FADF_FIXEDSIZE))
        return E_INVALIDARG;
    if (array->cLocks)
        return DISP_E_ARRAYISLOCKED;
    SAFEARRAYBOUND &last = array->rgsabound[0];
    const ULONG oldElements = last.cElements;
    const ULONG newElements = lastBound->cElements;
    if (newElements < oldElements) {
        // The last dimension varies slowest: the dropped cells are the tail.
        const size_t perSlice = oldElements ? cellCount(array) / oldElements : 0;
        releaseElements(array, perSlice * newElements);
    } else if (newElements > oldElements) {
        SAFEARRAYBOUND saved = last;
        last.cElements = newElements;
        const size_t newBytes = dataBytes(array);
        last = saved;
        const size_t oldBytes = dataBytes(array);
        void *data = allocateData(newBytes);
        if (!data)
            return E_OUTOFMEMORY;
        if (array->pvData && oldBytes)
            std::memcpy(data, array->pvData, oldBytes);
        if (!dataIsInline(array))
            std::free(array->pvData);
        array->pvData = data;
    }
    last.lLbound = lastBound->lLbound;
    last.cElements = newElements;
    return S_OK;
}
