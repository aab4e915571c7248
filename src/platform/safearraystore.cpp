// SAFEARRAY storage: descriptor layout, element sizes, element release and
// copy. safearraystore.h describes the layout.
#include "platform/safearraystore.h"

#include <cstdlib>
#include <cstring>

#include "interfaces/dispatch.h"

namespace platform::arrays {

namespace {

constexpr size_t hiddenBytes = sizeof(GUID);

// Element size by VARTYPE; types missing here are refused, as on Windows.
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

} // namespace

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

namespace {

void setHiddenVarType(SAFEARRAY *array, VARTYPE vt)
{
    const DWORD value = vt;
    std::memcpy(hiddenArea(array) + hiddenBytes - sizeof(DWORD), &value, sizeof value);
}

} // namespace

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

void copyTypeMarks(SAFEARRAY *source, SAFEARRAY *dest)
{
    std::memcpy(hiddenArea(dest), hiddenArea(source), hiddenBytes);
    if (IRecordInfo *info = (source->fFeatures & FADF_RECORD) ? hiddenRecordInfo(source) : nullptr)
        info->AddRef();
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
    copyTypeMarks(source, dest);
    if (oldInfo)
        oldInfo->Release();
    return S_OK;
}

// Runs an element access with the array locked, as Windows does, so that
} // namespace platform::arrays
