// Raw bytes between a VARIANT and storage: which types give their data's
// address, and how many bytes a stored value takes.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "values/variantdata.h"

namespace {

TEST(VariantData, PointerForEveryAdmittedTypeOnly)
{
    const std::set<int> admitted = { VT_I2, VT_I4, VT_R4, VT_R8, VT_DATE, VT_BSTR, VT_DISPATCH, VT_BOOL, VT_UNKNOWN,
                                     VT_I1, VT_UI1, VT_UI2, VT_UI4, VT_I8, VT_UI8, VT_INT, VT_UINT };
    VARIANT value;
    value.byref = &value;
    for (int base = 0; base <= VT_VERSIONED_STREAM; ++base) {
        for (int modifiers : { 0, int(VT_BYREF), int(VT_ARRAY), VT_ARRAY | VT_BYREF }) {
            value.vt = VARTYPE(base | modifiers);
            SCOPED_TRACE(value.vt);
            const bool known = modifiers & VT_ARRAY ? base == 0 : admitted.count(base) == 1;
            void *const unionAddress = &value.llVal;
            EXPECT_EQ(VariantDataPointer(value, true), !known ? nullptr : modifiers & VT_BYREF ? value.byref : unionAddress);
            EXPECT_EQ(VariantDataPointer(value, false), known ? unionAddress : nullptr);
        }
    }
}

TEST(VariantData, StoresByWidth)
{
    const unsigned long long raw = 0x1122334455660001ull;
    const struct { int vt; size_t bytes; unsigned long long boolValue = 0; } rows[] = {
        { VT_I1, 1 }, { VT_UI2, 2 }, { VT_R4, 4 }, { VT_UINT, 4 }, { VT_DATE, 8 }, { VT_DISPATCH, 8 }, { VT_UI8, 8 },
        { VT_ARRAY, 8 }, { VT_BOOL | VT_BYREF, 8 }, { VT_ARRAY | VT_BYREF, 8 },
        { VT_BOOL, 2, 0xFFFF }, // anything not zero becomes VARIANT_TRUE
        // Written by nobody: the reference to VT_UI2 deliberately, the rest unknown.
        { VT_UI2 | VT_BYREF, 0 }, { VT_CY, 0 }, { VT_EMPTY, 0 },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.vt);
        VARIANT target;
        std::memset(&target, 0xAA, sizeof target);
        target.vt = VARTYPE(row.vt);
        StoreRawInVariant(&raw, target);
        unsigned char expected[8];
        std::memset(expected, 0xAA, sizeof expected);
        std::memcpy(expected, row.boolValue ? &row.boolValue : &raw, row.bytes);
        EXPECT_EQ(std::memcmp(&target.llVal, expected, sizeof expected), 0);
    }
    const SHORT zero = 0;
    VARIANT target;
    target.vt = VT_BOOL;
    StoreRawInVariant(&zero, target);
    EXPECT_EQ(target.boolVal, VARIANT_FALSE);
}

} // namespace
