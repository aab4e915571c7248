#include "runtime/memorystream.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>


namespace BaseZK {

namespace {

// Bounds against hostile streams: nesting of arrays in variants, and the
// dimensions of one array, beyond which a read fails with E_BOUNDS rather
// than exhausting the stack.
constexpr int MaxNesting = 64;
constexpr ULONG MaxDimensions = 64;

constexpr size_t VariantHeadBytes = 16;

// Plain values whose 16 raw bytes can be taken as they stand.
bool holdsNoReference(VARTYPE type)
{
    switch (type) {
    case VT_EMPTY: case VT_NULL: case VT_I1: case VT_UI1: case VT_I2: case VT_UI2: case VT_I4: case VT_UI4:
    case VT_I8: case VT_UI8: case VT_INT: case VT_UINT: case VT_R4: case VT_R8: case VT_CY: case VT_DATE:
    case VT_BOOL: case VT_ERROR: case VT_DECIMAL:
        return true;
    default:
        return false;
    }
}

// Elements of all dimensions together: with none there is nothing to walk,
// however many indices the outer dimensions would run through.
ULONGLONG elementCount(SAFEARRAY *array)
{
    const UINT dimensions = array ? SafeArrayGetDim(array) : 0;
    ULONGLONG count = dimensions ? 1 : 0;
    for (UINT dimension = 0; dimension < dimensions; ++dimension)
        count *= array->rgsabound[dimension].cElements;
    return count;
}

// Element types a VARIANT may hold an array of; anything else could not be
// cleared again.
bool arrayElementType(VARTYPE type)
{
    return holdsNoReference(type) ? type != VT_EMPTY && type != VT_NULL : type == VT_BSTR || type == VT_VARIANT;
}

// Raw bytes are taken as they stand only for values that hold no pointer,
// and only when they repeat the announced type. Interface and by-reference
// values are written as raw addresses, but never read back: bytes from a
// stream cannot show that an address is a live object of this process, and
// the caller's VariantClear would release whatever it named.
bool acceptableRawValue(const VARIANT &head, VARTYPE announced)
{
    return V_VT(&head) == announced && holdsNoReference(announced);
}

} // namespace

template <typename Derived>
MemoryStreamBase<Derived>::MemoryStreamBase()
{
    data = static_cast<BYTE *>(std::calloc(InitialCapacity, 1));
    capacity = InitialCapacity;
}

template <typename Derived>
MemoryStreamBase<Derived>::~MemoryStreamBase()
{
    if (data && capacity != ForeignBlock)
        std::free(data);
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::QueryInterface(REFIID riid, void **object)
{
    return QueryInterfaceTable(this, { Implements<MemoryStreamBase, IzkStream>(IID_IzkStream) }, riid, object);
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::GetSize(ULONG *value)
{
    if (!value)
        return E_POINTER;
    *value = size;
    return S_OK;
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::GetPosition(ULONG *value)
{
    if (!value)
        return E_POINTER;
    *value = position;
    return S_OK;
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::SetPosition(ULONG value)
{
    position = value;
    return S_OK;
}

template <typename Derived>
ULONG MemoryStreamBase<Derived>::blockLeft() const
{
    return data && position < capacity ? capacity - position : 0;
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::growTo(ULONG end)
{
    // Size is where the last write ended, never a high-water mark.
    size = end;
    if (end <= capacity)
        return S_OK;
    const ULONG doubled = capacity * 2;
    ULONG grown = doubled < 0xFFFFF ? doubled : capacity + capacity / 2;
    if (end > grown)
        grown = end;
    BYTE *block = static_cast<BYTE *>(std::realloc(data, grown));
    if (!block) {
        // As it always was: capacity keeps its new value and data is gone.
        std::free(data);
        data = nullptr;
        capacity = grown;
        return E_OUTOFMEMORY;
    }
    // Bytes between size and capacity are read back as they lie; zero them
    // so that what lies there is defined.
    std::memset(block + capacity, 0, grown - capacity);
    data = block;
    capacity = grown;
    return S_OK;
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::Read(void *buffer, ULONG count)
{
    if (count && !buffer)
        return E_POINTER;
    // Reads beyond the logical size copy what lies there; never beyond the
    // block.
    if (count > blockLeft())
        return E_BOUNDS;
    std::memcpy(buffer, data + position, count);
    position += count;
    return S_OK;
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::Write(const void *buffer, ULONG count)
{
    if (count && !buffer)
        return E_POINTER;
    if (count > 0xFFFFFFFFu - position)
        return E_BOUNDS;
    const ULONG end = position + count;
    const HRESULT hr = static_cast<Derived *>(this)->makeRoom(end);
    if (FAILED(hr))
        return hr;
    if (!data)
        return E_OUTOFMEMORY;
    if (count)
        std::memcpy(data + position, buffer, count);
    position = end;
    return S_OK;
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::readStringLength(BSTR *value, ULONG &length)
{
    const HRESULT hr = ReadUInt32(&length);
    if (FAILED(hr) || length != 0)
        return hr;
    *value = SysAllocString(u"");
    return *value ? S_OK : E_OUTOFMEMORY;
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::ReadBstr(BSTR *value)
{
    if (!value)
        return E_POINTER;
    return static_cast<Derived *>(this)->readString(value);
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::WriteBstr(BSTR value)
{
    return static_cast<Derived *>(this)->writeString(value);
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::WriteVariant(const VARIANT *value)
{
    if (!value)
        return E_POINTER;
    const VARTYPE type = V_VT(value);
    HRESULT hr = WriteUInt16(type);
    if (FAILED(hr))
        return hr;
    if (type & VT_ARRAY) {
        SAFEARRAY *array = (type & VT_BYREF) ? (V_ARRAYREF(value) ? *V_ARRAYREF(value) : nullptr) : V_ARRAY(value);
        return writeArray(array);
    }
    if (type == VT_BSTR)
        return WriteBstr(V_BSTR(value));
    // The head of the VARIANT as raw bytes: the type a second time, the
    // reserved words and the 8 bytes of the value.
    return Write(value, VariantHeadBytes);
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::ReadVariant(VARIANT *value)
{
    return readVariant(value, 0);
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::readVariant(VARIANT *value, int depth)
{
    if (!value)
        return E_POINTER;
    if (depth > MaxNesting)
        return E_BOUNDS;
    HRESULT hr = VariantClear(value);
    if (FAILED(hr))
        return hr;
    USHORT type = 0;
    if (FAILED(hr = ReadUInt16(&type)))
        return hr;
    if (type & VT_ARRAY) {
        SAFEARRAY *array = nullptr;
        hr = readArray(type, &array, depth);
        // A half-filled array stays in the VARIANT; the caller clears it.
        if (array) {
            V_VT(value) = type;
            V_ARRAY(value) = array;
        }
        return hr;
    }
    if (type == VT_BSTR) {
        BSTR text = nullptr;
        if (SUCCEEDED(hr = ReadBstr(&text))) {
            V_VT(value) = VT_BSTR;
            V_BSTR(value) = text;
        }
        return hr;
    }
    VARIANT head;
    std::memset(&head, 0, sizeof head);
    if (FAILED(hr = Read(&head, VariantHeadBytes)))
        return hr;
    if (!acceptableRawValue(head, type))
        return DISP_E_BADVARTYPE;
    std::memcpy(value, &head, VariantHeadBytes);
    return S_OK;
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::writeArray(SAFEARRAY *array)
{
    const UINT dimensions = array ? SafeArrayGetDim(array) : 0;
    HRESULT hr = WriteUInt32(dimensions);
    for (UINT dimension = 1; SUCCEEDED(hr) && dimension <= dimensions; ++dimension) {
        LONG lower = 0, upper = -1;
        SafeArrayGetLBound(array, dimension, &lower);
        SafeArrayGetUBound(array, dimension, &upper);
        if (SUCCEEDED(hr = WriteInt32(lower)))
            hr = WriteInt32(upper);
    }
    if (FAILED(hr) || elementCount(array) == 0)
        return hr;
    std::vector<LONG> indices(dimensions, 0);
    return walkElements(array, 1, indices.data(), true, 0);
}

template <typename Derived>
HRESULT MemoryStreamBase<Derived>::readArray(VARTYPE type, SAFEARRAY **result, int depth)
{
    ULONG dimensions = 0;
    HRESULT hr = ReadUInt32(&dimensions);
    if (FAILED(hr))
        return hr;
    if (dimensions > MaxDimensions || ULONGLONG(dimensions) * 8 > blockLeft())
        return E_BOUNDS;
    std::vector<SAFEARRAYBOUND> bounds(dimensions);
    ULONGLONG elements = 1;
    for (SAFEARRAYBOUND &bound : bounds) {
        LONG lower = 0, upper = 0;
        if (FAILED(hr = ReadInt32(&lower)) || FAILED(hr = ReadInt32(&upper)))
            return hr;
        const LONGLONG count = LONGLONG(upper) - lower + 1;
        if (count < 0 || count > 0xFFFFFFFFLL)
            return E_BOUNDS;
        bound = { ULONG(count), lower };
        elements *= ULONGLONG(count);
        if (elements > blockLeft())
            elements = ULONGLONG(blockLeft()) + 1; // already too many; keep the product from overflowing
    }
    const VARTYPE elementType = type & 0xDFFF;
    if (!arrayElementType(elementType))
        return (elementType & VT_BYREF) ? E_OUTOFMEMORY : DISP_E_BADVARTYPE;
    // Every element takes at least this many bytes of the stream, so a count
    // larger than what is left cannot be genuine.
    const ULONGLONG leastBytes = elementType == VT_VARIANT ? 2 : elementType == VT_BSTR ? 4 : 1;
    if (elements * leastBytes > blockLeft())
        return E_BOUNDS;
    SAFEARRAY *array = SafeArrayCreate(elementType, dimensions, bounds.data());
    if (!array)
        return E_OUTOFMEMORY;
    *result = array;
    if (elements == 0)
        return S_OK;
    std::vector<LONG> indices(dimensions, 0);
    return walkElements(array, 1, indices.data(), false, depth);
}

// The one routine for writer and reader. Indices are stored rightmost
// dimension first, as the array functions take them.
template <typename Derived>
HRESULT MemoryStreamBase<Derived>::walkElements(SAFEARRAY *array, UINT dimension, LONG *indices, bool writing, int depth)
{
    const UINT dimensions = SafeArrayGetDim(array);
    LONG lower = 0, upper = -1;
    HRESULT hr = SafeArrayGetLBound(array, dimension, &lower);
    if (SUCCEEDED(hr))
        hr = SafeArrayGetUBound(array, dimension, &upper);
    if (FAILED(hr))
        return hr;
    if (dimension < dimensions) {
        for (LONGLONG index = lower; index <= upper; ++index) {
            indices[dimensions - dimension] = LONG(index);
            if (FAILED(hr = walkElements(array, dimension + 1, indices, writing, depth)))
                return hr;
        }
        return S_OK;
    }
    VARTYPE elementType = VT_EMPTY;
    SafeArrayGetVartype(array, &elementType);
    if (elementType == VT_VARIANT) {
        for (LONGLONG index = lower; index <= upper && SUCCEEDED(hr); ++index) {
            indices[0] = LONG(index);
            VARIANT element;
            VariantInit(&element);
            if (writing) {
                if (SUCCEEDED(hr = SafeArrayGetElement(array, indices, &element)))
                    hr = WriteVariant(&element);
            } else if (SUCCEEDED(hr = readVariant(&element, depth + 1))) {
                hr = SafeArrayPutElement(array, indices, &element);
            }
            VariantClear(&element);
        }
        return hr;
    }
    if (elementType == VT_BSTR) {
        for (LONGLONG index = lower; index <= upper && SUCCEEDED(hr); ++index) {
            indices[0] = LONG(index);
            BSTR element = nullptr;
            if (writing) {
                if (SUCCEEDED(hr = SafeArrayGetElement(array, indices, &element)))
                    hr = WriteBstr(element);
            } else if (SUCCEEDED(hr = ReadBstr(&element))) {
                hr = SafeArrayPutElement(array, indices, element);
            }
            SysFreeString(element);
        }
        return hr;
    }
    // Plain elements go as one block from the start of the data, whatever
    // the outer indices: with several dimensions the first run is stored
    // again and again. Deliberate, and the same on both sides.
    const ULONGLONG bytes = ULONGLONG(upper - LONGLONG(lower) + 1) * SafeArrayGetElemsize(array);
    if (bytes > 0xFFFFFFFFu)
        return E_BOUNDS;
    if (FAILED(hr = SafeArrayLock(array)))
        return hr;
    hr = writing ? Write(array->pvData, ULONG(bytes)) : Read(array->pvData, ULONG(bytes));
    SafeArrayUnlock(array);
    return hr;
}

HRESULT MemoryStream::writeString(BSTR value)
{
    const ULONG length = SysStringLen(value);
    HRESULT hr = WriteUInt32(length);
    if (FAILED(hr) || length == 0)
        return hr;
    return Write(value, (length + 1) * sizeof(OLECHAR));
}

HRESULT MemoryStream::readString(BSTR *value)
{
    ULONG length = 0;
    HRESULT hr = readStringLength(value, length);
    if (FAILED(hr) || length == 0)
        return hr;
    if ((ULONGLONG(length) + 1) * sizeof(OLECHAR) > blockLeft())
        return E_BOUNDS;
    // The terminator is read with the text and dropped, whatever its value.
    std::u16string buffer(size_t(length) + 1, u'\0');
    if (FAILED(hr = Read(buffer.data(), (length + 1) * sizeof(OLECHAR))))
        return hr;
    BSTR text = SysAllocStringLen(buffer.data(), length);
    if (!text)
        return E_OUTOFMEMORY;
    *value = text;
    return S_OK;
}

HRESULT MemoryStream2::writeString(BSTR value)
{
    const ULONG length = SysStringLen(value);
    const HRESULT hr = WriteUInt32(length);
    if (FAILED(hr))
        return hr;
    return Write(value, length * sizeof(OLECHAR));
}

HRESULT MemoryStream2::readString(BSTR *value)
{
    ULONG length = 0;
    HRESULT hr = readStringLength(value, length);
    if (FAILED(hr) || length == 0)
        return hr;
    if (ULONGLONG(length) * sizeof(OLECHAR) > blockLeft())
        return E_BOUNDS;
    BSTR text = SysAllocStringLen(nullptr, length);
    if (!text)
        return E_OUTOFMEMORY;
    if (FAILED(hr = Read(text, length * sizeof(OLECHAR)))) {
        SysFreeString(text);
        return hr;
    }
    *value = text;
    return S_OK;
}

template class MemoryStreamBase<MemoryStream>;
template class MemoryStreamBase<MemoryStream2>;

} // namespace BaseZK
