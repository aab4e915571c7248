// vrqt-gallery: an ordinary Qt Widgets application with one of every widget
// family, the program that automation is tried against.
#include <QApplication>
#include <QCommandLineParser>
#include <QPixmap>
#include <QTimer>

#include "gallerywindow.h"

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vrqt-gallery"));
    QApplication::setApplicationVersion(QStringLiteral("0.1"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QApplication::translate("main", "A gallery of Qt widgets."));
    parser.addHelpOption();
    QCommandLineOption quitAfter(QStringLiteral("quit-after"),
                                 QApplication::translate("main", "Quit after <ms> milliseconds."),
                                 QStringLiteral("ms"));
    parser.addOption(quitAfter);
    // For looking at the window where no screen grabber is installed.
    QCommandLineOption screenshot(QStringLiteral("screenshot"), QString(), QStringLiteral("file"));
    screenshot.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(screenshot);
    parser.process(app);

    GalleryWindow window;
    window.show();

    if (parser.isSet(quitAfter)) {
        bool valid = false;
        const int milliseconds = parser.value(quitAfter).toInt(&valid);
        if (!valid || milliseconds < 0) {
            qWarning("main: --quit-after wants a number of milliseconds, not \"%s\"", qPrintable(parser.value(quitAfter)));
            return 2;
        }
        QTimer::singleShot(milliseconds, &app, &QCoreApplication::quit);
    }

    if (parser.isSet(screenshot)) {
        const QString fileName = parser.value(screenshot);
        // Queued, so that the window has been laid out and polished first.
        QTimer::singleShot(0, &window, [&window, fileName] {
            const bool saved = window.grab().save(fileName);
            if (!saved)
                qWarning("main: cannot write the screenshot to \"%s\"", qPrintable(fileName));
            QCoreApplication::exit(saved ? 0 : 1);
        });
    }

    return app.exec();
}
