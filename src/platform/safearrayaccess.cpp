// SAFEARRAY queries and element access: dimensions, bounds, type, locks,
// element addresses and the copying of single elements in and out.
//
// Functions on one array are not synchronised beyond the atomic lock count,
// as on Windows.
#include <cstring>

#include "interfaces/dispatch.h"
#include "platform/safearraystore.h"

using namespace platform::arrays;

namespace {

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

