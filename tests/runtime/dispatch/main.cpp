// The dispatch tests run inside a real QApplication whose thread is the GUI
// thread the calls cross to.
#include "../../qt_support.h"

QTTEST_LEAK_SUPPRESSIONS

int main(int argc, char **argv)
{
    return qttest::runTestsInApplication(argc, argv, [] {
        // Death tests start the program afresh rather than forking a
        // process that has threads.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    });
}
