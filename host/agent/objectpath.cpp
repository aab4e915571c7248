#include "host/agent/objectpath.h"

#include <QApplication>
#include <QMetaProperty>
#include <QPointer>
#include <QThread>
#include <QStringList>
#include <QWidget>

#include "host/protocol/protocol.h"
#include "host/scripting/variants.h"

namespace vrqt::agent {

namespace {

// How many places an ambiguous step lists.
constexpr int kListedCandidates = 5;

struct Condition
{
    QString property;
    QString value;
};

struct Step
{
    QString text;          // as written, for messages
    QString head;          // a name or class; empty for *
    int siblingIndex = 0;  // Class[index]; 0 when not given
    QList<Condition> conditions;
    int matchIndex = 0;    // #N; 0 when not given
    bool deep = false;     // searched below the previous step at any depth
};

QString ClassOf(const QObject *object)
{
    return QLatin1String(object->metaObject()->className());
}

QList<QPointer<QWidget>> ParentlessWidgets()
{
    QList<QPointer<QWidget>> widgets;
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (!widget->parent())
            widgets.append(widget);
    }
    return widgets;
}

QObjectList Alive(const QList<QPointer<QWidget>> &widgets)
{
    QObjectList alive;
    alive.reserve(widgets.size());
    for (const QPointer<QWidget> &widget : widgets) {
        if (widget)
            alive.append(widget);
    }
    return alive;
}

// The parentless widgets, kept between look-ups: QApplication::
// topLevelWidgets() goes through every widget of the program. A widget that
// is created or changes parent may be a new one, so either has the list
// gathered again; one that is deleted drops out of it by itself.
class TopLevelWidgets : public QObject
{
public:
    // GUI thread of a QApplication. The watch has no parent, so that it
    // shifts no index among the application's children, and stays for the
    // life of the process; it follows a new application object.
    static QObjectList current()
    {
        static TopLevelWidgets *const watch = new TopLevelWidgets;
        QCoreApplication *application = QCoreApplication::instance();
        if (watch->application != application) {
            watch->application = application;
            application->installEventFilter(watch);
            watch->stale = true;
        }
        return watch->list();
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Create || event->type() == QEvent::ParentChange)
            stale = true;
        return false;
    }

private:
    QObjectList list()
    {
        if (stale) {
            widgets = ParentlessWidgets();
            stale = false;
        }
        return Alive(widgets);
    }

    QPointer<QCoreApplication> application;
    bool stale = true;
    QList<QPointer<QWidget>> widgets;
};

// The objects without a parent that the search starts from: the windows
// (a dialog with a parent window is its parent's child, not a root) and the
// application object.
QObjectList Roots()
{
    QObjectList roots;
    QCoreApplication *application = QCoreApplication::instance();
    if (qobject_cast<QApplication *>(application))
        roots = QThread::currentThread() == application->thread() ? TopLevelWidgets::current() : Alive(ParentlessWidgets());
    if (application)
        roots.append(application);
    return roots;
}

QObjectList SiblingsOf(const QObject *object)
{
    return object->parent() ? object->parent()->children() : Roots();
}

bool IsClass(const QObject *object, const QString &className)
{
    return className == QLatin1String(object->metaObject()->className());
}

// Where a step looks: the given objects, and with deep everything below them.
struct Scope
{
    QObjectList tops;
    bool deep = false;
};

// Visits in the order of the tree, without gathering the objects first: a
// search of the whole application is the common case.
template<typename Visit>
void VisitSubtree(QObject *object, const Visit &visit)
{
    visit(object);
    for (QObject *child : object->children()) {
        if (child)
            VisitSubtree(child, visit);
    }
}

template<typename Visit>
void VisitScope(const Scope &scope, const Visit &visit)
{
    for (QObject *top : scope.tops) {
        if (!top)
            continue;
        if (scope.deep)
            VisitSubtree(top, visit);
        else
            visit(top);
    }
}

// A step's name may be written as a step when nothing in it reads as syntax.
bool IsPlainName(const QString &name)
{
    static const QString special = QStringLiteral("/[]#\"\\*@");
    if (name.isEmpty() || name.trimmed() != name)
        return false;
    for (const QChar c : name) {
        if (special.contains(c) || c.category() == QChar::Other_Control)
            return false;
    }
    return true;
}

// A property's value as a condition compares it: enumerations by key name.
QString PropertyText(const QObject *object, const QString &name)
{
    const QMetaObject *meta = object->metaObject();
    const int index = meta->indexOfProperty(name.toUtf8().constData());
    const QVariant value = object->property(name.toUtf8().constData());
    if (index >= 0) {
        const QMetaProperty property = meta->property(index);
        if (property.isEnumType() || property.isFlagType()) {
            const QMetaEnum enumeration = property.enumerator();
            const int number = value.toInt();
            const QByteArray key = property.isFlagType() ? enumeration.valueToKeys(number) : QByteArray(enumeration.valueToKey(number));
            if (!key.isEmpty())
                return QString::fromLatin1(key);
        }
    }
    if (value.userType() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return value.toString();
}

// Reads a quoted or bare value up to the closing ']'; at points past it.
bool ReadValue(const QString &text, int *at, QString *value)
{
    value->clear();
    if (*at < text.size() && text.at(*at) == QLatin1Char('"')) {
        for (++*at; *at < text.size(); ++*at) {
            const QChar c = text.at(*at);
            if (c == QLatin1Char('\\') && *at + 1 < text.size()) {
                *value += text.at(++*at);
            } else if (c == QLatin1Char('"')) {
                ++*at;
                return *at < text.size() && text.at(*at) == QLatin1Char(']');
            } else {
                *value += c;
            }
        }
        return false;
    }
    while (*at < text.size() && text.at(*at) != QLatin1Char(']'))
        *value += text.at((*at)++);
    return *at < text.size();
}

// Splits a path into steps, keeping '/' inside quotes and brackets. absolute
// tells whether it began with '/'. False with a message when it is malformed.
bool ParsePath(const QString &reference, QList<Step> *steps, bool *absolute, QString *error)
{
    int at = 0;
    *absolute = reference.startsWith(QLatin1Char('/')) && !reference.startsWith(QLatin1String("//"));
    bool deep = reference.startsWith(QLatin1String("//"));
    at = deep ? 2 : *absolute ? 1 : 0;
    while (at <= reference.size()) {
        Step step;
        step.deep = deep;
        const int begin = at;
        // The head: up to '[', '#' or '/'.
        while (at < reference.size() && !QStringLiteral("[#/").contains(reference.at(at)))
            step.head += reference.at(at++);
        if (step.head == QLatin1String("*"))
            step.head.clear();
        else if (step.head.isEmpty()) {
            *error = QStringLiteral("\"%1\" has an empty step").arg(reference);
            return false;
        }
        while (at < reference.size() && reference.at(at) == QLatin1Char('[')) {
            ++at;
            QString inside;
            int probe = at;
            while (probe < reference.size() && reference.at(probe).isDigit())
                inside += reference.at(probe++);
            if (!inside.isEmpty() && probe < reference.size() && reference.at(probe) == QLatin1Char(']')) {
                step.siblingIndex = inside.toInt();
                at = probe + 1;
                continue;
            }
            const int equals = reference.indexOf(QLatin1Char('='), at);
            if (equals < 0) {
                *error = QStringLiteral("\"%1\": a condition is [property=value] or an index [N]").arg(reference);
                return false;
            }
            Condition condition;
            condition.property = reference.mid(at, equals - at).trimmed();
            at = equals + 1;
            if (condition.property.isEmpty() || !ReadValue(reference, &at, &condition.value)) {
                *error = QStringLiteral("\"%1\": a condition is [property=value], with \"...\" around a value that holds ] or /").arg(reference);
                return false;
            }
            ++at; // the ']'
            step.conditions.append(condition);
        }
        if (at < reference.size() && reference.at(at) == QLatin1Char('#')) {
            int end = ++at;
            while (end < reference.size() && reference.at(end).isDigit())
                ++end;
            step.matchIndex = reference.mid(at, end - at).toInt();
            if (step.matchIndex <= 0) {
                *error = QStringLiteral("\"%1\": #N counts matches from 1").arg(reference);
                return false;
            }
            at = end;
        }
        step.text = reference.mid(begin, at - begin);
        steps->append(step);
        if (at >= reference.size())
            break;
        if (reference.at(at) != QLatin1Char('/')) {
            *error = QStringLiteral("\"%1\": unexpected \"%2\" after a step").arg(reference, reference.at(at));
            return false;
        }
        deep = reference.mid(at, 2) == QLatin1String("//");
        at += deep ? 2 : 1;
        if (at >= reference.size()) {
            *error = QStringLiteral("\"%1\" ends with a '/'").arg(reference);
            return false;
        }
    }
    return true;
}

int IndexAmongSiblings(const QObject *object)
{
    const char *className = object->metaObject()->className();
    int index = 0;
    for (const QObject *sibling : SiblingsOf(object)) {
        if (sibling && qstrcmp(sibling->metaObject()->className(), className) == 0) {
            ++index;
            if (sibling == object)
                return index;
        }
    }
    return 0;
}

bool Fits(const QObject *object, const Step &step, bool byName)
{
    if (!step.head.isEmpty()) {
        if (byName ? object->objectName() != step.head : !IsClass(object, step.head))
            return false;
    }
    if (step.siblingIndex && IndexAmongSiblings(object) != step.siblingIndex)
        return false;
    for (const Condition &condition : step.conditions) {
        if (PropertyText(object, condition.property) != condition.value)
            return false;
    }
    return true;
}

QObjectList Matching(const Scope &scope, const Step &step)
{
    // A name wins over a class: a class is looked for only when nothing in
    // the scope has that name. An index among siblings names a class.
    // One walk gathers both.
    const bool byName = !step.head.isEmpty() && !step.siblingIndex;
    QObjectList named, ofClass;
    VisitScope(scope, [&](QObject *object) {
        if (byName && Fits(object, step, true))
            named.append(object);
        else if (named.isEmpty() && Fits(object, step, false))
            ofClass.append(object);
    });
    const QObjectList &matches = named.isEmpty() ? ofClass : named;
    if (step.matchIndex) {
        if (step.matchIndex > matches.size())
            return {};
        return { matches.at(step.matchIndex - 1) };
    }
    return matches;
}

ObjectLookup Refuse(const char *code, const QString &message)
{
    ObjectLookup lookup;
    lookup.error = code;
    lookup.message = message;
    return lookup;
}

ObjectLookup FindByAddress(const QString &reference, IvrQtObjectsHelper *objects)
{
    QString digits = reference.mid(1);
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        digits = digits.mid(2);
    bool valid = false;
    const quintptr address = quintptr(digits.toULongLong(&valid, 16));
    if (!valid)
        return Refuse(protocol::error::kInvalidParams, QStringLiteral("\"%1\" is not an address").arg(reference));
    void *pointer = reinterpret_cast<void *>(address);
    if (!objects || objects->IsQObject(pointer) != VARIANT_TRUE)
        return Refuse(protocol::error::kNoSuchObject, QStringLiteral("there is no object at %1").arg(scripting::AddressText(pointer)));
    ObjectLookup lookup;
    lookup.object = static_cast<QObject *>(pointer);
    return lookup;
}

} // namespace

ObjectLookup FindObject(const QString &reference, IvrQtObjectsHelper *objects)
{
    if (reference.startsWith(QLatin1Char('@')))
        return FindByAddress(reference, objects);
    QList<Step> steps;
    bool absolute = false;
    QString error;
    if (!ParsePath(reference, &steps, &absolute, &error))
        return Refuse(protocol::error::kInvalidParams, error);
    ObjectPaths paths;
    QObject *found = nullptr;
    for (int index = 0; index < steps.size(); ++index) {
        const Step &step = steps.at(index);
        const Scope scope{ found ? found->children() : Roots(), found ? step.deep : !absolute };
        const QObjectList matches = Matching(scope, step);
        if (matches.isEmpty()) {
            const QString where = found ? QStringLiteral(" %1 %2").arg(step.deep ? QStringLiteral("below") : QStringLiteral("among the children of"),
                                                                        paths.pathOf(found))
                                        : absolute ? QStringLiteral(" among the windows") : QString();
            return Refuse(protocol::error::kNoSuchObject, QStringLiteral("no object \"%1\"%2").arg(step.text, where));
        }
        if (matches.size() > 1) {
            QStringList places;
            for (int candidate = 0; candidate < matches.size() && candidate < kListedCandidates; ++candidate)
                places << paths.pathOf(matches.at(candidate));
            if (matches.size() > kListedCandidates)
                places << QStringLiteral("...");
            return Refuse(protocol::error::kAmbiguousObject,
                          QStringLiteral("\"%1\" names %2 objects: %3").arg(step.text).arg(matches.size()).arg(places.join(QStringLiteral(", "))));
        }
        found = matches.first();
    }
    ObjectLookup lookup;
    lookup.object = found;
    return lookup;
}

QString ObjectPath(const QObject *object)
{
    return ObjectPaths().pathOf(object);
}

QString ObjectPaths::pathOf(const QObject *object)
{
    const auto known = paths.constFind(object);
    if (known != paths.constEnd())
        return *known;
    // The parent's path first: it fills the tables that a step copied out
    // of them must not outlive.
    const QObject *parent = object->parent();
    const QString above = parent ? pathOf(parent) : QString();
    const QString path = above + QLatin1Char('/') + stepOf(object);
    paths.insert(object, path);
    return path;
}

QString ObjectPaths::stepOf(const QObject *object)
{
    const auto known = steps.constFind(object);
    if (known != steps.constEnd())
        return *known;
    // The steps of all siblings at once: a name where it is unique among
    // them, Class[index] for the rest.
    const QObjectList siblings = SiblingsOf(object);
    QHash<QString, int> names, classes;
    for (const QObject *sibling : siblings) {
        if (sibling)
            ++names[sibling->objectName()];
    }
    for (const QObject *sibling : siblings) {
        if (!sibling)
            continue;
        const QString name = sibling->objectName();
        const QString className = ClassOf(sibling);
        const int index = ++classes[className];
        const bool byName = IsPlainName(name) && names.value(name) == 1;
        steps.insert(sibling, byName ? name : QStringLiteral("%1[%2]").arg(className).arg(index));
    }
    if (!steps.contains(object)) // not among what its parent lists (being destroyed)
        steps.insert(object, QStringLiteral("%1[0]").arg(ClassOf(object)));
    return *steps.constFind(object);
}

} // namespace vrqt::agent
