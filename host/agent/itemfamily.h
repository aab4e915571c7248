// Which control helper serves an object, told from its class and its base
// classes as the module names them, the way any host tells it.
//
// Any thread: the module's class queries are.
#pragma once

#include <QString>
#include <QStringList>

#include "interfaces/objects.h"

class QObject;

namespace vrqt::agent {

enum class ItemFamily {
    None,
    List,
    Table,
    Tree,
    ComboBox,
    TabWidget,
    Menu,
    MenuBar,
    SpinBox,
    DoubleSpinBox,
    DateTimeEdit,
    Calendar,
    CheckBox,
    RadioButton,
    LineEdit,
    TextEdit,
    ToolButton,
    ScrollArea,
};

// The object's class, then its bases, up to QObject.
QStringList ClassChain(QObject *object, IvrQtObjectsHelper *objects);

// The family of the first class of chain that one serves; None when none does.
ItemFamily FamilyOf(const QStringList &chain);

// "list", "table", ... as results and messages name the families.
QString FamilyName(ItemFamily family);

// The classes a helper serves, for a message to a user who named another.
QString ServedClasses();

} // namespace vrqt::agent
