// The searches and captions that the menu, menu bar and control helpers
// share: which menu pops up for a widget, which bar a menu hangs from, and
// the texts that name a menu entry for the host. All run on the caller's
// thread and read only.
#pragma once

#include <QString>

class QAction;
class QMenu;
class QMenuBar;
class QToolButton;
class QWidget;

// The context menu of widget: null when widget is itself a menu; else the
// first QMenu child, or for a menu bar the first whose title is empty and
// whose menu action is no separator; null when there is none.
QMenu *FindPopupMenu(const QWidget *widget);

// The first menu bar among all widgets, not hidden, with an entry whose
// menu() is menu; null when none.
QMenuBar *FindMenuBarOfMenu(const QWidget *menu);

// The button that opens a bar's overflow popup: its first QToolButton child.
QToolButton *FindExtensionButton(const QMenuBar *bar);

// The entry's text as the user reads it, accelerator marks removed.
QString GetActionText(const QAction *action);

// The entry's name among widget's entries: "[i]", i its position, when its
// text is empty or another entry has the same raw text, else its text.
QString GetActionCaption(const QWidget *widget, QAction *action);

// The caption of menu's top menu on the bar it hangs from; empty when it
// hangs from none.
QString GetMenuCaption(QWidget *menu);

// The captions from the bar down to action, joined with "|". A bar's own
// entry has its caption alone.
QString BuildItemPath(QWidget *widget, QAction *action);

// Who shows a menu: the bar it hangs from (not a context menu), the widget
// that owns it (a context menu), or, for a menu without a parent, the menu
// itself (not a context menu).
struct MenuOwner {
    QWidget *owner = nullptr;
    bool isContext = true;
};
MenuOwner FindMenuOwner(QWidget *menu);
