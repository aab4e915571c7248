// The internal UTF-8 and UTF-16 conversions the OS stand-ins rest on.
#include <gtest/gtest.h>

#include "platform/utf.h"

using platform::toUtf16;
using platform::toUtf8;

TEST(Utf, RoundTripsEveryPlane)
{
    const std::u16string text = u"a\u00e9\u20ac\U0001F600z";
    EXPECT_EQ(toUtf8(text), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
    EXPECT_EQ(toUtf16(toUtf8(text)), text);
}

TEST(Utf, BrokenInputBecomesReplacementCharacters)
{
    struct Row {
        const char *name;
        std::string utf8;
        std::u16string expected;
    } rows[] = {
        { "lone continuation", "a\x80z", u"a\uFFFDz" },
        { "truncated sequence", "a\xE2\x82", u"a\uFFFD\uFFFD" },
        { "overlong slash", "\xC0\xAF", u"\uFFFD\uFFFD" },
        { "encoded surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD" },
        { "beyond U+10FFFF", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(toUtf16(row.utf8), row.expected);
    }
    const char16_t loneSurrogate[] = { u'x', 0xD800, u'y', 0 };
    EXPECT_EQ(toUtf8(loneSurrogate), "x\xEF\xBF\xBDy");
    EXPECT_EQ(toUtf8(static_cast<const char16_t *>(nullptr)), "");
}

TEST(Utf, CopyToBufferFollowsTheWindowsQueryConvention)
{
    char16_t buffer[4];
    EXPECT_EQ(platform::copyToBuffer(u"abc", buffer, 4), 3u);
    EXPECT_EQ(std::u16string(buffer), u"abc");
    EXPECT_EQ(platform::copyToBuffer(u"abcd", buffer, 4), 5u) << "needed size includes the NUL";
    EXPECT_EQ(platform::copyToBuffer(u"abcd", nullptr, 0), 5u);
}
