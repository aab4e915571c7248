#include "gallerywindow.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDockWidget>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSet>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <utility>

#include "buttonspage.h"
#include "calendarpage.h"
#include "controlspage.h"
#include "gallerymenus.h"
#include "listspage.h"
#include "modelspage.h"
#include "nativepage.h"
#include "saveloadpage.h"
#include "scrollpage.h"
#include "textpage.h"

namespace {

// For the pages that report what the user did to them.
template <typename Page>
void addPage(GalleryWindow *window, QTabWidget *pages, Page *page, const QString &caption, const QIcon &icon = QIcon())
{
    QObject::connect(page, &Page::activity, window, &GalleryWindow::logActivity);
    pages->addTab(page, icon, caption);
}

} // namespace

GalleryWindow::GalleryWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(QStringLiteral("galleryWindow"));
    setWindowTitle(tr("vrQt Gallery"));
    setWindowIcon(style()->standardIcon(QStyle::SP_ComputerIcon));

    menuBar()->setObjectName(QStringLiteral("menuBar"));
    const GalleryActions actions = populateMenuBar(menuBar());
    QToolBar *toolBar = createToolBar(actions);
    setCentralWidget(createPages());
    QDockWidget *dock = createActivityDock();

    statusBar()->setObjectName(QStringLiteral("statusBar"));
    m_statusLabel = new QLabel(tr("Ready"));
    m_statusLabel->setObjectName(QStringLiteral("statusLabel"));
    statusBar()->addPermanentWidget(m_statusLabel);

    wireActions(actions, toolBar, dock);
    resize(900, 650);
}

void GalleryWindow::logActivity(const QString &text)
{
    if (m_activityLog)
        m_activityLog->appendPlainText(text);
    statusBar()->showMessage(text, 3000);
}

QToolBar *GalleryWindow::createToolBar(const GalleryActions &actions)
{
    QToolBar *toolBar = addToolBar(tr("Main"));
    toolBar->setObjectName(QStringLiteral("mainToolBar"));

    // New with a choice of what to create: a click makes a document, the
    // arrow offers the rest.
    auto *newButton = new QToolButton(toolBar);
    newButton->setObjectName(QStringLiteral("newToolButton"));
    newButton->setDefaultAction(actions.newDocument);
    auto *newMenu = new QMenu(newButton);
    newMenu->setObjectName(QStringLiteral("newMenu"));
    newMenu->addAction(tr("New &Document"));
    newMenu->addAction(tr("New &Folder"));
    newMenu->addAction(tr("New &Window"));
    newButton->setMenu(newMenu);
    newButton->setPopupMode(QToolButton::MenuButtonPopup);
    toolBar->addWidget(newButton);
    toolBar->addAction(actions.open);
    toolBar->addAction(actions.save);
    toolBar->addSeparator();

    auto *exportButton = new QToolButton(toolBar);
    exportButton->setObjectName(QStringLiteral("exportToolButton"));
    exportButton->setText(tr("Export"));
    exportButton->setIcon(style()->standardIcon(QStyle::SP_ArrowRight));
    exportButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    auto *exportMenu = new QMenu(exportButton);
    exportMenu->setObjectName(QStringLiteral("exportMenu"));
    exportMenu->addAction(tr("As &PDF"));
    exportMenu->addAction(tr("As P&NG"));
    exportMenu->addAction(tr("As &CSV"));
    exportButton->setMenu(exportMenu);
    exportButton->setPopupMode(QToolButton::InstantPopup);
    toolBar->addWidget(exportButton);
    toolBar->addSeparator();

    auto *boldButton = new QToolButton(toolBar);
    boldButton->setObjectName(QStringLiteral("boldToolButton"));
    boldButton->setDefaultAction(actions.bold);
    toolBar->addWidget(boldButton);

    // Checkable by itself, with no action behind it.
    auto *pinButton = new QToolButton(toolBar);
    pinButton->setObjectName(QStringLiteral("pinToolButton"));
    pinButton->setText(tr("Pin"));
    pinButton->setToolTip(tr("Keep this window in front"));
    pinButton->setIcon(style()->standardIcon(QStyle::SP_DialogApplyButton));
    pinButton->setCheckable(true);
    connect(pinButton, &QToolButton::toggled, this, [this](bool pinned) {
        logActivity(pinned ? tr("Pinned") : tr("Unpinned"));
    });
    toolBar->addWidget(pinButton);
    return toolBar;
}

QTabWidget *GalleryWindow::createPages()
{
    auto *pages = new QTabWidget;
    pages->setObjectName(QStringLiteral("pages"));
    // Both depend on the style; fixed here so that the tabs scroll rather
    // than shrink, and some of them are off the bar at the default size.
    pages->setUsesScrollButtons(true);
    pages->setElideMode(Qt::ElideNone);

    addPage(this, pages, new ListsPage, tr("&Lists"), style()->standardIcon(QStyle::SP_FileDialogListView));
    pages->addTab(new ModelsPage, style()->standardIcon(QStyle::SP_FileDialogDetailedView), tr("&Models"));
    addPage(this, pages, new ControlsPage, tr("&Controls"));
    addPage(this, pages, new SaveLoadPage, tr("Save && Load"), style()->standardIcon(QStyle::SP_DialogSaveButton));
    addPage(this, pages, new ButtonsPage, tr("B&uttons"));
    addPage(this, pages, new CalendarPage, tr("Cale&ndar"));
    pages->addTab(new TextPage, tr("Text"));
    addPage(this, pages, new ScrollPage, tr("&Scroll Area"));

    // A page the user may not open yet, between two that can be opened.
    auto *reports = new QLabel(tr("Reports need a licence."));
    reports->setObjectName(QStringLiteral("reportsPage"));
    reports->setAlignment(Qt::AlignCenter);
    const int reportsIndex = pages->addTab(reports, tr("Re&ports"));
    pages->setTabEnabled(reportsIndex, false);
    pages->setTabToolTip(reportsIndex, tr("Not licensed"));

    addPage(this, pages, new NativePage, tr("Native Window"));
    return pages;
}

QDockWidget *GalleryWindow::createActivityDock()
{
    auto *dock = new QDockWidget(tr("Activity"), this);
    dock->setObjectName(QStringLiteral("activityDock"));
    dock->setAllowedAreas(Qt::LeftDockWidgetArea | Qt::RightDockWidgetArea | Qt::BottomDockWidgetArea);

    auto *content = new QWidget;
    content->setObjectName(QStringLiteral("activityPanel"));
    auto *layout = new QVBoxLayout(content);
    m_activityLog = new QPlainTextEdit;
    m_activityLog->setObjectName(QStringLiteral("activityLog"));
    m_activityLog->setReadOnly(true);
    m_activityLog->setPlaceholderText(tr("What you do shows up here."));
    layout->addWidget(m_activityLog);
    auto *clearButton = new QPushButton(tr("Clear"));
    clearButton->setObjectName(QStringLiteral("clearLogButton"));
    connect(clearButton, &QPushButton::clicked, m_activityLog, &QPlainTextEdit::clear);
    layout->addWidget(clearButton);

    dock->setWidget(content);
    addDockWidget(Qt::RightDockWidgetArea, dock);
    return dock;
}

void GalleryWindow::wireActions(const GalleryActions &actions, QToolBar *toolBar, QDockWidget *dock)
{
    connect(actions.quit, &QAction::triggered, this, &QWidget::close);
    connect(actions.about, &QAction::triggered, this, [this] {
        QMessageBox::about(this, tr("About vrQt Gallery"),
                           tr("An ordinary Qt application with one of everything, for automation to look at."));
    });
    connect(actions.aboutQt, &QAction::triggered, qApp, &QApplication::aboutQt);
    connect(actions.showStatusBar, &QAction::toggled, statusBar(), &QWidget::setVisible);
    if (QAction *find = menuBar()->findChild<QAction *>(QStringLiteral("actionFind")))
        connect(find, &QAction::triggered, this, &GalleryWindow::showFindWindow);

    QAction *firstViewEntry = actions.viewMenu->actions().value(0);
    actions.viewMenu->insertAction(firstViewEntry, toolBar->toggleViewAction());
    actions.viewMenu->insertAction(firstViewEntry, dock->toggleViewAction());

    // On each action rather than on the menu bar, whose triggered() misses
    // shortcuts and tool buttons; an action in both places is wired once.
    QList<QAction *> all = menuBar()->findChildren<QAction *>() + toolBar->findChildren<QAction *>();
    all << dock->toggleViewAction();
    QSet<QAction *> wired;
    for (QAction *action : std::as_const(all)) {
        if (action->menu() || action->isSeparator() || wired.contains(action))
            continue;
        wired.insert(action);
        connect(action, &QAction::triggered, this, [this, action] { recordAction(action); });
    }
}

// A tool window that stays in front of the gallery, over the top left of
// its pages, as a find bar sits over the document it searches.
void GalleryWindow::showFindWindow()
{
    if (!m_findWindow) {
        auto *window = new QDialog(this, Qt::Tool);
        window->setObjectName(QStringLiteral("findWindow"));
        window->setWindowTitle(tr("Find"));
        auto *layout = new QHBoxLayout(window);
        auto *text = new QLineEdit;
        text->setObjectName(QStringLiteral("findEdit"));
        text->setPlaceholderText(tr("Text to find"));
        layout->addWidget(text);
        auto *next = new QPushButton(tr("Find &Next"));
        next->setObjectName(QStringLiteral("findNextButton"));
        layout->addWidget(next);
        connect(next, &QPushButton::clicked, this, [this, text] { logActivity(tr("Find: %1").arg(text->text())); });
        m_findWindow = window;
    }
    m_findWindow->move(centralWidget()->mapToGlobal(QPoint(0, 0)));
    m_findWindow->show();
    m_findWindow->raise();
}

void GalleryWindow::recordAction(QAction *action)
{
    QString text = action->iconText();
    if (action->isCheckable())
        text = action->isChecked() ? tr("%1 (on)").arg(text) : tr("%1 (off)").arg(text);
    if (m_statusLabel)
        m_statusLabel->setText(tr("Last action: %1").arg(text));
    logActivity(tr("Action: %1").arg(text));
}
