// What the test programs that run inside a QApplication share: waits that
// keep the event loop turning, and the program's main.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QDeadlineTimer>

#include <functional>

namespace qttest {

// Runs the calling thread's event loop until condition holds or the limit
// passes; the condition's last value.
inline bool waitUntil(const std::function<bool()> &condition, int limitMs = 5000)
{
    QDeadlineTimer deadline(limitMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return condition();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

// The main of such a program: the offscreen platform unless another is
// asked for, beforeApplication (attributes, test flags), then a
// QApplication kept to the end of the process, as in the applications the
// library serves: tearing it down leaves the offscreen platform's screen
// behind, which the leak checker of sanitizer builds would take for a leak.
inline int runTestsInApplication(int argc, char **argv, const std::function<void()> &beforeApplication = {})
{
    // Listing the tests at build time runs the program without the test
    // environment.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    if (beforeApplication)
        beforeApplication();
    new QApplication(argc, argv);
    return RUN_ALL_TESTS();
}

} // namespace qttest

#if defined(__SANITIZE_ADDRESS__)
// Font configuration keeps memory it never frees; that is not ours. Defined
// by the one file of a program that includes this for its main.
#define QTTEST_LEAK_SUPPRESSIONS                                                                                     \
    extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions()                     \
    {                                                                                                                \
        return "leak:libfontconfig.so\n";                                                                            \
    }
#else
#define QTTEST_LEAK_SUPPRESSIONS
#endif
