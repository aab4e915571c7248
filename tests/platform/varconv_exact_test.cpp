// VariantChangeType into and out of VT_CY and VT_DECIMAL: four decimals for
// currency, up to 28 for DECIMAL, half to even where digits are dropped, and
// the VT_BOOL and VT_R8 rules Windows has for DECIMAL.
#include <cstdint>

#include "varconv_cases.h"

using namespace conversion_cases;

namespace {

constexpr ULONG kAllOnes = 0xFFFFFFFF;

TEST(VarConvExact, Currency)
{
    const Case rows[] = {
        { "I4 max", v::I4(INT32_MAX), VT_CY, S_OK, v::Cy(21474836470000LL) },
        { "I4 min", v::I4(INT32_MIN), VT_CY, S_OK, v::Cy(-21474836480000LL) },
        { "I8 largest whole", v::I8(922337203685477LL), VT_CY, S_OK, v::Cy(9223372036854770000LL) },
        { "I8 one beyond", v::I8(922337203685478LL), VT_CY, DISP_E_OVERFLOW, {} },
        { "I8 smallest whole", v::I8(-922337203685477LL), VT_CY, S_OK, v::Cy(-9223372036854770000LL) },
        { "I8 one below", v::I8(-922337203685478LL), VT_CY, DISP_E_OVERFLOW, {} },
        { "UI8 beyond", v::UI8(UINT64_MAX), VT_CY, DISP_E_OVERFLOW, {} },
        { "true", v::Bool(VARIANT_TRUE), VT_CY, S_OK, v::Cy(-10000) },
        { "R8 -0.0", v::R8(-0.0), VT_CY, S_OK, v::Cy(0) },
        { "R8 dyadic 3/16384", v::R8(3.0 / 16384), VT_CY, S_OK, v::Cy(2) },
        { "R4 1.00009", v::R4(1.00009f), VT_CY, S_OK, v::Cy(10001) },
        { "R4 -1.00005", v::R4(-1.00005f), VT_CY, S_OK, v::Cy(-10000) },
        { "R4 0.00005", v::R4(0.00005f), VT_CY, S_OK, v::Cy(0) },
        { "R8 2^49", v::R8(562949953421312.0), VT_CY, S_OK, v::Cy(5629499534213120000LL) },
        { "R8 beyond", v::R8(922337203685478.0), VT_CY, DISP_E_OVERFLOW, {} },
        { "R8 far below", v::R8(-4611686018427388416.1), VT_CY, DISP_E_OVERFLOW, {} },
        { "DECIMAL -0.01", v::Dec(2, true, 0, 1), VT_CY, S_OK, v::Cy(-100) },
        { "DECIMAL 1.000050 to even", v::Dec(6, false, 0, 1000050), VT_CY, S_OK, v::Cy(10000) },
        { "DECIMAL 1.000150 to even", v::Dec(6, false, 0, 1000150), VT_CY, S_OK, v::Cy(10002) },
        { "DECIMAL max", v::Dec(4, false, 0, INT64_MAX), VT_CY, S_OK, v::Cy(INT64_MAX) },
        { "DECIMAL beyond", v::Dec(4, false, 0, 9223372036854775808ULL), VT_CY, DISP_E_OVERFLOW, {} },
        { "DECIMAL min", v::Dec(4, true, 0, 9223372036854775808ULL), VT_CY, S_OK, v::Cy(INT64_MIN) },
        { "invalid DECIMAL", v::Dec(29, false, 0, 1), VT_CY, E_INVALIDARG, {} },
        { "CY to DECIMAL", v::Cy(-10000), VT_DECIMAL, S_OK, v::Dec(4, true, 0, 10000) },
        { "CY 0 keeps scale 4", v::Cy(0), VT_DECIMAL, S_OK, v::Dec(4, false, 0, 0) },
        { "CY min", v::Cy(INT64_MIN), VT_DECIMAL, S_OK, v::Dec(4, true, 0, 9223372036854775808ULL) },
    };
    runCases(rows);
}

TEST(VarConvExact, Decimal)
{
    const Case rows[] = {
        { "I1 -128", v::I1(-128), VT_DECIMAL, S_OK, v::Dec(0, true, 0, 128) },
        { "I8 min", v::I8(INT64_MIN), VT_DECIMAL, S_OK, v::Dec(0, true, 0, 9223372036854775808ULL) },
        { "UI8 max", v::UI8(UINT64_MAX), VT_DECIMAL, S_OK, v::Dec(0, false, 0, UINT64_MAX) },
        // Deliberate Windows rule: true is 1, not -1, as a DECIMAL.
        { "true", v::Bool(VARIANT_TRUE), VT_DECIMAL, S_OK, v::Dec(0, false, 0, 1) },
        // A real gives the digits it shows: 15 for VT_R8, 7 for VT_R4.
        { "R8 0.1", v::R8(0.1), VT_DECIMAL, S_OK, v::Dec(1, false, 0, 1) },
        { "R8 -0.6", v::R8(-0.6), VT_DECIMAL, S_OK, v::Dec(1, true, 0, 6) },
        { "R8 1/3", v::R8(1.0 / 3), VT_DECIMAL, S_OK, v::Dec(15, false, 0, 333333333333333ULL) },
        { "R8 1e20", v::R8(1e20), VT_DECIMAL, S_OK, v::Dec(0, false, 5, 7766279631452241920ULL) },
        { "R8 1e29", v::R8(1e29), VT_DECIMAL, DISP_E_OVERFLOW, {} },
        { "R8 0", v::R8(0.0), VT_DECIMAL, S_OK, v::Dec(0, false, 0, 0) },
        { "R4 0.1", v::R4(0.1f), VT_DECIMAL, S_OK, v::Dec(1, false, 0, 1) },
        { "R4 3.1415927", v::R4(3.14159265f), VT_DECIMAL, S_OK, v::Dec(6, false, 0, 3141593) },
        { "DECIMAL 255.00 to UI1", v::Dec(2, false, 0, 25500), VT_UI1, S_OK, v::UI1(255) },
        { "DECIMAL -1.00 to UI1", v::Dec(2, true, 0, 100), VT_UI1, DISP_E_OVERFLOW, {} },
        { "DECIMAL 96 bits to R8", v::Dec(0, false, kAllOnes, UINT64_MAX), VT_R8, S_OK,
          v::R8(79228162514264337593543950335.0) },
        { "scale 29 is invalid", v::Dec(29, false, 0, 0), VT_I4, E_INVALIDARG, {} },
        { "invalid to R8", v::Dec(30, false, 0, 5), VT_R8, E_INVALIDARG, {} },
        { "invalid to BOOL", v::Dec(29, false, 0, 0), VT_BOOL, E_INVALIDARG, {} },
        { "invalid to BSTR", v::Dec(29, false, 0, 0), VT_BSTR, E_INVALIDARG, {} },
        { "invalid to DATE", v::Dec(29, false, 0, 0), VT_DATE, E_INVALIDARG, {} },
    };
    runCases(rows);

    // A sign byte other than 0 or DECIMAL_NEG makes the DECIMAL invalid.
    for (BYTE sign : { BYTE(0x01), BYTE(0x40), BYTE(0x7F) }) {
        SCOPED_TRACE(int(sign));
        VARIANT source = makeVariant(v::Dec(0, false, 0, 1));
        source.decVal.sign = sign;
        VARIANT dest;
        VariantInit(&dest);
        EXPECT_EQ(VariantChangeType(&dest, &source, 0, VT_I4), E_INVALIDARG);
        EXPECT_EQ(VariantChangeType(&dest, &source, 0, VT_CY), E_INVALIDARG);
        EXPECT_EQ(dest.vt, VT_EMPTY);
    }
}

TEST(VarConvExact, TextWithManyDigitsRoundsToTheDecimalScale)
{
    const Case rows[] = {
        { "0.5", v::Str(u"0.5"), VT_DECIMAL, S_OK, v::Dec(1, false, 0, 5) },
        { "-1", v::Str(u"-1"), VT_DECIMAL, S_OK, v::Dec(0, true, 0, 1) },
        { "trailing zeros dropped", v::Str(u"4294967296.0"), VT_DECIMAL, S_OK, v::Dec(0, false, 0, 4294967296ULL) },
        { "2^64", v::Str(u"18446744073709551616"), VT_DECIMAL, S_OK, v::Dec(0, false, 1, 0) },
        { "2^96-1", v::Str(u"79228162514264337593543950335"), VT_DECIMAL, S_OK,
          v::Dec(0, false, kAllOnes, UINT64_MAX) },
        { "2^96", v::Str(u"79228162514264337593543950336"), VT_DECIMAL, DISP_E_OVERFLOW, {} },
        { "28 decimals", v::Str(u"0.0000000000000000000000000001"), VT_DECIMAL, S_OK, v::Dec(28, false, 0, 1) },
        { "29th decimal rounds away", v::Str(u"0.00000000000000000000000000005"), VT_DECIMAL, S_OK,
          v::Dec(28, false, 0, 0) },
        { "exponent", v::Str(u"1.5e3"), VT_DECIMAL, S_OK, v::Dec(0, false, 0, 1500) },
        { "32 digits round half even", v::Str(u"0.12345678901234567890123456785"), VT_DECIMAL, S_OK,
          v::Dec(28, false, 66926059, 7888470988696384334ULL) },
        { "currency text", v::Str(u"$1,234.5678"), VT_CY, S_OK, v::Cy(12345678) },
        { "currency five decimals to even", v::Str(u"1.00005"), VT_CY, S_OK, v::Cy(10000) },
        { "currency max text", v::Str(u"922337203685477.5807"), VT_CY, S_OK, v::Cy(INT64_MAX) },
        { "currency max+1 text", v::Str(u"922337203685477.5808"), VT_CY, DISP_E_OVERFLOW, {} },
        { "currency min text", v::Str(u"-922337203685477.5808"), VT_CY, S_OK, v::Cy(INT64_MIN) },
    };
    runCases(rows);
}

} // namespace
