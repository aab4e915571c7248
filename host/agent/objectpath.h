// How a request names an object, in the terms `vrqt tree` prints:
//
//   @0x55d0c0a1b2c0             the address, as the tree shows it
//   /galleryWindow/buttonsPage  from a window down, each step a direct child:
//                               the exact form, which every printed path has
//   okButton                    a lone step: the object of that name, anywhere
//   dialog/okButton             dialog anywhere, okButton a child of it
//   dialog//okButton            okButton anywhere below dialog
//
// A step is an objectName, or (when no object in its scope has that name) a
// class name, or * for any object, followed by what narrows it:
//
//   QPushButton[3]              the third QPushButton among its siblings,
//                               as the tree's index= counts them
//   QPushButton[text=OK]        whose property text reads OK; values may be
//                               quoted ("a/b"), enumerations go by key name
//   *[windowTitle="Open File"]  conditions may follow any step, several too
//   QLineEdit#2                 the second of the step's matches, in tree order
//
// A lone step searches every object reachable from the windows and the
// application object; a step that fits more than one object is an error
// that lists where they are.
//
// GUI thread only.
#pragma once

#include <QHash>
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

// The exact path of an object, which FindObject resolves to it alone: from
// its topmost ancestor down, each step its objectName where that is unique
// among its siblings and plain, Class[index] otherwise.
QString ObjectPath(const QObject *object);

// Paths of many objects at once, sharing the work for common ancestors and
// siblings; for one walk over objects that do not change meanwhile.
class ObjectPaths
{
public:
    QString pathOf(const QObject *object);

private:
    QString stepOf(const QObject *object);

    QHash<const QObject *, QString> paths;
    QHash<const QObject *, QString> steps;
};

} // namespace vrqt::agent
