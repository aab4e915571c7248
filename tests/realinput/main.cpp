// The real-input tests run inside a QApplication on the xcb platform, under
// Xvfb: the X server's test extension moves the pointer and clicks.
#include "../qt_support.h"

#if defined(__SANITIZE_ADDRESS__)
// Leaks of system libraries, once per process: fontconfig's caches, and on
// an X server the D-Bus library's buffers of Qt's D-Bus thread and Mesa's
// GLX set-up behind the xcb platform.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions()
{
    return "leak:libfontconfig.so\nleak:libdbus-1.so\nleak:libGLX_mesa.so\n";
}
#endif

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    return qttest::runTestsInApplication(argc, argv);
}
