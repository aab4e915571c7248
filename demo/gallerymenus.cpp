#include "gallerymenus.h"

#include <QAction>
#include <QActionGroup>
#include <QCoreApplication>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QStyle>

#include <initializer_list>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("GalleryMenus", text);
}

QMenu *addMenu(QWidget *parent, const QString &title, const char *objectName = nullptr)
{
    QMenu *menu = new QMenu(title, parent);
    if (objectName)
        menu->setObjectName(QLatin1String(objectName));
    if (auto *bar = qobject_cast<QMenuBar *>(parent))
        bar->addMenu(menu);
    else
        static_cast<QMenu *>(parent)->addMenu(menu);
    return menu;
}

QAction *addEntry(QMenu *menu, const QString &text, const char *objectName = nullptr)
{
    QAction *action = menu->addAction(text);
    if (objectName)
        action->setObjectName(QLatin1String(objectName));
    return action;
}

QAction *withShortcut(QAction *action, const QKeySequence &shortcut)
{
    action->setShortcut(shortcut);
    return action;
}

QAction *withIcon(QAction *action, QStyle::StandardPixmap icon)
{
    QWidget *owner = qobject_cast<QWidget *>(action->parent());
    action->setIcon(owner->style()->standardIcon(icon));
    return action;
}

QAction *checkable(QAction *action, bool checked = false)
{
    action->setCheckable(true);
    action->setChecked(checked);
    return action;
}

// One-of-many entries, as a real application offers zoom levels or open
// windows; checked names the entry that starts checked.
QActionGroup *addChoices(QMenu *menu, std::initializer_list<QString> texts, int checked)
{
    auto *group = new QActionGroup(menu);
    group->setExclusive(true);
    int index = 0;
    for (const QString &text : texts) {
        QAction *action = checkable(addEntry(menu, text), index++ == checked);
        group->addAction(action);
    }
    return group;
}

void populateFileMenu(QMenuBar *bar, GalleryActions &actions)
{
    QMenu *file = addMenu(bar, tr("&File"), "fileMenu");
    actions.newDocument = withIcon(withShortcut(addEntry(file, tr("&New"), "actionNew"), QKeySequence::New), QStyle::SP_FileIcon);
    actions.open = withIcon(withShortcut(addEntry(file, tr("&Open..."), "actionOpen"), QKeySequence::Open), QStyle::SP_DialogOpenButton);

    // Two files of one name from different folders: the captions are the
    // same on purpose, only the status tips tell them apart.
    QMenu *recent = addMenu(file, tr("Open &Recent"), "recentMenu");
    addEntry(recent, tr("notes.txt"))->setStatusTip(QStringLiteral("~/projects/notes.txt"));
    addEntry(recent, tr("notes.txt"))->setStatusTip(QStringLiteral("~/archive/notes.txt"));
    addEntry(recent, tr("report.odt"))->setStatusTip(QStringLiteral("~/projects/report.odt"));
    recent->addSeparator();
    addEntry(recent, tr("&Clear List"), "actionClearRecent");

    actions.save = withIcon(withShortcut(addEntry(file, tr("&Save"), "actionSave"), QKeySequence::Save), QStyle::SP_DialogSaveButton);
    withShortcut(addEntry(file, tr("Save &As..."), "actionSaveAs"), QKeySequence::SaveAs);
    file->addSeparator();
    QAction *print = withShortcut(addEntry(file, tr("&Print..."), "actionPrint"), QKeySequence::Print);
    print->setStatusTip(tr("No printer is set up"));
    print->setEnabled(false);
    file->addSeparator();
    actions.quit = withIcon(withShortcut(addEntry(file, tr("&Quit"), "actionQuit"), QKeySequence::Quit), QStyle::SP_DialogCloseButton);
}

void populateEditMenu(QMenuBar *bar)
{
    QMenu *edit = addMenu(bar, tr("&Edit"), "editMenu");
    withIcon(withShortcut(addEntry(edit, tr("&Undo"), "actionUndo"), QKeySequence::Undo), QStyle::SP_ArrowBack);
    QAction *redo = withIcon(withShortcut(addEntry(edit, tr("&Redo"), "actionRedo"), QKeySequence::Redo), QStyle::SP_ArrowForward);
    redo->setEnabled(false);
    edit->addSeparator();
    withShortcut(addEntry(edit, tr("Cu&t"), "actionCut"), QKeySequence::Cut);
    withShortcut(addEntry(edit, tr("&Copy"), "actionCopy"), QKeySequence::Copy);
    withShortcut(addEntry(edit, tr("&Paste"), "actionPaste"), QKeySequence::Paste);
    withIcon(addEntry(edit, tr("&Delete")), QStyle::SP_TrashIcon);
    edit->addSeparator();
    QMenu *find = addMenu(edit, tr("&Find"), "findMenu");
    withShortcut(addEntry(find, tr("&Find..."), "actionFind"), QKeySequence::Find);
    withShortcut(addEntry(find, tr("Find &Next")), QKeySequence::FindNext);
    withShortcut(addEntry(find, tr("Find &Previous")), QKeySequence::FindPrevious);
    withShortcut(addEntry(find, tr("&Replace...")), QKeySequence(QStringLiteral("Ctrl+H")));
    edit->addSeparator();
    withShortcut(addEntry(edit, tr("Select &All"), "actionSelectAll"), QKeySequence::SelectAll);
}

void populateViewMenu(QMenuBar *bar, GalleryActions &actions)
{
    actions.viewMenu = addMenu(bar, tr("&View"), "viewMenu");
    actions.showStatusBar = checkable(addEntry(actions.viewMenu, tr("&Status Bar"), "actionStatusBar"), true);
    checkable(addEntry(actions.viewMenu, tr("&Line Numbers")));
    actions.viewMenu->addSeparator();
    QMenu *zoom = addMenu(actions.viewMenu, tr("&Zoom"), "zoomMenu");
    addChoices(zoom,
               { tr("50%"), tr("100%"),
                 tr("150%"), tr("200%") },
               1)
        ->setObjectName(QStringLiteral("zoomGroup"));
    zoom->addSeparator();
    withShortcut(addEntry(zoom, tr("Zoom &In")), QKeySequence::ZoomIn);
    withShortcut(addEntry(zoom, tr("Zoom &Out")), QKeySequence::ZoomOut);
}

void populateInsertMenu(QMenuBar *bar)
{
    QMenu *insert = addMenu(bar, tr("&Insert"), "insertMenu");
    withIcon(addEntry(insert, tr("&Image...")), QStyle::SP_FileDialogContentsView);
    addEntry(insert, tr("&Table..."));
    withShortcut(addEntry(insert, tr("&Link...")), QKeySequence(QStringLiteral("Ctrl+K")));
    insert->addSeparator();
    addEntry(insert, tr("&Date and Time"));
    QMenu *special = addMenu(insert, tr("Special &Character"));
    addEntry(special, tr("Em Dash"));
    addEntry(special, tr("Non-Breaking Space"));
    addEntry(special, tr("Copyright Sign"));
}

void populateFormatMenu(QMenuBar *bar, GalleryActions &actions)
{
    QMenu *format = addMenu(bar, tr("F&ormat"), "formatMenu");
    actions.bold = checkable(withShortcut(addEntry(format, tr("&Bold"), "actionBold"), QKeySequence::Bold));
    checkable(withShortcut(addEntry(format, tr("&Italic"), "actionItalic"), QKeySequence::Italic));
    checkable(withShortcut(addEntry(format, tr("&Underline")), QKeySequence::Underline));
    format->addSeparator();
    QMenu *alignment = addMenu(format, tr("&Alignment"), "alignmentMenu");
    addChoices(alignment,
               { tr("&Left"), tr("&Centre"),
                 tr("&Right"), tr("&Justify") },
               0)
        ->setObjectName(QStringLiteral("alignmentGroup"));
    format->addSeparator();
    addEntry(format, tr("&Font..."));
}

void populateToolsMenu(QMenuBar *bar)
{
    QMenu *tools = addMenu(bar, tr("&Tools"), "toolsMenu");
    withShortcut(addEntry(tools, tr("&Spelling")), QKeySequence(QStringLiteral("F7")));
    addEntry(tools, tr("&Word Count"));
    tools->addSeparator();
    // Three levels down, for walks that must not stop at the first sub-menu.
    QMenu *macros = addMenu(tools, tr("&Macros"), "macrosMenu");
    addEntry(macros, tr("&Record"));
    QMenu *runMacro = addMenu(macros, tr("R&un"));
    addEntry(runMacro, tr("Macro &1"));
    addEntry(runMacro, tr("Macro &2"));
    addEntry(runMacro, tr("Macro &3"));
    tools->addSeparator();
    withIcon(addEntry(tools, tr("&Options..."), "actionOptions"), QStyle::SP_FileDialogDetailedView);
}

void populateProjectMenus(QMenuBar *bar)
{
    QMenu *data = addMenu(bar, tr("&Data"));
    addEntry(data, tr("Sort &Ascending"));
    addEntry(data, tr("Sort &Descending"));
    data->addSeparator();
    checkable(addEntry(data, tr("&Filter")));
    data->addSeparator();
    withIcon(withShortcut(addEntry(data, tr("&Refresh")), QKeySequence::Refresh), QStyle::SP_BrowserReload);

    QMenu *run = addMenu(bar, tr("&Run"), "runMenu");
    withIcon(withShortcut(addEntry(run, tr("&Start"), "actionRun"), QKeySequence(QStringLiteral("Ctrl+R"))), QStyle::SP_MediaPlay);
    withIcon(addEntry(run, tr("S&top")), QStyle::SP_MediaStop);
    run->addSeparator();
    QMenu *configuration = addMenu(run, tr("&Configuration"));
    addChoices(configuration, { tr("&Debug"), tr("&Release") }, 0);

    QMenu *debug = addMenu(bar, tr("De&bug"));
    withShortcut(addEntry(debug, tr("&Start Debugging")), QKeySequence(QStringLiteral("F9")));
    withShortcut(addEntry(debug, tr("Step &Over")), QKeySequence(QStringLiteral("F10")));
    withShortcut(addEntry(debug, tr("Step &Into")), QKeySequence(QStringLiteral("F8")));

    QMenu *team = addMenu(bar, tr("Te&am"));
    addEntry(team, tr("&Commit..."));
    addEntry(team, tr("&Pull"));
    addEntry(team, tr("P&ush"));
    team->addSeparator();
    addEntry(team, tr("&History"));

    QMenu *analyze = addMenu(bar, tr("Anal&yze"));
    addEntry(analyze, tr("&Profile"));
    addEntry(analyze, tr("Code &Coverage"));
    addEntry(analyze, tr("&Metrics"));

    QMenu *extensions = addMenu(bar, tr("E&xtensions"));
    addEntry(extensions, tr("&Manage..."));
    addEntry(extensions, tr("&Check for Updates"));
}

void populateWindowMenu(QMenuBar *bar)
{
    QMenu *window = addMenu(bar, tr("&Window"), "windowMenu");
    addEntry(window, tr("Mi&nimize"));
    addEntry(window, tr("&Cascade"));
    addEntry(window, tr("&Tile"));
    window->addSeparator();
    // One document open in two windows: the same caption twice, deliberately.
    addChoices(window,
               { tr("notes.txt"), tr("notes.txt"),
                 tr("report.odt") },
               0)
        ->setObjectName(QStringLiteral("documentWindowGroup"));
}

void populateHelpMenu(QMenuBar *bar, GalleryActions &actions)
{
    QMenu *help = addMenu(bar, tr("&Help"), "helpMenu");
    withIcon(withShortcut(addEntry(help, tr("&Contents"), "actionHelpContents"), QKeySequence::HelpContents), QStyle::SP_DialogHelpButton);
    help->addSeparator();
    actions.about = withIcon(addEntry(help, tr("&About vrQt Gallery"), "actionAbout"), QStyle::SP_MessageBoxInformation);
    actions.aboutQt = addEntry(help, tr("About &Qt"), "actionAboutQt");
}

} // namespace

GalleryActions populateMenuBar(QMenuBar *menuBar)
{
    GalleryActions actions;
    populateFileMenu(menuBar, actions);
    populateEditMenu(menuBar);
    populateViewMenu(menuBar, actions);
    populateInsertMenu(menuBar);
    populateFormatMenu(menuBar, actions);
    populateToolsMenu(menuBar);
    populateProjectMenus(menuBar);
    populateWindowMenu(menuBar);
    populateHelpMenu(menuBar, actions);
    return actions;
}
