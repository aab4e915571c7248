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

enum class RawWidth : unsigned char { None, Bits8, Bits16, Bits32, Bits64, Bool };

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

// The rows as a table by type, for a read that looks up on every value: the
// low byte and the VT_BYREF bit; the array types have rows of their own.
constexpr size_t kPlainSlots = 512;
constexpr size_t WidthSlot(VARTYPE vt)
{
    if ((vt & ~VARTYPE(VT_BYREF)) == VT_ARRAY)
        return kPlainSlots + ((vt & VT_BYREF) ? 1 : 0);
    if ((vt & ~VARTYPE(VT_BYREF | 0xFF)) != 0)
        return kPlainSlots + 2; // no row
    return (vt & 0xFF) | ((vt & VT_BYREF) ? 256 : 0);
}

struct WidthTable {
    RawWidth widths[kPlainSlots + 3] = {};
};

constexpr WidthTable MakeWidthTable()
{
    WidthTable table;
    for (const StoreRow &row : kStoreRows)
        table.widths[WidthSlot(row.vt)] = row.width;
    return table;
}

constexpr WidthTable kWidths = MakeWidthTable();
static_assert(kWidths.widths[WidthSlot(VARTYPE(VT_UI2 | VT_BYREF))] == RawWidth::None, "the deliberate gap stays");

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
    const RawWidth width = kWidths.widths[WidthSlot(target.vt)];
    if (width == RawWidth::None)
        return;
    if (width == RawWidth::Bool) {
        SHORT bits;
        std::memcpy(&bits, raw, sizeof bits);
        target.boolVal = bits ? VARIANT_TRUE : VARIANT_FALSE;
    } else {
        std::memcpy(&target.llVal, raw, ByteCount(width));
    }
}
