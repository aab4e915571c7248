#include "host/agent/objectpath.h"

#include <QApplication>
#include <QRegularExpression>
#include <QStringList>
#include <QWidget>

#include "host/scripting/variants.h"
#include "host/protocol/protocol.h"

namespace vrqt::agent {

namespace {

// How many places an ambiguous step lists.
constexpr int kListedCandidates = 5;

struct Step
{
    QString text;
    QString className; // for a step Class[index]
    int index = 0;
};

bool ParseStep(const QString &text, Step *step)
{
    static const QRegularExpression indexed(QStringLiteral("^([A-Za-z_][A-Za-z0-9_:]*)\\[([1-9][0-9]*)\\]$"));
    if (text.isEmpty())
        return false;
    step->text = text;
    const QRegularExpressionMatch match = indexed.match(text);
    if (match.hasMatch()) {
        step->className = match.captured(1);
        step->index = match.captured(2).toInt();
    }
    return true;
}

QString ClassOf(const QObject *object)
{
    return QLatin1String(object->metaObject()->className());
}

// The objects an index counts among: the parent's children, or the
// top-level widgets for a window, as `vrqt tree` counts them.
QObjectList SiblingsOf(const QObject *object)
{
    if (QObject *parent = object->parent())
        return parent->children();
    QObjectList siblings;
    if (object->isWidgetType()) {
        for (QWidget *widget : QApplication::topLevelWidgets())
            siblings.append(widget);
    } else {
        siblings.append(const_cast<QObject *>(object));
    }
    return siblings;
}

int IndexOf(const QObject *object)
{
    const QString className = ClassOf(object);
    int index = 0;
    for (const QObject *sibling : SiblingsOf(object)) {
        if (sibling && ClassOf(sibling) == className) {
            ++index;
            if (sibling == object)
                return index;
        }
    }
    return 0;
}

void AddSubtree(QObject *object, QObjectList *into)
{
    into->append(object);
    for (QObject *child : object->children()) {
        if (child)
            AddSubtree(child, into);
    }
}

QObjectList Everything()
{
    QObjectList all;
    for (QWidget *widget : QApplication::topLevelWidgets())
        AddSubtree(widget, &all);
    if (QCoreApplication *application = QCoreApplication::instance())
        AddSubtree(application, &all);
    return all;
}

QObjectList Below(QObject *object)
{
    QObjectList below;
    AddSubtree(object, &below);
    below.removeFirst();
    return below;
}

QObjectList Matching(const QObjectList &scope, const Step &step)
{
    QObjectList byName, byClass;
    for (QObject *object : scope) {
        if (!step.className.isEmpty()) {
            if (ClassOf(object) == step.className && IndexOf(object) == step.index)
                byClass.append(object);
            continue;
        }
        if (object->objectName() == step.text)
            byName.append(object);
        else if (ClassOf(object) == step.text)
            byClass.append(object);
    }
    return byName.isEmpty() ? byClass : byName;
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
    const QStringList texts = reference.split(QLatin1Char('/'));
    QObject *found = nullptr;
    for (const QString &text : texts) {
        Step step;
        if (!ParseStep(text, &step))
            return Refuse(protocol::error::kInvalidParams, QStringLiteral("\"%1\" has an empty step").arg(reference));
        const QObjectList matches = Matching(found ? Below(found) : Everything(), step);
        if (matches.isEmpty()) {
            const QString where = found ? QStringLiteral(" below %1").arg(ObjectPath(found)) : QString();
            return Refuse(protocol::error::kNoSuchObject, QStringLiteral("no object \"%1\"%2").arg(text, where));
        }
        if (matches.size() > 1) {
            QStringList places;
            for (int index = 0; index < matches.size() && index < kListedCandidates; ++index)
                places << ObjectPath(matches.at(index));
            if (matches.size() > kListedCandidates)
                places << QStringLiteral("...");
            return Refuse(protocol::error::kAmbiguousObject,
                          QStringLiteral("\"%1\" names %2 objects: %3").arg(text).arg(matches.size()).arg(places.join(QStringLiteral(", "))));
        }
        found = matches.first();
    }
    ObjectLookup lookup;
    lookup.object = found;
    return lookup;
}

QString ObjectPath(const QObject *object)
{
    QStringList steps;
    for (const QObject *step = object; step; step = step->parent()) {
        const QString name = step->objectName();
        steps.prepend(name.isEmpty() ? QStringLiteral("%1[%2]").arg(ClassOf(step)).arg(IndexOf(step)) : name);
    }
    return steps.join(QLatin1Char('/'));
}

} // namespace vrqt::agent
