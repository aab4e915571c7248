// The scripting tests run inside a real QApplication, as the agent does.
#include <QThread>

#include "../qt_support.h"

QTTEST_LEAK_SUPPRESSIONS

int main(int argc, char **argv)
{
    return qttest::runTestsInApplication(argc, argv, [] { QThread::currentThread()->setObjectName(QStringLiteral("gui")); });
}
