#include "values/variantdata.h"

#include <cstring>
#include <iterator>

namespace {

// The plain types whose data VariantDataPointer gives, each also admitted
// with VT_BYREF.
constexpr VARTYPE kAddressableTypes[] = {
    VT_I2, VT_I4, VT_R4, VT_R8, VT_DATE, VT_BSTR, VT_DISPATCH, VT_BOOL, VT_UNKNOWN,
    VT_I1, VT_UI1, VT_UI2, VT_UI4, VT_I8, VT_UI8, VT_INT, VT_UINT,
};

enum class RawWidth { Bits8, Bits16, Bits32, Bits64, Bool };

struct StoreRow {
    VARTYPE vt;
    RawWidth width;
};

constexpr VARTYPE ByRef(VARTYPE vt) { return VARTYPE(vt | VT_BYREF); }

// Deliberate: VT_UI2|VT_BYREF has no row, although VariantDataPointer
// admits it; a ushort* or ushort& result leaves the union as it was.
constexpr StoreRow kStoreRows[] = {
    { VT_I1, RawWidth::Bits8 },        { VT_UI1, RawWidth::Bits8 },
    { VT_I2, RawWidth::Bits16 },       { VT_UI2, RawWidth::Bits16 },
    { VT_I4, RawWidth::Bits32 },       { VT_UI4, RawWidth::Bits32 },       { VT_R4, RawWidth::Bits32 },
    { VT_INT, RawWidth::Bits32 },      { VT_UINT, RawWidth::Bits32 },
    { VT_R8, RawWidth::Bits64 },       { VT_DATE, RawWidth::Bits64 },      { VT_BSTR, RawWidth::Bits64 },
    { VT_DISPATCH, RawWidth::Bits64 }, { VT_UNKNOWN, RawWidth::Bits64 },   { VT_I8, RawWidth::Bits64 },
    { VT_UI8, RawWidth::Bits64 },      { VT_ARRAY, RawWidth::Bits64 },
    { VT_BOOL, RawWidth::Bool },
    { ByRef(VT_I2), RawWidth::Bits64 },       { ByRef(VT_I4), RawWidth::Bits64 },
    { ByRef(VT_R4), RawWidth::Bits64 },       { ByRef(VT_R8), RawWidth::Bits64 },
    { ByRef(VT_DATE), RawWidth::Bits64 },     { ByRef(VT_BSTR), RawWidth::Bits64 },
    { ByRef(VT_DISPATCH), RawWidth::Bits64 }, { ByRef(VT_BOOL), RawWidth::Bits64 },
    { ByRef(VT_UNKNOWN), RawWidth::Bits64 },  { ByRef(VT_I1), RawWidth::Bits64 },
    { ByRef(VT_UI1), RawWidth::Bits64 },      { ByRef(VT_UI4), RawWidth::Bits64 },
    { ByRef(VT_I8), RawWidth::Bits64 },       { ByRef(VT_UI8), RawWidth::Bits64 },
    { ByRef(VT_INT), RawWidth::Bits64 },      { ByRef(VT_UINT), RawWidth::Bits64 },
    { ByRef(VT_ARRAY), RawWidth::Bits64 },
};

constexpr size_t ByteCount(RawWidth width)
{
    return width == RawWidth::Bits8 ? 1 : width == RawWidth::Bits16 ? 2 : width == RawWidth::Bits32 ? 4 : 8;
}

bool IsAddressable(VARTYPE vt)
{
    if (vt == VT_ARRAY || vt == ByRef(VT_ARRAY))
        return true;
    const VARTYPE base = vt & ~VARTYPE(VT_BYREF);
    for (VARTYPE admitted : kAddressableTypes) {
        if (base == admitted)
            return true;
    }
    return false;
}

} // namespace

void *VariantDataPointer(const VARIANT &value, bool wantReference)
{
    if (!IsAddressable(value.vt))
        return nullptr;
    void *unionAddress = const_cast<LONGLONG *>(&value.llVal);
    if ((value.vt & VT_BYREF) && wantReference)
        return value.byref;
    return unionAddress;
}

void StoreRawInVariant(const void *raw, VARIANT &target)
{
    for (const StoreRow &row : kStoreRows) {
        if (row.vt != target.vt)
            continue;
        if (row.width == RawWidth::Bool) {
            SHORT bits;
            std::memcpy(&bits, raw, sizeof bits);
            target.boolVal = bits ? VARIANT_TRUE : VARIANT_FALSE;
        } else {
            std::memcpy(&target.llVal, raw, ByteCount(row.width));
        }
        return;
    }
}
