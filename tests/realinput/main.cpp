// The real-input tests run inside a QApplication on the xcb platform, under
// Xvfb: the X server's test extension moves the pointer and clicks.
#include "../qt_support.h"

QTTEST_LEAK_SUPPRESSIONS

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    return qttest::runTestsInApplication(argc, argv);
}
