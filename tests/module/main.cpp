// The module tests run inside a real QApplication, as the module does.
#include <gtest/gtest.h>

#include <QApplication>

namespace {

// Kept to the end of the process, as in the applications the module serves:
// tearing it down leaves the offscreen platform's screen behind, which the
// leak checker of sanitizer builds would take for a leak of ours.
QApplication *application = nullptr;

} // namespace

#if defined(__SANITIZE_ADDRESS__)
// Font configuration keeps memory it never frees; that is not the module's.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions()
{
    return "leak:libfontconfig.so\n";
}
#endif

int main(int argc, char **argv)
{
    // Listing the tests at build time runs this program without the test
    // environment.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Widget trees in the tests mix native and alien siblings; by default a
    // native widget makes its siblings native too.
    QApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings);
    ::testing::InitGoogleTest(&argc, argv);
    application = new QApplication(argc, argv);
    return RUN_ALL_TESTS();
}
