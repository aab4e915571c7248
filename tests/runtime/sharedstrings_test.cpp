// Named shared strings, within the process and from a second process.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QProcess>
#include <QWindow>

#include "runtime/sharedstrings.h"

namespace {

struct Bstr {
    BSTR value = nullptr;
    ~Bstr() { SysFreeString(value); }
    std::u16string text() const { return std::u16string(value ? value : u"", SysStringLen(value)); }
};

// A native window of this process; the shared strings are keyed by it.
struct NativeWindow {
    QWindow window;
    NativeWindow() { window.create(); }
    HWND handle() const { return HWND(window.winId()); }
};

// What another program of this user reads: "<result code> <text>".
QString readFromOtherProcess(HWND window, const char *name)
{
    QProcess reader;
    reader.start(QStringLiteral(VRQT_SHARED_STRING_READER), { QString::number(quintptr(window)), QString::fromUtf8(name) });
    if (!reader.waitForFinished(10000))
        return QStringLiteral("timeout");
    return QString::fromUtf8(reader.readAllStandardOutput()).trimmed();
}

} // namespace

TEST(SharedStrings, SetReplaceAndReadBack)
{
    NativeWindow window;
    BSTR first = SysAllocString(u"first value");
    BSTR second = SysAllocString(u"second");
    EXPECT_EQ(SetSharedString(window.handle(), u"Key", first), S_OK);
    EXPECT_EQ(SetSharedString(window.handle(), u"Key", second), S_OK);
    Bstr read;
    EXPECT_EQ(GetSharedString(window.handle(), u"Key", &read.value), S_OK);
    EXPECT_EQ(read.text(), u"second") << "setting again replaces";

    struct Row {
        const char *name;
        const OLECHAR *key;
        BSTR value;
        std::u16string expected;
    } rows[] = {
        { "empty value", u"Empty", SysAllocString(u""), u"" },
        { "embedded zero cuts the value", u"Cut", SysAllocStringLen(u"ab\0cd", 5), u"ab" },
        { "non-ASCII", u"N\u00e4me", SysAllocString(u"\u20ac \U0001F600"), u"\u20ac \U0001F600" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(SetSharedString(window.handle(), row.key, row.value), S_OK);
        Bstr back;
        EXPECT_EQ(GetSharedString(window.handle(), row.key, &back.value), S_OK);
        EXPECT_EQ(back.text(), row.expected);
        EXPECT_NE(back.value, nullptr);
        SysFreeString(row.value);
    }
    Bstr missing;
    EXPECT_EQ(GetSharedString(window.handle(), u"Nobody set this", &missing.value), S_FALSE);
    EXPECT_EQ(missing.value, nullptr);
    SysFreeString(first);
    SysFreeString(second);
}

TEST(SharedStrings, ArgumentsAreCheckedInOrder)
{
    NativeWindow window;
    BSTR value = SysAllocString(u"x");
    EXPECT_EQ(SetSharedString(window.handle(), u"K", nullptr), E_INVALIDARG);
    EXPECT_EQ(SetSharedString(window.handle(), nullptr, value), E_INVALIDARG);
    EXPECT_EQ(SetSharedString(HWND(0x7FFF1234), u"K", value), E_INVALIDARG) << "not a window";
    EXPECT_EQ(GetSharedString(window.handle(), nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(GetSharedString(window.handle(), u"K", nullptr), E_POINTER);
    SysFreeString(value);
}

TEST(SharedStrings, NameCarriesTheWindowAsSigned32Bits)
{
    EXPECT_EQ(SharedStringMappingName(HWND(0x1234), u"Caption"), "CaptionW4660VR14");
    EXPECT_EQ(SharedStringMappingName(HWND(0x1FFFFFFFEull), u"X"), "XW-2VR14") << "the low 32 bits, signed";
}

TEST(SharedStrings, AnotherProcessReadsUntilTheWindowIsGone)
{
    auto window = std::make_unique<NativeWindow>();
    const HWND handle = window->handle();
    BSTR value = SysAllocString(u"from the writer");
    ASSERT_EQ(SetSharedString(handle, u"Shared", value), S_OK);
    SysFreeString(value);
    EXPECT_EQ(readFromOtherProcess(handle, "Shared"), "00000000 from the writer");
    EXPECT_EQ(readFromOtherProcess(handle, "Unset"), "00000001");

    window.reset();
    EXPECT_EQ(readFromOtherProcess(handle, "Shared"), "80070057") << "a destroyed window is refused on the reading side";
    BSTR late = SysAllocString(u"late");
    EXPECT_EQ(SetSharedString(handle, u"Shared", late), E_INVALIDARG) << "and on the writing side";
    Bstr read;
    EXPECT_EQ(GetSharedString(handle, u"Shared", &read.value), E_INVALIDARG);
    SysFreeString(late);
}

// Kept to the end of the process: tearing it down leaves the offscreen
// platform's screen behind, which a sanitizer build would report as a leak.
QGuiApplication *application = nullptr;

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    application = new QGuiApplication(argc, argv);
    return RUN_ALL_TESTS();
}
