// How a request names an object, in the terms `vrqt tree` prints:
//
//   @0x55d0c0a1b2c0        the address, as the tree shows it
//   okButton               the object whose objectName that is, anywhere
//   Calculator             with no such name: the object of that class
//   dialog/okButton        each step searched below the object before it
//   Calculator/Button[3]   a class with the index the tree shows
//
// The search covers every top-level widget and the application object,
// with all their children, in the order Qt lists them. A step that fits
// more than one object is an error that lists where they are.
//
// GUI thread only.
#pragma once

#include <QString>

#include "interfaces/objects.h"

class QObject;

namespace vrqt::agent {

struct ObjectLookup
{
    QObject *object = nullptr;
    const char *error = nullptr; // a protocol error code when object is null
    QString message;
};

// objects probes addresses given with '@'.
ObjectLookup FindObject(const QString &reference, IvrQtObjectsHelper *objects);

// A reference FindObject reads: the steps from the object's top-level
// ancestor down, each an objectName or, without one, Class[index].
QString ObjectPath(const QObject *object);

} // namespace vrqt::agent
