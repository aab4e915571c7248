// GUID creation and the braced text form.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/automation.h"

namespace {

constexpr GUID stdFont = DEFINE_GUID_VALUE(0x0BE35203, 0x8F91, 0x11CE, 0x9D, 0xE3, 0x00, 0xAA, 0x00, 0x4B, 0xB8, 0x51);

std::u16string guidText(const GUID &guid)
{
    char16_t text[39];
    EXPECT_EQ(StringFromGUID2(guid, text, 39), 39);
    return text;
}

} // namespace

TEST(Guid, CreatedGuidsAreVersionFourAndDistinct)
{
    std::set<std::u16string> seen;
    for (int i = 0; i < 64; ++i) {
        GUID guid{};
        ASSERT_EQ(CoCreateGuid(&guid), S_OK);
        EXPECT_EQ(guid.Data3 >> 12, 4);
        EXPECT_EQ(guid.Data4[0] & 0xC0, 0x80);
        seen.insert(guidText(guid));
    }
    EXPECT_EQ(seen.size(), 64u);
    EXPECT_EQ(CoCreateGuid(nullptr), E_INVALIDARG);
}

TEST(Guid, StringFromGuidWritesBracedUpperCaseAndNeeds39Characters)
{
    EXPECT_EQ(guidText(stdFont), u"{0BE35203-8F91-11CE-9DE3-00AA004BB851}");
    char16_t shortBuffer[38] = {};
    EXPECT_EQ(StringFromGUID2(stdFont, shortBuffer, 38), 0);
    EXPECT_EQ(StringFromGUID2(stdFont, nullptr, 39), 0);
}

// The braced form in either case, and what Windows leaves in the CLSID for
// text it refuses (its own test suite pins these): fields read before the
// fault are kept.
TEST(Guid, ClsidFromStringAsWindowsDoes)
{
    const GUID filler = DEFINE_GUID_VALUE(0xCCCCCCCC, 0xCCCC, 0xCCCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC);
    struct Row {
        const char *name;
        const char16_t *text;
        HRESULT result;
        GUID expected;
    } rows[] = {
        { "upper case", u"{0BE35203-8F91-11CE-9DE3-00AA004BB851}", S_OK, stdFont },
        { "lower case", u"{0be35203-8f91-11ce-9de3-00aa004bb851}", S_OK, stdFont },
        { "null text", nullptr, S_OK, CLSID_NULL },
        { "no opening brace", u"0BE35203-8F91-11CE-9DE3-00AA004BB851}", CO_E_CLASSSTRING, CLSID_NULL },
        { "trailing text", u"{0BE35203-8F91-11CE-9DE3-00AA004BB851}AAAA", CO_E_CLASSSTRING, stdFont },
        { "no closing brace", u"{0BE35203-8F91-11CE-9DE3-00AA004BB851", CO_E_CLASSSTRING, stdFont },
        { "bad first field", u"{0B*35203-8F91-11CE-9DE3-00AA004BB851}", CO_E_CLASSSTRING,
          DEFINE_GUID_VALUE(0x0B, 0xCCCC, 0xCCCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC) },
        { "bad separator", u"{0BE35203*8F91-11CE-9DE3-00AA004BB851}", CO_E_CLASSSTRING,
          DEFINE_GUID_VALUE(0x0BE35203, 0xCCCC, 0xCCCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC) },
        { "a ProgID", u"Zoklandt.Application", CO_E_CLASSSTRING, CLSID_NULL },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        GUID clsid = filler;
        EXPECT_EQ(CLSIDFromString(row.text, &clsid), row.result);
        EXPECT_EQ(guidText(clsid), guidText(row.expected));
    }
    EXPECT_EQ(CLSIDFromString(u"{0BE35203-8F91-11CE-9DE3-00AA004BB851}", nullptr), E_INVALIDARG);
}
