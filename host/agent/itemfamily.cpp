#include "host/agent/itemfamily.h"

#include "host/modulehost.h"

namespace vrqt::agent {

namespace {

struct FamilyRow
{
    const char *className;
    ItemFamily family;
    const char *name;
};

// A class served by a helper; subclasses are found through their chain.
constexpr FamilyRow kFamilies[] = {
    { "QListView", ItemFamily::List, "list" },
    { "QTableView", ItemFamily::Table, "table" },
    { "QTreeView", ItemFamily::Tree, "tree" },
    { "QComboBox", ItemFamily::ComboBox, "combo box" },
    { "QTabWidget", ItemFamily::TabWidget, "tab widget" },
    { "QMenu", ItemFamily::Menu, "menu" },
    { "QMenuBar", ItemFamily::MenuBar, "menu bar" },
    { "QSpinBox", ItemFamily::SpinBox, "spin box" },
    { "QDoubleSpinBox", ItemFamily::DoubleSpinBox, "double spin box" },
    { "QDateTimeEdit", ItemFamily::DateTimeEdit, "date-time edit" },
    { "QCalendarWidget", ItemFamily::Calendar, "calendar" },
    { "QCheckBox", ItemFamily::CheckBox, "check box" },
    { "QRadioButton", ItemFamily::RadioButton, "radio button" },
    { "QLineEdit", ItemFamily::LineEdit, "line edit" },
    { "QTextEdit", ItemFamily::TextEdit, "text edit" },
    { "QToolButton", ItemFamily::ToolButton, "tool button" },
    { "QAbstractScrollArea", ItemFamily::ScrollArea, "scroll area" },
};

QString textOf(const host::Bstr &text)
{
    return QString::fromUtf16(text.get() ? text.get() : u"", int(SysStringLen(text.get())));
}

} // namespace

QStringList ClassChain(QObject *object, IvrQtObjectsHelper *objects)
{
    QStringList chain;
    const QMetaObject *meta = nullptr;
    if (FAILED(objects->GetMetaObject(object, &meta)))
        return chain;
    // Meta-objects nest a few dozen deep at most; the limit guards a cycle.
    for (int depth = 0; meta && depth < 64; ++depth) {
        host::Bstr name;
        if (FAILED(objects->GetMetaClassName(meta, name.out())))
            break;
        chain.append(textOf(name));
        if (FAILED(objects->GetSuperMetaObject(meta, &meta)))
            break;
    }
    return chain;
}

ItemFamily FamilyOf(const QStringList &chain)
{
    for (const QString &className : chain) {
        for (const FamilyRow &row : kFamilies) {
            if (className == QLatin1String(row.className))
                return row.family;
        }
    }
    return ItemFamily::None;
}

QString FamilyName(ItemFamily family)
{
    for (const FamilyRow &row : kFamilies) {
        if (row.family == family)
            return QLatin1String(row.name);
    }
    return QStringLiteral("none");
}

QString ServedClasses()
{
    QStringList names;
    for (const FamilyRow &row : kFamilies)
        names.append(QLatin1String(row.className));
    return names.join(QStringLiteral(", "));
}

} // namespace vrqt::agent
