// The gallery's main window: menus, tool bar, a tab of pages for each
// widget family and a dock that logs what the user did.
#pragma once

#include <QMainWindow>
#include <QPointer>

class QAction;
class QDockWidget;
class QLabel;
class QPlainTextEdit;
class QTabWidget;
class QToolBar;
struct GalleryActions;

class GalleryWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit GalleryWindow(QWidget *parent = nullptr);

public slots:
    void logActivity(const QString &text);

private:
    QToolBar *createToolBar(const GalleryActions &actions);
    QTabWidget *createPages();
    QDockWidget *createActivityDock();
    void wireActions(const GalleryActions &actions, QToolBar *toolBar, QDockWidget *dock);
    void recordAction(QAction *action);
    void showFindWindow();

    // A host may delete either: each is used while it lives.
    QPointer<QPlainTextEdit> m_activityLog;
    QPointer<QLabel> m_statusLabel;
    QPointer<QWidget> m_findWindow;
};
