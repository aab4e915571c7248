// A plain Qt Widgets program for the agent's tests. It knows nothing of the
// agent or the module; the tests preload the agent into it.
//
// What the tests look for: a tool window shown before the main window (so Qt
// lists it first), a main window with a tab widget, three push buttons and a
// label side by side, a native surface with a button inside, a disabled edit
// on the hidden tab, and a dialog that is never shown.
//
// --environment-file FILE writes the agent's variables as the program sees
// them once it runs, one "NAME=value" a line. --show-after MS shows the main
// window that much later. --ticker adds to the tool window a progress bar
// "ticker" whose value rises by one every 100 ms; --late-dialog MS shows a
// window "lateDialog", made only then, that much after start. --crash-button
// adds to the tool window a button "crashButton" whose click aborts;
// --stall-buttons a button "stallButton" whose click holds up the GUI
// thread for 3 s, and "laterStallButton" which does so just after its click.
#include <QApplication>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include <QFile>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace {

QWidget *buttonsPage()
{
    auto *page = new QWidget;
    page->setObjectName(QStringLiteral("buttonsPage"));
    auto *layout = new QVBoxLayout(page);
    const char *const buttons[][2] = { { "firstButton", "First" }, { "secondButton", "Second" }, { "thirdButton", "Third" } };
    for (const auto &button : buttons) {
        auto *push = new QPushButton(QLatin1String(button[1]));
        push->setObjectName(QLatin1String(button[0]));
        layout->addWidget(push);
    }
    auto *caption = new QLabel(QStringLiteral("Caption"));
    caption->setObjectName(QStringLiteral("caption"));
    layout->addWidget(caption);

    auto *surface = new QWidget;
    surface->setObjectName(QStringLiteral("nativeSurface"));
    // Only the surface gets a window of its own; its ancestors stay alien.
    surface->setAttribute(Qt::WA_DontCreateNativeAncestors);
    surface->setAttribute(Qt::WA_NativeWindow);
    surface->setMinimumSize(200, 80);
    auto *inside = new QPushButton(QStringLiteral("Inside"), surface);
    inside->setObjectName(QStringLiteral("insideButton"));
    // Qt gives the siblings of a native widget native windows too; as the
    // holder's only child the surface leaves the buttons alien.
    auto *holder = new QWidget;
    holder->setObjectName(QStringLiteral("surfaceHolder"));
    auto *holderLayout = new QVBoxLayout(holder);
    holderLayout->setContentsMargins(0, 0, 0, 0);
    holderLayout->addWidget(surface);
    layout->addWidget(holder);
    return page;
}

QWidget *formPage()
{
    auto *page = new QWidget;
    page->setObjectName(QStringLiteral("formPage"));
    auto *layout = new QVBoxLayout(page);
    auto *edit = new QLineEdit(QStringLiteral("read only"));
    edit->setObjectName(QStringLiteral("lockedEdit"));
    edit->setEnabled(false);
    layout->addWidget(edit);
    return page;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int fileArgument = arguments.indexOf(QStringLiteral("--environment-file"));
    if (fileArgument > 0 && fileArgument + 1 < arguments.size()) {
        QFile file(arguments.at(fileArgument + 1));
        if (!file.open(QIODevice::WriteOnly))
            return 2;
        for (const char *name : { "LD_PRELOAD", "VRQT_AGENT_SOCKET", "VRQT_SESSION_SOCKET" })
            file.write(QByteArray(name) + '=' + qgetenv(name) + '\n');
    }

    QWidget tool(nullptr, Qt::Tool);
    tool.setObjectName(QStringLiteral("toolWindow"));
    tool.setWindowTitle(QStringLiteral("Tool"));
    tool.resize(120, 60);
    tool.show();

    if (arguments.contains(QStringLiteral("--ticker"))) {
        auto *ticker = new QProgressBar(&tool);
        ticker->setObjectName(QStringLiteral("ticker"));
        auto *tick = new QTimer(ticker);
        QObject::connect(tick, &QTimer::timeout, ticker, [ticker] { ticker->setValue(ticker->value() + 1); });
        tick->start(100);
    }

    if (arguments.contains(QStringLiteral("--crash-button"))) {
        auto *crash = new QPushButton(QStringLiteral("Crash"), &tool);
        crash->setObjectName(QStringLiteral("crashButton"));
        QObject::connect(crash, &QPushButton::clicked, [] { std::abort(); });
    }
    if (arguments.contains(QStringLiteral("--stall-buttons"))) {
        auto stall = [] { std::this_thread::sleep_for(std::chrono::seconds(3)); };
        auto *now = new QPushButton(QStringLiteral("Stall"), &tool);
        now->setObjectName(QStringLiteral("stallButton"));
        QObject::connect(now, &QPushButton::clicked, stall);
        auto *later = new QPushButton(QStringLiteral("Stall later"), &tool);
        later->setObjectName(QStringLiteral("laterStallButton"));
        QObject::connect(later, &QPushButton::clicked, [stall] { QTimer::singleShot(0, stall); });
    }

    QMainWindow window;
    window.setObjectName(QStringLiteral("hostWindow"));
    window.setWindowTitle(QStringLiteral("Host Window"));
    auto *pages = new QTabWidget;
    pages->setObjectName(QStringLiteral("pages"));
    pages->addTab(buttonsPage(), QStringLiteral("Buttons"));
    pages->addTab(formPage(), QStringLiteral("Form"));
    window.setCentralWidget(pages);
    window.resize(400, 300);

    QDialog neverShown(&window);
    neverShown.setObjectName(QStringLiteral("neverShownDialog"));

    std::unique_ptr<QDialog> late;
    const int lateArgument = arguments.indexOf(QStringLiteral("--late-dialog"));
    if (lateArgument > 0 && lateArgument + 1 < arguments.size()) {
        // A window of its own, without a parent: one more top-level widget.
        QTimer::singleShot(arguments.at(lateArgument + 1).toInt(), &window, [&late] {
            late = std::make_unique<QDialog>();
            late->setObjectName(QStringLiteral("lateDialog"));
            late->show();
        });
    }
    const int delayArgument = arguments.indexOf(QStringLiteral("--show-after"));
    if (delayArgument > 0 && delayArgument + 1 < arguments.size())
        QTimer::singleShot(arguments.at(delayArgument + 1).toInt(), &window, &QWidget::show);
    else
        window.show();
    return app.exec();
}
