// Text and numbers: what VariantChangeType accepts as a number (blanks,
// signs, parentheses, thousands separators, "$", exponents, &H and &O), the
// boolean words, and the digits Windows writes for every numeric type.
#include <cfloat>
#include <cmath>
#include <cstdint>

#include "varconv_cases.h"

using namespace conversion_cases;

namespace {

TEST(VarConvText, NumbersAcceptedFromText)
{
    const Case rows[] = {
        { "blanks around", v::Str(u" \t12 \n"), VT_I4, S_OK, v::I4(12) },
        { "trailing minus", v::Str(u"5-"), VT_I4, S_OK, v::I4(-5) },
        { "parentheses", v::Str(u"(5)"), VT_I4, S_OK, v::I4(-5) },
        { "open parenthesis", v::Str(u"(5"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "thousands", v::Str(u"1,234"), VT_I4, S_OK, v::I4(1234) },
        { "leading separator", v::Str(u",1"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "currency sign", v::Str(u"$1,234.50"), VT_R8, S_OK, v::R8(1234.5) },
        { "negative currency", v::Str(u"($1.50)"), VT_R8, S_OK, v::R8(-1.5) },
        { "exponent", v::Str(u"1e3"), VT_I4, S_OK, v::I4(1000) },
        { "negative exponent", v::Str(u"25e-1"), VT_I4, S_OK, v::I4(2) },
        { "exponent without digits", v::Str(u"1e"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "point first", v::Str(u".5"), VT_R8, S_OK, v::R8(0.5) },
        { "hex", v::Str(u"&H1F"), VT_I4, S_OK, v::I4(31) },
        { "hex as bits in I2", v::Str(u"&HFFFF"), VT_I2, S_OK, v::I2(-1) },
        { "hex too wide for I2", v::Str(u"&H10000"), VT_I2, DISP_E_OVERFLOW, {} },
        { "hex in DECIMAL", v::Str(u"&H100"), VT_DECIMAL, S_OK, v::Dec(0, false, 0, 256) },
        { "hex in I8", v::Str(u"&HFFFFFFFFFFFFFFFF"), VT_I8, S_OK, v::I8(-1) },
        { "hex beyond 64 bits", v::Str(u"&H1FFFFFFFFFFFFFFFF"), VT_I8, DISP_E_OVERFLOW, {} },
        { "octal", v::Str(u"&O17"), VT_I4, S_OK, v::I4(15) },
        { "octal with 8", v::Str(u"&O18"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "prefix without digits", v::Str(u"&H"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "C hex", v::Str(u"0x1F"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "word", v::Str(u"abc"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "empty", v::Str(u""), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "null BSTR", v::Str(nullptr), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "two numbers", v::Str(u"1 2"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "two minus signs", v::Str(u"--5"), VT_I4, DISP_E_TYPEMISMATCH, {} },
        { "rounding from text", v::Str(u"2.5"), VT_I4, S_OK, v::I4(2) },
        { "beyond half overflows unsigned", v::Str(u"-0.6"), VT_UI4, DISP_E_OVERFLOW, {} },
        { "R8 overflow", v::Str(u"1e400"), VT_R8, DISP_E_OVERFLOW, {} },
        { "R8 underflow is zero", v::Str(u"1e-94938484"), VT_R8, S_OK, v::R8(0.0) },
        { "R4 beyond float", v::Str(u"3.5e38"), VT_R4, DISP_E_OVERFLOW, {} },
        { "R4 below normal floats", v::Str(u"1e-40"), VT_R4, DISP_E_OVERFLOW, {} },
        { "R4 largest", v::Str(u"3.4028234e38"), VT_R4, S_OK, v::R4(3.4028234e38f) },
        { "R8 correctly rounded", v::Str(u"0.1"), VT_R8, S_OK, v::R8(0.1) },
        { "ideographic blank", v::Str(u"\u30007"), VT_I4, S_OK, v::I4(7) },
    };
    runCases(rows);
}

TEST(VarConvText, BooleansFromText)
{
    const Case rows[] = {
        { "True", v::Str(u"True"), VT_BOOL, S_OK, v::Bool(VARIANT_TRUE) },
        { "#TRUE#", v::Str(u"#TRUE#"), VT_BOOL, S_OK, v::Bool(VARIANT_TRUE) },
        { "#True# is case-sensitive", v::Str(u"#True#"), VT_BOOL, DISP_E_TYPEMISMATCH, {} },
        { "True under LOCALBOOL", v::Str(u"True"), VT_BOOL, S_OK, v::Bool(VARIANT_TRUE), VARIANT_LOCALBOOL },
        { "False under ALPHABOOL", v::Str(u"False"), VT_BOOL, S_OK, v::Bool(VARIANT_FALSE), VARIANT_ALPHABOOL },
        { "number 1", v::Str(u"1"), VT_BOOL, S_OK, v::Bool(VARIANT_TRUE) },
        { "blanks around a number", v::Str(u" 1 "), VT_BOOL, S_OK, v::Bool(VARIANT_TRUE) },
        { "blanks around a word", v::Str(u" True"), VT_BOOL, DISP_E_TYPEMISMATCH, {} },
        { "empty", v::Str(u""), VT_BOOL, DISP_E_TYPEMISMATCH, {} },
        { "null BSTR", v::Str(nullptr), VT_BOOL, DISP_E_TYPEMISMATCH, {} },
    };
    runCases(rows);
}

TEST(VarConvText, NumbersAndBooleansAsText)
{
    const Case rows[] = {
        { "I8 min", v::I8(INT64_MIN), VT_BSTR, S_OK, v::Str(u"-9223372036854775808") },
        { "UI8 max", v::UI8(UINT64_MAX), VT_BSTR, S_OK, v::Str(u"18446744073709551615") },
        { "EMPTY", v::Empty(), VT_BSTR, S_OK, v::Str(u"") },
        { "true", v::Bool(VARIANT_TRUE), VT_BSTR, S_OK, v::Str(u"-1") },
        { "false", v::Bool(VARIANT_FALSE), VT_BSTR, S_OK, v::Str(u"0") },
        { "true ALPHABOOL", v::Bool(VARIANT_TRUE), VT_BSTR, S_OK, v::Str(u"True"), VARIANT_ALPHABOOL },
        { "bool 1 ALPHABOOL", v::Bool(1), VT_BSTR, S_OK, v::Str(u"True"), VARIANT_ALPHABOOL },
        { "true LOCALBOOL", v::Bool(VARIANT_TRUE), VT_BSTR, S_OK, v::Str(u"True"), VARIANT_LOCALBOOL },
        { "false both flags", v::Bool(VARIANT_FALSE), VT_BSTR, S_OK, v::Str(u"False"),
          VARIANT_ALPHABOOL | VARIANT_LOCALBOOL },
        { "I4 with NLS", v::I4(1234567), VT_BSTR, S_OK, v::Str(u"1,234,567.00"), VARIANT_USE_NLS },
        { "true with NLS", v::Bool(VARIANT_TRUE), VT_BSTR, S_OK, v::Str(u"-1.00"), VARIANT_USE_NLS },
        { "R8 5.6789e-12", v::R8(5.6789e-12), VT_BSTR, S_OK, v::Str(u"5.6789E-12") },
        { "R8 999999999999999", v::R8(999999999999999.0), VT_BSTR, S_OK, v::Str(u"999999999999999") },
        { "R8 1e15", v::R8(1e15), VT_BSTR, S_OK, v::Str(u"1E+15") },
        { "R8 pi", v::R8(3.141592653589793), VT_BSTR, S_OK, v::Str(u"3.14159265358979") },
        { "R8 12.345678901234567", v::R8(12.345678901234567), VT_BSTR, S_OK, v::Str(u"12.3456789012346") },
        { "R8 0.1+0.2", v::R8(0.1 + 0.2), VT_BSTR, S_OK, v::Str(u"0.3") },
        { "R8 -0", v::R8(-0.0), VT_BSTR, S_OK, v::Str(u"0") },
        { "R8 9.99999999999999999", v::R8(9.999999999999999), VT_BSTR, S_OK, v::Str(u"10") },
        { "R4 1e-7", v::R4(1e-7f), VT_BSTR, S_OK, v::Str(u"1E-07") },
        { "R4 12.3456789", v::R4(12.3456789f), VT_BSTR, S_OK, v::Str(u"12.34568") },
        // An exact tie in the binary value rounds away from zero.
        { "R4 654322.25", v::R4(654322.23456f), VT_BSTR, S_OK, v::Str(u"654322.3") },
        { "R8 with NLS", v::R8(-1234.567), VT_BSTR, S_OK, v::Str(u"-1,234.57"), VARIANT_USE_NLS },
        { "CY -1.5", v::Cy(-15000), VT_BSTR, S_OK, v::Str(u"-1.5") },
        { "CY max", v::Cy(INT64_MAX), VT_BSTR, S_OK, v::Str(u"922337203685477.5807") },
        { "CY min", v::Cy(INT64_MIN), VT_BSTR, S_OK, v::Str(u"-922337203685477.5808") },
        { "CY with NLS", v::Cy(12345000), VT_BSTR, S_OK, v::Str(u"$1,234.50"), VARIANT_USE_NLS },
        { "DECIMAL -0.00", v::Dec(2, true, 0, 0), VT_BSTR, S_OK, v::Str(u"0") },
        { "DECIMAL 0.00090", v::Dec(5, false, 0, 90), VT_BSTR, S_OK, v::Str(u"0.0009") },
        { "DECIMAL 2^96-1", v::Dec(0, false, 0xFFFFFFFF, UINT64_MAX), VT_BSTR, S_OK,
          v::Str(u"79228162514264337593543950335") },
        { "DECIMAL scale 28", v::Dec(28, false, 0xFFFFFFFF, UINT64_MAX), VT_BSTR, S_OK,
          v::Str(u"7.9228162514264337593543950335") },
    };
    runCases(rows);
}

// Text read back gives the value that was written, for every numeric type.
TEST(VarConvText, WrittenNumbersReadBack)
{
    const Literal values[] = {
        v::I1(-128), v::UI2(65535), v::I8(INT64_MIN), v::UI8(UINT64_MAX), v::R4(1.5e-7f), v::R8(-1234.5678),
        v::R8(5.6789e-12), v::Cy(INT64_MIN), v::Dec(28, true, 0xFFFFFFFF, UINT64_MAX),
    };
    for (const Literal &value : values) {
        VARIANT source = makeVariant(value);
        SCOPED_TRACE(describe(source));
        VARIANT text, back;
        VariantInit(&text);
        VariantInit(&back);
        ASSERT_EQ(VariantChangeType(&text, &source, 0, VT_BSTR), S_OK);
        ASSERT_EQ(VariantChangeType(&back, &text, 0, source.vt), S_OK);
        EXPECT_TRUE(sameValue(back, value));
        VariantClear(&text);
        VariantClear(&back);
        VariantClear(&source);
    }
}

TEST(VarParseNumFromStr, FillsTheParseAsWindowsDoes)
{
    struct Row {
        const char *name;
        const char16_t *text;
        INT room;
        ULONG inFlags;
        HRESULT expected;
        INT digits;
        ULONG outFlags;
        INT used;
        INT baseShift;
        INT power10;
        BYTE first;
    } rows[] = {
        { "zeros become the power", u"10", 128, 0, S_OK, 1, 0, 2, 0, 1, 1 },
        { "too little room", u"11", 1, 0, S_OK, 1, NUMPRS_INEXACT, 2, 0, 1, 1 },
        { "minus", u"-0", 128, NUMPRS_LEADING_MINUS, S_OK, 1, NUMPRS_LEADING_MINUS | NUMPRS_NEG, 2, 0, 0, 0 },
        { "hex", u"&HF800", 128, NUMPRS_HEX_OCT, S_OK, 4, NUMPRS_HEX_OCT, 6, 4, 0, 15 },
        { "octal stops at 8", u"&o128", 128, NUMPRS_HEX_OCT, S_OK, 2, NUMPRS_HEX_OCT, 4, 3, 0, 1 },
        { "leading zero is decimal", u"0100", 128, NUMPRS_HEX_OCT, S_OK, 1, 0, 4, 0, 2, 1 },
        { "thousands", u"1,000", 128, NUMPRS_THOUSANDS, S_OK, 1, NUMPRS_THOUSANDS, 5, 0, 3, 1 },
        { "repeated currency after", u"$11$$", 128, NUMPRS_CURRENCY | NUMPRS_USE_ALL, S_OK, 2, NUMPRS_CURRENCY, 5,
          0, 0, 1 },
        { "one point", u"1.1.", 128, NUMPRS_DECIMAL, S_OK, 2, NUMPRS_DECIMAL, 3, 0, -1, 1 },
        { "exponent and point", u"1.5e-20", 128, NUMPRS_EXPONENT | NUMPRS_DECIMAL, S_OK, 2,
          NUMPRS_EXPONENT | NUMPRS_DECIMAL, 7, 0, -21, 1 },
        { "standard", u"-0.51", 128, NUMPRS_STD, S_OK, 2, NUMPRS_NEG | NUMPRS_DECIMAL | NUMPRS_LEADING_MINUS, 5, 0,
          -2, 5 },
        { "Arabic-Indic zero", u"\u0660", 128, NUMPRS_STD, DISP_E_TYPEMISMATCH, 0, 0, 0, 0, 0, 0 },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        NUMPARSE parse{};
        parse.cDig = row.room;
        parse.dwInFlags = row.inFlags;
        BYTE digits[128] = {};
        EXPECT_EQ(VarParseNumFromStr(row.text, kEnglishUS, LOCALE_NOUSEROVERRIDE, &parse, digits), row.expected);
        if (row.expected != S_OK)
            continue;
        EXPECT_EQ(parse.cDig, row.digits);
        EXPECT_EQ(parse.dwOutFlags, row.outFlags);
        EXPECT_EQ(parse.cchUsed, row.used);
        EXPECT_EQ(parse.nBaseShift, row.baseShift);
        EXPECT_EQ(parse.nPwr10, row.power10);
        EXPECT_EQ(digits[0], row.first);
    }
    NUMPARSE parse{};
    BYTE digits[4];
    EXPECT_EQ(VarParseNumFromStr(u"1", 0, 0, nullptr, digits), E_INVALIDARG);
    EXPECT_EQ(VarParseNumFromStr(u"1", 0, 0, &parse, nullptr), E_INVALIDARG);
    EXPECT_EQ(VarParseNumFromStr(nullptr, 0, 0, &parse, digits), DISP_E_TYPEMISMATCH);
}

TEST(VarNumFromParseNum, PicksTheSmallestAcceptableType)
{
    constexpr ULONG kIntegers = VTBIT_I1 | VTBIT_UI1 | VTBIT_I2 | VTBIT_UI2 | VTBIT_I4 | VTBIT_UI4 | VTBIT_I8 | VTBIT_UI8;
    struct Row {
        const char *name;
        std::initializer_list<BYTE> digits;
        ULONG outFlags;
        INT baseShift;
        INT power10;
        ULONG vtBits;
        HRESULT expected;
        Literal result;
    } rows[] = {
        { "127", { 1, 2, 7 }, 0, 0, 0, kIntegers, S_OK, v::I1(127) },
        { "128", { 1, 2, 8 }, 0, 0, 0, kIntegers, S_OK, v::UI1(128) },
        { "hex high bit kept", { 8, 2 }, 0, 4, 0, kIntegers, S_OK, v::I1(-126) },
        { "hex to DECIMAL", { 7, 15 }, 0, 4, 0, VTBIT_DECIMAL, S_OK, v::Dec(0, false, 0, 0x7F) },
        { "negative unsigned only", { 1 }, NUMPRS_NEG, 0, 0, VTBIT_UI1, DISP_E_OVERFLOW, {} },
        { "-0.6 unsigned only", { 6 }, NUMPRS_NEG, 0, -1, VTBIT_UI1, DISP_E_OVERFLOW, {} },
        { "-0.5 rounds to 0", { 5 }, NUMPRS_NEG, 0, -1, VTBIT_UI1, S_OK, v::UI1(0) },
        { "currency before decimal", { 1 }, 0, 0, 0, VTBIT_CY | VTBIT_DECIMAL, S_OK, v::Cy(10000) },
        { "fraction keeps DECIMAL exact", { 1, 5 }, 0, 0, -1, kIntegers | VTBIT_DECIMAL, S_OK, v::Dec(1, false, 0, 15) },
        { "nothing fits", { 1 }, 0, 0, 400, VTBIT_R8 | VTBIT_I4, DISP_E_OVERFLOW, {} },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        BYTE digits[16] = {};
        int count = 0;
        for (BYTE digit : row.digits)
            digits[count++] = digit;
        NUMPARSE parse{};
        parse.cDig = count;
        parse.dwOutFlags = row.outFlags;
        parse.nBaseShift = row.baseShift;
        parse.nPwr10 = row.power10;
        VARIANT result;
        VariantInit(&result);
        EXPECT_EQ(VarNumFromParseNum(&parse, digits, row.vtBits, &result), row.expected);
        if (row.expected == S_OK) {
            EXPECT_TRUE(sameValue(result, row.result));
        }
    }
    VARIANT result;
    NUMPARSE parse{};
    BYTE digits[1] = { 1 };
    EXPECT_EQ(VarNumFromParseNum(nullptr, digits, VTBIT_I4, &result), E_INVALIDARG);
    EXPECT_EQ(VarNumFromParseNum(&parse, digits, VTBIT_I4, nullptr), E_INVALIDARG);
}

} // namespace
