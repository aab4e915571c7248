// An application of one Qt major version that loads the module built for
// the other, as a careless host might: the module must refuse to serve, and
// the application must live on. Prints what GetModuleIntf answered.
#include <QApplication>
#include <QPushButton>

#include <cstdio>

#include "host/modulehost.h"

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: otherqthost MODULE\n");
        return 2;
    }
    QApplication application(argc, argv);
    QPushButton button(QStringLiteral("Other Qt"));
    button.show();
    application.processEvents();

    vrqt::host::ModuleHost host;
    if (host.load(argv[1])) {
        std::printf("served: the module answered GetModuleIntf\n");
        return 1;
    }
    std::printf("%s\n", host.error().c_str());
    // Before any exit handler (a sanitizer's) ends the process.
    std::fflush(stdout);
    // Still whole: the button can be clicked.
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, [&clicks] { ++clicks; });
    button.click();
    return clicks == 1 ? 0 : 1;
}
