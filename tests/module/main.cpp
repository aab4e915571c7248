// The module tests run inside a real QApplication, as the module does.
#include "../qt_support.h"

QTTEST_LEAK_SUPPRESSIONS

int main(int argc, char **argv)
{
    return qttest::runTestsInApplication(argc, argv, [] {
        // Widget trees in the tests mix native and alien siblings; by
        // default a native widget makes its siblings native too.
        QApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings);
    });
}
