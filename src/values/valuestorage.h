// Heap storage of exactly the C type a declared type name gives: filled from
// a QVariant for a value Qt produced, or empty for the result of a method
// call. Scalars are later copied bit for bit into a VARIANT; Qt classes are
// handed to the host's factory, which takes the storage over.
#pragma once

#include <QString>
#include <QVariant>

#include "values/storagerows.h"

// New storage for the row whose name equals typeName without regard to case
// (asterisks stay in typeName: "QObject*" and "void*" have rows of their
// own), filled by qvariant_cast of the row's type: a value Qt cannot
// convert becomes the type's default. Null when no row matches ("BSTR",
// "QObject", "QModelIndex", ...) or memory runs out. Qt's long and ulong are
// narrowed to the automation's 32 bits here.
// Thread: the thread that owns the value's object.
void *CreateValueFromQVariant(const QVariant &value, const QString &typeName);

// New storage for a method's result: 8 bytes for any name when pointerDepth
// is not 0; otherwise the row whose name equals typeName (no asterisks)
// without regard to case: zeroed scalar bytes or a default-constructed Qt
// class ("QWidget" is a real parentless widget, "QPicture" a QPicture(-1)).
// Null when no row matches.
// Thread: the thread that owns the object; a "QWidget" row needs the GUI thread.
void *CreateEmptyValue(const char *typeName, int pointerDepth);

// Frees storage that either function above made, by the type name of its
// description (asterisks kept): a Qt class is destroyed as that class,
// everything else is scalar or pointer storage. Null does nothing.
void DestroyValue(void *storage, const QString &typeName);

// The rows each function above would find for typeName (asterisks kept).
StorageRows FindStorageRows(const QString &typeName);

// The same three, with rows found beforehand.
void *CreateValueFromQVariant(const QVariant &value, const StorageRows &rows);
// For a scalar row: the value as CreateValueFromQVariant would store it,
// into 8 bytes at cell instead of new storage. False for any other row.
bool FillScalarFromQVariant(const QVariant &value, const StorageRows &rows, void *cell);
void *CreateEmptyValue(const StorageRows &rows, int pointerDepth);
void DestroyValue(void *storage, const StorageRows &rows);
