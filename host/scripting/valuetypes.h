// The values the module hands the host, by the type name it wraps them
// under: what C type the storage is, how it is freed, how a script reads it
// and how the host makes one from a script's text. One table, so that
// freeing and reading never disagree about a name.
#pragma once

#include <QString>
#include <QVariant>

#include <vector>

namespace vrqt::scripting {

enum class ValueKind {
    Value,         // a Qt class by value: the storage is the class itself
    ObjectPointer, // "QObject*", "QWidget*": an 8-byte cell holding the pointer
    Object,        // "QObject", "QWidget": the storage is the object itself
    Pointer,       // any other name with '*': an 8-byte cell holding an address nobody follows
    Unknown,       // a name this host does not know
};

// One named number or text a script can read of a value (x of a QRect).
struct ValuePart
{
    const char *name;
    QVariant value; // int, double, bool or QString
};

struct ValueType
{
    const char *name;
    ValueKind kind;
    // Frees storage of this type; null for Unknown, whose storage is
    // deliberately left alone: freeing it as the wrong C type would be worse.
    // Any thread: what only the GUI thread may free is sent there.
    void (*destroy)(void *storage);
    // Value kind only, never given null storage.
    QString (*text)(const void *storage);
    std::vector<ValuePart> (*parts)(const void *storage);
    // New storage read from a script's text; null when the text does not
    // read as the type. Null for types without a text form.
    void *(*fromText)(const QString &text);
};

// The row for typeName, compared without regard to case as the module's
// storage rows compare it; never null.
const ValueType &ValueTypeOf(const QString &typeName);

// An 8-byte cell holding pointer, as the module makes for "QObject*"; the
// "QObject*" row frees it.
void *NewPointerCell(const void *pointer);
// The pointer an ObjectPointer or Pointer cell holds, or an Object storage
// itself; null for null storage and for value kinds.
void *PointerOf(const ValueType &type, const void *storage);

} // namespace vrqt::scripting
