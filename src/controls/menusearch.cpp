#include "controls/menusearch.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QToolButton>

#include "controls/itemkeys.h"

namespace {

// The top of the chain of menus that menu hangs from by its parents, and in
// firstOther the first parent that is no menu (null at the top of the tree).
QWidget *ClimbMenus(QWidget *menu, QWidget **firstOther)
{
    QWidget *top = menu;
    QWidget *parent = top->parentWidget();
    while (qobject_cast<QMenu *>(parent)) {
        top = parent;
        parent = top->parentWidget();
    }
    *firstOther = parent;
    return top;
}

// The entry that opens widget when it is a menu; null for anything else.
QAction *MenuActionOf(QWidget *widget)
{
    QMenu *menu = qobject_cast<QMenu *>(widget);
    return menu ? menu->menuAction() : nullptr;
}

} // namespace

QMenu *FindPopupMenu(const QWidget *widget)
{
    if (qobject_cast<const QMenu *>(widget))
        return nullptr;
    const bool isBar = qobject_cast<const QMenuBar *>(widget) != nullptr;
    for (QObject *child : widget->children()) {
        QMenu *menu = qobject_cast<QMenu *>(child);
        if (!menu)
            continue;
        // A bar's titled menus are its entries; its context menu has no title.
        if (!isBar || (menu->title().isEmpty() && !menu->menuAction()->isSeparator()))
            return menu;
    }
    return nullptr;
}

QMenuBar *FindMenuBarOfMenu(const QWidget *menu)
{
    const QWidgetList widgets = QApplication::allWidgets();
    for (QWidget *widget : widgets) {
        QMenuBar *bar = qobject_cast<QMenuBar *>(widget);
        if (!bar || bar->testAttribute(Qt::WA_WState_Hidden))
            continue;
        const QList<QAction *> actions = bar->actions();
        for (QAction *action : actions) {
            if (action->menu() == menu)
                return bar;
        }
    }
    return nullptr;
}

QToolButton *FindExtensionButton(const QMenuBar *bar)
{
    for (QObject *child : bar->children()) {
        if (QToolButton *button = qobject_cast<QToolButton *>(child))
            return button;
    }
    return nullptr;
}

QString GetActionText(const QAction *action)
{
    return StripAccelerators(action->text());
}

QString GetActionCaption(const QWidget *widget, QAction *action)
{
    const QList<QAction *> actions = widget->actions();
    const int position = int(actions.indexOf(action));
    const QString text = action->text();
    bool byPosition = text.isEmpty();
    for (const QAction *other : actions) {
        if (other != action && other->text() == text)
            byPosition = true;
    }
    if (byPosition)
        return QStringLiteral("[%1]").arg(position);
    return GetActionText(action);
}

QString GetMenuCaption(QWidget *menu)
{
    QWidget *parent = nullptr;
    QWidget *top = ClimbMenus(menu, &parent);
    QMenuBar *bar = qobject_cast<QMenuBar *>(parent);
    if (!bar)
        bar = FindMenuBarOfMenu(top);
    QAction *opener = MenuActionOf(top);
    if (bar && opener && bar->actions().contains(opener))
        return GetActionCaption(bar, opener);
    return QString();
}

QString BuildItemPath(QWidget *widget, QAction *action)
{
    QString path = GetActionCaption(widget, action);
    QMenu *menu = qobject_cast<QMenu *>(widget);
    // A bar's entry is where every path starts: its caption is the whole path.
    if (!menu)
        return path;
    while (QMenu *parent = qobject_cast<QMenu *>(menu->parentWidget())) {
        path = GetActionCaption(parent, menu->menuAction()) + QLatin1Char('|') + path;
        menu = parent;
    }
    const QString caption = GetMenuCaption(menu);
    if (!caption.isEmpty())
        path = caption + QLatin1Char('|') + path;
    return path;
}

MenuOwner FindMenuOwner(QWidget *menu)
{
    MenuOwner result;
    QWidget *parent = nullptr;
    QWidget *top = ClimbMenus(menu, &parent);
    QMenuBar *bar = qobject_cast<QMenuBar *>(parent);
    if (!bar)
        bar = FindMenuBarOfMenu(top);
    if (!bar) {
        if (parent) {
            result.owner = parent;
        } else {
            result.owner = top;
            result.isContext = false;
        }
        return result;
    }
    // A menu the bar opens, from its entries or its overflow button, is no
    // context menu; any other child of the bar is.
    const QToolButton *extension = FindExtensionButton(bar);
    QAction *opener = MenuActionOf(top);
    if ((extension && extension->menu() == top) || (opener && bar->actions().contains(opener)))
        result.isContext = false;
    result.owner = bar;
    return result;
}
