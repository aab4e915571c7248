// VariantChangeType between numeric types: rounding half to even, every
// integer type's edges, the same-width and VT_BOOL wrap-arounds Windows has,
// reals and dates. Expected values are the Windows results.
#include <cfloat>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "varconv_cases.h"

using namespace conversion_cases;

namespace {

TEST(VarConvNumbers, RealsBecomeIntegersRoundedHalfToEven)
{
    const Case rows[] = {
        { "R8 0.5", v::R8(0.5), VT_I4, S_OK, v::I4(0) },
        { "R8 1.5", v::R8(1.5), VT_I4, S_OK, v::I4(2) },
        { "R8 2.5", v::R8(2.5), VT_I4, S_OK, v::I4(2) },
        { "R8 -0.5", v::R8(-0.5), VT_I4, S_OK, v::I4(0) },
        { "R8 -2.5", v::R8(-2.5), VT_I4, S_OK, v::I4(-2) },
        { "R8 0.6", v::R8(0.6), VT_I4, S_OK, v::I4(1) },
        { "R8 -0.6", v::R8(-0.6), VT_I4, S_OK, v::I4(-1) },
        { "R8 -2.5 to I8", v::R8(-2.5), VT_I8, S_OK, v::I8(-2) },
        { "R8 -0.5 to UI8", v::R8(-0.5), VT_UI8, S_OK, v::UI8(0) },
        { "R4 2.5", v::R4(2.5f), VT_I2, S_OK, v::I2(2) },
        { "R4 -0.5", v::R4(-0.5f), VT_I2, S_OK, v::I2(0) },
        { "R4 -0.6", v::R4(-0.6f), VT_UI1, DISP_E_OVERFLOW, {} },
        { "DATE 2.5", v::Date(2.5), VT_UI4, S_OK, v::UI4(2) },
        { "CY 2.5", v::Cy(25000), VT_I4, S_OK, v::I4(2) },
        { "CY -2.5", v::Cy(-25000), VT_I1, S_OK, v::I1(-2) },
        { "CY 0.5001", v::Cy(5001), VT_UI1, S_OK, v::UI1(1) },
        { "CY -0.6", v::Cy(-6000), VT_UI1, DISP_E_OVERFLOW, {} },
        { "DECIMAL 2.5", v::Dec(1, false, 0, 25), VT_I4, S_OK, v::I4(2) },
        { "DECIMAL 3.5", v::Dec(1, false, 0, 35), VT_I4, S_OK, v::I4(4) },
        { "DECIMAL -2.5", v::Dec(1, true, 0, 25), VT_I2, S_OK, v::I2(-2) },
        { "DECIMAL 2.50001", v::Dec(5, false, 0, 250001), VT_I2, S_OK, v::I2(3) },
        // Windows' VT_CY to VT_I8 truncates negative amounts and subtracts one.
        { "CY -1 to I8", v::Cy(-10000), VT_I8, S_OK, v::I8(-2) },
        { "CY -0.4 to I8", v::Cy(-4000), VT_I8, S_OK, v::I8(-1) },
        { "CY -1.5 to I8", v::Cy(-15000), VT_I8, S_OK, v::I8(-2) },
        { "CY 2.5 to I8", v::Cy(25000), VT_I8, S_OK, v::I8(2) },
        { "CY -1 to I4 rounds normally", v::Cy(-10000), VT_I4, S_OK, v::I4(-1) },
    };
    runCases(rows);
}

struct IntegerLimits {
    const char *name;
    VARTYPE vt;
    LONGLONG minimum;
    ULONGLONG maximum;
};
constexpr IntegerLimits kNarrowIntegers[] = {
    { "I1", VT_I1, -128, 127 },
    { "UI1", VT_UI1, 0, 255 },
    { "I2", VT_I2, -32768, 32767 },
    { "UI2", VT_UI2, 0, 65535 },
    { "I4", VT_I4, INT32_MIN, INT32_MAX },
    { "UI4", VT_UI4, 0, UINT32_MAX },
    { "INT", VT_INT, INT32_MIN, INT32_MAX },
    { "UINT", VT_UINT, 0, UINT32_MAX },
};

// min-1, min, max and max+1 of every type narrower than 64 bits, reached
// from a wider integer, from text and from VT_DECIMAL (VT_CY: below).
TEST(VarConvNumbers, EveryNarrowIntegerTypeOverflowsJustOutsideItsRange)
{
    for (const IntegerLimits &type : kNarrowIntegers) {
        SCOPED_TRACE(type.name);
        const LONGLONG min = type.minimum;
        const LONGLONG max = LONGLONG(type.maximum);
        std::vector<std::u16string> texts;
        auto text = [&texts](LONGLONG value) {
            const std::string ascii = std::to_string(value);
            texts.emplace_back(ascii.begin(), ascii.end());
            return v::Str(texts.back().c_str());
        };
        texts.reserve(8);
        auto decimal = [](LONGLONG value) {
            return v::Dec(0, value < 0, 0, value < 0 ? 0 - ULONGLONG(value) : ULONGLONG(value));
        };
        const Case rows[] = {
            { "I8 min-1", v::I8(min - 1), type.vt, DISP_E_OVERFLOW, {} },
            { "I8 min", v::I8(min), type.vt, S_OK, v::integer(type.vt, min) },
            { "I8 max", v::I8(max), type.vt, S_OK, v::integer(type.vt, max) },
            { "I8 max+1", v::I8(max + 1), type.vt, DISP_E_OVERFLOW, {} },
            { "text min-1", text(min - 1), type.vt, DISP_E_OVERFLOW, {} },
            { "text min", text(min), type.vt, S_OK, v::integer(type.vt, min) },
            { "text max", text(max), type.vt, S_OK, v::integer(type.vt, max) },
            { "text max+1", text(max + 1), type.vt, DISP_E_OVERFLOW, {} },
            { "DECIMAL min-1", decimal(min - 1), type.vt, DISP_E_OVERFLOW, {} },
            { "DECIMAL max", decimal(max), type.vt, S_OK, v::integer(type.vt, max) },
            { "DECIMAL max+1", decimal(max + 1), type.vt, DISP_E_OVERFLOW, {} },
        };
        runCases(rows);
    }
}

// A real is rounded first and checked after: max+0.49 fits, max+0.5 rounds
// to max+1 (every maximum is odd); min-0.5 rounds back to min (every minimum
// is even), min-0.51 does not fit.
TEST(VarConvNumbers, RealsAreRangeCheckedAfterRounding)
{
    for (const IntegerLimits &type : kNarrowIntegers) {
        SCOPED_TRACE(type.name);
        const double min = double(type.minimum);
        const double max = double(type.maximum);
        const Case rows[] = {
            { "R8 max+0.49", v::R8(max + 0.49), type.vt, S_OK, v::integer(type.vt, LONGLONG(type.maximum)) },
            { "R8 max+0.5", v::R8(max + 0.5), type.vt, DISP_E_OVERFLOW, {} },
            { "R8 min-0.5", v::R8(min - 0.5), type.vt, S_OK, v::integer(type.vt, type.minimum) },
            { "R8 min-0.51", v::R8(min - 0.51), type.vt, DISP_E_OVERFLOW, {} },
            // A date source is not checked against the date range here.
            { "CY max+0.4999", v::Cy(LONGLONG(type.maximum) * 10000 + 4999), type.vt, S_OK,
              v::integer(type.vt, LONGLONG(type.maximum)) },
            { "CY max+0.5", v::Cy(LONGLONG(type.maximum) * 10000 + 5000), type.vt, DISP_E_OVERFLOW, {} },
            { "CY min-0.5", v::Cy(type.minimum * 10000 - 5000), type.vt, S_OK, v::integer(type.vt, type.minimum) },
            { "CY min-0.5001", v::Cy(type.minimum * 10000 - 5001), type.vt, DISP_E_OVERFLOW, {} },
        };
        runCases(rows);
    }
}

TEST(VarConvNumbers, SixtyFourBitEdges)
{
    const Case rows[] = {
        { "text I8 min", v::Str(u"-9223372036854775808"), VT_I8, S_OK, v::I8(INT64_MIN) },
        { "text I8 min-1", v::Str(u"-9223372036854775809"), VT_I8, DISP_E_OVERFLOW, {} },
        { "text I8 max", v::Str(u"9223372036854775807"), VT_I8, S_OK, v::I8(INT64_MAX) },
        { "text I8 max+1", v::Str(u"9223372036854775808"), VT_I8, DISP_E_OVERFLOW, {} },
        { "text UI8 max", v::Str(u"18446744073709551615"), VT_UI8, S_OK, v::UI8(UINT64_MAX) },
        { "text UI8 max+1", v::Str(u"18446744073709551616"), VT_UI8, DISP_E_OVERFLOW, {} },
        { "R8 2^63 to I8", v::R8(9223372036854775808.0), VT_I8, DISP_E_OVERFLOW, {} },
        { "R8 -2^63 to I8", v::R8(-9223372036854775808.0), VT_I8, S_OK, v::I8(INT64_MIN) },
        { "R8 below 2^63 to I8", v::R8(9223372036854774784.0), VT_I8, S_OK, v::I8(9223372036854774784LL) },
        { "R8 2^64 to UI8", v::R8(18446744073709551616.0), VT_UI8, DISP_E_OVERFLOW, {} },
        { "R8 -0.51 to UI8", v::R8(-0.51), VT_UI8, DISP_E_OVERFLOW, {} },
        { "DECIMAL 2^63 to I8", v::Dec(0, false, 0, 9223372036854775808ULL), VT_I8, DISP_E_OVERFLOW, {} },
        { "DECIMAL -2^63 to I8", v::Dec(0, true, 0, 9223372036854775808ULL), VT_I8, S_OK, v::I8(INT64_MIN) },
        { "DECIMAL 2^64 to UI8", v::Dec(0, false, 1, 0), VT_UI8, DISP_E_OVERFLOW, {} },
        { "DECIMAL 2^64-1 to UI8", v::Dec(0, false, 0, UINT64_MAX), VT_UI8, S_OK, v::UI8(UINT64_MAX) },
        // Deliberate Windows quirk: the sign of a whole DECIMAL is lost here.
        { "DECIMAL -1 to UI8", v::Dec(0, true, 0, 1), VT_UI8, S_OK, v::UI8(1) },
        { "DECIMAL -1.00 to UI8", v::Dec(2, true, 0, 100), VT_UI8, DISP_E_OVERFLOW, {} },
        { "NaN to I4", v::R8(std::nan("")), VT_I4, DISP_E_OVERFLOW, {} },
        { "infinity to I8", v::R8(HUGE_VAL), VT_I8, DISP_E_OVERFLOW, {} },
    };
    runCases(rows);
}

// Windows converts between signed and unsigned types of one width without a
// range check, and VT_BOOL's -1 wraps into unsigned types.
TEST(VarConvNumbers, SameWidthAndBooleanConversionsWrap)
{
    const Case rows[] = {
        { "I1 -1 to UI1", v::I1(-1), VT_UI1, S_OK, v::UI1(255) },
        { "UI2 32768 to I2", v::UI2(32768), VT_I2, S_OK, v::I2(-32768) },
        { "I4 -1 to UI4", v::I4(-1), VT_UI4, S_OK, v::UI4(UINT32_MAX) },
        { "UINT max to I4", v::UInt(UINT32_MAX), VT_I4, S_OK, v::I4(-1) },
        { "I8 -1 to UI8", v::I8(-1), VT_UI8, S_OK, v::UI8(UINT64_MAX) },
        { "UI8 max to I8", v::UI8(UINT64_MAX), VT_I8, S_OK, v::I8(-1) },
        { "I2 -1 to UI1 checks", v::I2(-1), VT_UI1, DISP_E_OVERFLOW, {} },
        { "UI1 255 to I2 widens", v::UI1(255), VT_I2, S_OK, v::I2(255) },
        { "true to UI1", v::Bool(VARIANT_TRUE), VT_UI1, S_OK, v::UI1(255) },
        { "true to UI8", v::Bool(VARIANT_TRUE), VT_UI8, S_OK, v::UI8(UINT64_MAX) },
        { "bool 256 to UI1", v::Bool(256), VT_UI1, S_OK, v::UI1(0) },
        { "false to UINT", v::Bool(VARIANT_FALSE), VT_UINT, S_OK, v::UInt(0) },
    };
    runCases(rows);
}

TEST(VarConvNumbers, RealsAndDates)
{
    const Case rows[] = {
        { "UI8 max to R8", v::UI8(UINT64_MAX), VT_R8, S_OK, v::R8(18446744073709551616.0) },
        { "I8 to R4 rounds once", v::I8(16777217), VT_R4, S_OK, v::R4(16777216.0f) },
        { "R8 beyond float", v::R8(1e39), VT_R4, DISP_E_OVERFLOW, {} },
        { "R8 float max", v::R8(double(FLT_MAX)), VT_R4, S_OK, v::R4(FLT_MAX) },
        { "true to R8", v::Bool(VARIANT_TRUE), VT_R8, S_OK, v::R8(-1.0) },
        { "CY max to R8", v::Cy(INT64_MAX), VT_R8, S_OK, v::R8(922337203685477.5807) },
        { "DECIMAL to R8", v::Dec(2, true, 0, 3276800), VT_R8, S_OK, v::R8(-32768.0) },
        { "DECIMAL 0.00032767 to R4", v::Dec(10, false, 0, 3276700), VT_R4, S_OK, v::R4(0.00032767f) },
        { "I4 before first date", v::I4(-657435), VT_DATE, DISP_E_OVERFLOW, {} },
        { "I4 after last date", v::I4(2958466), VT_DATE, DISP_E_OVERFLOW, {} },
        { "R8 end of last day", v::R8(2958465.99999), VT_DATE, S_OK, v::Date(2958465.99999) },
        { "R8 end of first day", v::R8(-657434.99999), VT_DATE, S_OK, v::Date(-657434.99999) },
        { "R8 day after last", v::R8(2958466.0), VT_DATE, DISP_E_OVERFLOW, {} },
        { "true to DATE", v::Bool(VARIANT_TRUE), VT_DATE, S_OK, v::Date(-1.0) },
        { "CY max to DATE", v::Cy(INT64_MAX), VT_DATE, DISP_E_OVERFLOW, {} },
        { "DECIMAL to DATE", v::Dec(1, true, 0, 15), VT_DATE, S_OK, v::Date(-1.5) },
    };
    runCases(rows);
}

TEST(VarConvNumbers, BooleansFromNumbers)
{
    const Case rows[] = {
        { "I4 0", v::I4(0), VT_BOOL, S_OK, v::Bool(VARIANT_FALSE) },
        { "UI8 max", v::UI8(UINT64_MAX), VT_BOOL, S_OK, v::Bool(VARIANT_TRUE) },
        { "R4 NaN", v::R4(std::nanf("")), VT_BOOL, S_OK, v::Bool(VARIANT_TRUE) },
        { "CY 0.0001", v::Cy(1), VT_BOOL, S_OK, v::Bool(VARIANT_TRUE) },
        { "DECIMAL 0", v::Dec(3, false, 0, 0), VT_BOOL, S_OK, v::Bool(VARIANT_FALSE) },
    };
    runCases(rows);
}

} // namespace
