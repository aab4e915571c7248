#include "objects/widgetqueries.h"

#include <QApplication>
#include <QMetaProperty>
#include <QWidget>

#include "platform/automation.h"
#include "values/stringbridges.h"

namespace {

// A BSTR freed at scope end.
class ScopedBstr
{
public:
    explicit ScopedBstr(const char *latin1) : value(QStringToBstr(QString::fromLatin1(latin1))) {}
    ~ScopedBstr() { SysFreeString(value); }
    ScopedBstr(const ScopedBstr &) = delete;
    ScopedBstr &operator=(const ScopedBstr &) = delete;
    operator BSTR() const { return value; }

private:
    BSTR value;
};

// Whether two widgets' class names are the same text as the host compares
// texts (VarBstrCmp in the user's locale). A name is always that to itself,
// which spares the common case the conversion.
bool SameClassName(const QWidget *left, const QWidget *right)
{
    const char *leftName = left->metaObject()->className();
    const char *rightName = right->metaObject()->className();
    return qstrcmp(leftName, rightName) == 0
        || VarBstrCmp(ScopedBstr(leftName), ScopedBstr(rightName), LOCALE_USER_DEFAULT, 0) == VARCMP_EQ;
}

// The sibling widgets of widget, itself included, in the order the host
// counts them.
QWidgetList siblingsOf(const QWidget *widget)
{
    const QWidget *parent = widget->parentWidget();
    if (!parent)
        return QApplication::topLevelWidgets();
    QWidgetList siblings;
    for (QObject *child : parent->children()) {
        if (child && child->isWidgetType())
            siblings.append(static_cast<QWidget *>(child));
    }
    return siblings;
}

// Editors carry the user's data in their text, not a caption.
constexpr const char *editorClasses[] = { "QLineEdit", "QTextEdit", "QAbstractSpinBox" };

bool isEditor(const QWidget *widget)
{
    for (const char *className : editorClasses) {
        if (widget->inherits(className))
            return true;
    }
    return false;
}

} // namespace

bool IsAlienWidget(const QWidget *widget)
{
    return !(widget->windowFlags() & Qt::Window) && !widget->testAttribute(Qt::WA_NativeWindow);
}

QList<QWidget *> AlienChildren(const QWidget *widget)
{
    QList<QWidget *> aliens;
    for (QObject *child : widget->children()) {
        if (child && child->isWidgetType() && IsAlienWidget(static_cast<QWidget *>(child)))
            aliens.append(static_cast<QWidget *>(child));
    }
    return aliens;
}

bool WidgetIndex(const QWidget *widget, int *index)
{
    *index = 1;
    // Only the full class name counts: a subclass of the widget's class is
    // another class here.
    for (const QWidget *sibling : siblingsOf(widget)) {
        if (!SameClassName(sibling, widget))
            continue;
        if (sibling == widget)
            return true;
        ++*index;
    }
    return false;
}

QString WidgetText(const QWidget *widget)
{
    if (!isEditor(widget)) {
        const QMetaObject *meta = widget->metaObject();
        const QMetaProperty text = meta->property(meta->indexOfProperty("text"));
        if (text.isReadable() && text.userType() == QMetaType::QString) {
            const QVariant value = text.read(widget);
            // An empty text is an answer: no fall-back to the title then.
            if (value.isValid())
                return value.toString();
        }
    }
    return widget->windowTitle();
}

bool HasSiblingOfSameName(const QWidget *widget)
{
    const QWidget *parent = widget->parentWidget();
    if (!parent)
        return false;
    const QString name = widget->objectName().toUpper();
    for (const QObject *child : parent->children()) {
        if (!child || child == widget || !child->isWidgetType())
            continue;
        if (child->objectName().toUpper() == name)
            return true;
    }
    return false;
}

bool ScreenPosition(const QWidget *widget, QPoint *position)
{
    if (widget->windowFlags() & Qt::Window) {
        *position = widget->pos();
        return true;
    }
    const QWidget *parent = widget->parentWidget();
    if (!parent)
        return false;
    *position = parent->mapToGlobal(widget->pos());
    return true;
}
