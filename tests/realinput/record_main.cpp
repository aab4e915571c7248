// vrqt record under real input: the tests drive programs from outside, as a
// user does; the application object is only there for QProcess.
#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
