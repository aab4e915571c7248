// BSTR allocation, layout, reallocation, concatenation and comparison.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "platform/automation.h"
#include "platform/utf.h"

namespace {

UINT prefixOf(BSTR string)
{
    UINT length;
    std::memcpy(&length, reinterpret_cast<const char *>(string) - sizeof length, sizeof length);
    return length;
}

std::u16string textOf(BSTR string)
{
    return std::u16string(string, SysStringLen(string));
}

// The result of a comparison read the other way round.
HRESULT mirrored(HRESULT result)
{
    return result == VARCMP_LT ? VARCMP_GT : result == VARCMP_GT ? VARCMP_LT : VARCMP_EQ;
}

// Owns a BSTR for the length of a test.
struct Bstr {
    explicit Bstr(BSTR s) : value(s) {}
    explicit Bstr(const char16_t *text) : value(SysAllocString(text)) {}
    ~Bstr() { SysFreeString(value); }
    Bstr(const Bstr &) = delete;
    Bstr &operator=(const Bstr &) = delete;
    BSTR value;
};

} // namespace

TEST(Bstr, LayoutNullsAndEmbeddedNuls)
{
    const char16_t text[] = { u'a', 0, u'b', u'c' };
    Bstr s(SysAllocStringLen(text, 4));
    ASSERT_NE(s.value, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(s.value) % 8, 0u);
    EXPECT_EQ(prefixOf(s.value), 8u) << "the byte length sits before the units";
    EXPECT_EQ(std::memcmp(s.value, text, sizeof text), 0);
    EXPECT_EQ(s.value[4], 0);

    Bstr uninitialised(SysAllocStringLen(nullptr, 7));
    EXPECT_EQ(uninitialised.value[7], 0) << "the terminator is written even when the units are not";
    Bstr empty(u"");
    ASSERT_NE(empty.value, nullptr) << "an empty text is an empty string, not null";
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr); // must not crash
    EXPECT_EQ(SysAllocStringByteLen(nullptr, 0xFFFFFFFFu), nullptr) << "lengths that cannot be represented";
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x80000000u), nullptr);
    BSTR keep = SysAllocString(u"keep");
    EXPECT_FALSE(SysReAllocStringLen(&keep, nullptr, 0x80000000u));
    EXPECT_EQ(textOf(keep), u"keep") << "a failed reallocation leaves the string as it was";
    SysFreeString(keep);
}

TEST(Bstr, AllocStringByteLenTerminatesEveryLength)
{
    char source[40];
    std::memset(source, 0xAA, sizeof source);
    for (UINT length = 0; length < 32; ++length) {
        SCOPED_TRACE(length);
        for (const char *bytes : { static_cast<const char *>(source), static_cast<const char *>(nullptr) }) {
            Bstr s(SysAllocStringByteLen(bytes, length));
            ASSERT_NE(s.value, nullptr);
            EXPECT_EQ(SysStringByteLen(s.value), length);
            EXPECT_EQ(SysStringLen(s.value), length / 2);
            const char *data = reinterpret_cast<const char *>(s.value);
            EXPECT_EQ(data[length], 0) << "NUL byte right after the data";
            EXPECT_EQ(s.value[(length + 1) / 2], 0) << "NUL unit after the last (half) unit";
            const char expected = bytes ? char(0xAA) : 0;
            for (UINT i = 0; i < length; ++i)
                ASSERT_EQ(data[i], expected) << "byte " << i;
        }
    }
}

TEST(Bstr, ReAllocStringReplacesAndAcceptsItsOwnTail)
{
    EXPECT_FALSE(SysReAllocString(nullptr, u"x"));

    BSTR s = SysAllocString(u"Test");
    ASSERT_TRUE(SysReAllocString(&s, u"Larger"));
    EXPECT_EQ(textOf(s), u"Larger");
    ASSERT_TRUE(SysReAllocString(&s, s + 2)) << "the source may point into the old string";
    EXPECT_EQ(textOf(s), u"rger");
    ASSERT_TRUE(SysReAllocString(&s, nullptr));
    EXPECT_EQ(s, nullptr);

    ASSERT_TRUE(SysReAllocString(&s, u"from null"));
    EXPECT_EQ(textOf(s), u"from null");
    SysFreeString(s);
}

TEST(Bstr, ReAllocStringLenResizesAndKeepsOverlappingUnits)
{
    EXPECT_FALSE(SysReAllocStringLen(nullptr, u"x", 1));
    BSTR s = nullptr;
    ASSERT_TRUE(SysReAllocStringLen(&s, u"Testing", 4));
    EXPECT_EQ(prefixOf(s), 8u);
    ASSERT_TRUE(SysReAllocStringLen(&s, s + 1, 2)) << "the tail of the old string";
    EXPECT_EQ(textOf(s), u"es");
    ASSERT_TRUE(SysReAllocStringLen(&s, u"Test", 4));
    ASSERT_TRUE(SysReAllocStringLen(&s, s, 100000));
    EXPECT_EQ(SysStringLen(s), 100000u);
    EXPECT_EQ(std::u16string(s, 4), u"Test");
    EXPECT_EQ(s[100000], 0);

    // Without a source the old units stay too, and shrinking terminates.
    std::memset(s, 0xAB, 64 * sizeof(OLECHAR));
    ASSERT_TRUE(SysReAllocStringLen(&s, nullptr, 24));
    EXPECT_EQ(SysStringLen(s), 24u);
    EXPECT_EQ(s[0], 0xABAB);
    EXPECT_EQ(s[24], 0);
    SysFreeString(s);
}

TEST(Bstr, CatJoinsBytesAndTreatsNullAsEmpty)
{
    Bstr left(u"abc");
    Bstr right(u"de");
    Bstr odd(SysAllocStringByteLen("xyz", 3));
    const struct {
        const char *name;
        BSTR left;
        BSTR right;
        UINT bytes;
        std::u16string units; // as little-endian units
    } rows[] = {
        { "two strings", left.value, right.value, 10, u"abcde" },
        { "odd byte lengths add up", odd.value, odd.value, 6, u"\u7978\u787a\u7a79" },
        { "null left", nullptr, right.value, 4, u"de" },
        { "both null", nullptr, nullptr, 0, u"" },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        BSTR joined = nullptr;
        ASSERT_EQ(VarBstrCat(row.left, row.right, &joined), S_OK);
        ASSERT_NE(joined, nullptr) << "the result is a string even when both are null";
        EXPECT_EQ(SysStringByteLen(joined), row.bytes);
        EXPECT_EQ(std::memcmp(joined, row.units.data(), row.bytes + 1), 0) << "with a NUL after";
        SysFreeString(joined);
    }

    EXPECT_EQ(VarBstrCat(left.value, right.value, nullptr), E_INVALIDARG);
}

// Null, empty and NUL units by locale and byte by byte (lcid 0); each row
// read the other way round gives the mirrored result.
TEST(BstrCompare, NullEmptyNulUnitsAndBytes)
{
    const char16_t aNul[] = { u'a', 0 };
    const char16_t aNulB[] = { u'a', 0, u'b' };
    Bstr empty(u""), word(u"Wurscht"), a(u"a"), upperB(u"B");
    Bstr nulUnit(SysAllocStringByteLen("\0\0", 2));
    Bstr nulUnitAndByte(SysAllocStringByteLen("\0\0\0", 3));
    Bstr trailingNul(SysAllocStringLen(aNul, 2));
    Bstr innerNul(SysAllocStringLen(aNulB, 3));
    Bstr lowBytes(SysAllocStringByteLen("\x01\x00\x01", 3));
    Bstr highBytes(SysAllocStringByteLen("\x01\x00\x02", 3));
    const struct {
        const char *name;
        BSTR left;
        BSTR right;
        LCID lcid;
        HRESULT expected;
    } rows[] = {
        { "word, null", word.value, nullptr, LOCALE_USER_DEFAULT, VARCMP_GT },
        { "empty, null", empty.value, nullptr, LOCALE_USER_DEFAULT, VARCMP_EQ },
        { "NUL units compare equal by locale", nulUnitAndByte.value, nulUnit.value, LOCALE_USER_DEFAULT, VARCMP_EQ },
        { "trailing NUL unit ignored by locale", a.value, trailingNul.value, LOCALE_USER_DEFAULT, VARCMP_EQ },
        { "inner NUL unit ignored by locale", a.value, innerNul.value, LOCALE_USER_DEFAULT, VARCMP_LT },
        { "collation by locale", a.value, upperB.value, LOCALE_USER_DEFAULT, VARCMP_LT },
        { "binary: NUL unit, empty", nulUnit.value, empty.value, 0, VARCMP_GT },
        { "binary: extra byte is greater", nulUnitAndByte.value, nulUnit.value, 0, VARCMP_GT },
        { "binary: trailing NUL unit counts", a.value, trailingNul.value, 0, VARCMP_LT },
        { "binary: last byte decides", lowBytes.value, highBytes.value, 0, VARCMP_LT },
        { "binary: byte order, not collation", a.value, upperB.value, 0, VARCMP_GT },
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(VarBstrCmp(row.left, row.right, row.lcid, 0), row.expected);
        EXPECT_EQ(VarBstrCmp(row.right, row.left, row.lcid, 0), mirrored(row.expected));
    }
}

TEST(BstrCompare, DefaultCollationOrdersLikeUsEnglish)
{
    using namespace std::string_literals;
    struct Row {
        std::u16string left;
        std::u16string right;
        ULONG flags;
        HRESULT expected;
    } rows[] = {
        { u"abc", u"abc", 0, VARCMP_EQ },
        { u"a", u"A", 0, VARCMP_LT },                  // lower case first
        { u"a", u"A", NORM_IGNORECASE, VARCMP_EQ },
        { u"abc", u"ABD", 0, VARCMP_LT },              // letters decide before case
        { u"abc", u"abcd", 0, VARCMP_LT },
        { u"item10", u"item9", 0, VARCMP_LT },         // digit by digit
        { u"9", u"a", 0, VARCMP_LT },                  // digits before letters
        { u"!", u"0", 0, VARCMP_LT },                  // punctuation before digits
        { u"resume", u"r\u00e9sum\u00e9", 0, VARCMP_LT }, // accent after the plain letter
        { u"r\u00e9sum\u00e9", u"resumes", 0, VARCMP_LT }, // letters before accents
        { u"resume", u"r\u00e9sum\u00e9", NORM_IGNORENONSPACE, VARCMP_EQ },
        { u"coop", u"co-op", 0, VARCMP_LT },           // hyphen only breaks ties
        { u"co-op", u"coop", NORM_IGNORESYMBOLS, VARCMP_EQ },
        { u"co-op", u"cop", 0, VARCMP_LT },            // word sort ignores the hyphen first
        { u"a\0b"s, u"ab", 0, VARCMP_EQ },            // NUL units carry no weight
        { u"\uff21", u"A", 0, VARCMP_GT },             // full width after normal width
        { u"\uff21", u"A", NORM_IGNOREWIDTH, VARCMP_EQ },
        { u"\u30ab", u"\u304b", NORM_IGNOREKANATYPE, VARCMP_EQ },
        { u"stra\u00dfe", u"strasse", 0, VARCMP_EQ },  // sharp s expands to ss
        { u"\u0414\u043e\u043c", u"\u0434\u043e\u043c", NORM_IGNORECASE, VARCMP_EQ }, // Cyrillic
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(platform::toUtf8(row.left) + " vs " + platform::toUtf8(row.right));
        Bstr left(SysAllocStringLen(row.left.data(), UINT(row.left.size())));
        Bstr right(SysAllocStringLen(row.right.data(), UINT(row.right.size())));
        EXPECT_EQ(VarBstrCmp(left.value, right.value, LOCALE_USER_DEFAULT, row.flags), row.expected);
        EXPECT_EQ(VarBstrCmp(right.value, left.value, LOCALE_USER_DEFAULT, row.flags), mirrored(row.expected));
    }
}
