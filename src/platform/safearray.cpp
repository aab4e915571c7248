// SAFEARRAY life cycle: allocation, creation, destruction, copies and
// resizing, in the Windows layout (safearraystore.h).
//
// Functions on one array are not synchronised beyond the atomic lock count,
// as on Windows.
#include <cstdlib>
#include <cstring>

#include "interfaces/dispatch.h"
#include "platform/safearraystore.h"

using namespace platform::arrays;

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
        copyTypeMarks(source, copy);
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
