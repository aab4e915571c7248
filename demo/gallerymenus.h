// The main window's menu bar: a word processor's worth of menus, more than a
// narrow window can show, so that the bar overflows into its extension button.
#pragma once

class QAction;
class QMenu;
class QMenuBar;

// The entries the window wires to itself or shares with its tool bar.
struct GalleryActions
{
    QAction *newDocument = nullptr;
    QAction *open = nullptr;
    QAction *save = nullptr;
    QAction *bold = nullptr;
    QAction *showStatusBar = nullptr;
    QAction *quit = nullptr;
    QAction *about = nullptr;
    QAction *aboutQt = nullptr;
    QMenu *viewMenu = nullptr;
};

GalleryActions populateMenuBar(QMenuBar *menuBar);
