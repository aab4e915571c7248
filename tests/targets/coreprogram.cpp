// A Qt program without widgets: it has a QCoreApplication and an event loop,
// nothing more. The agent must serve it without claiming widgets.
#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    return app.exec();
}
