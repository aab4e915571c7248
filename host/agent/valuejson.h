// Values as the protocol carries them (docs/protocol.md, "Values"): what a
// call gave back, read the way a script reads it, through IDispatch.
//
// GUI thread, the agent's script thread.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include "platform/automation.h"

class QObject;

namespace vrqt::agent {

// {"vt": ..., "value": ...} and, for the host's value objects, "typeName",
// "parts" of a Qt value class, "object" for a scriptable object.
QJsonObject RenderValue(const VARIANT &value);

// Who an object is: its address, class, objectName and, on this thread, its
// path. object is read through its scriptable dispatch.
QJsonObject ObjectIdentity(IDispatch *dispatch, QObject *object);

// A request's argument as the literal it stands for: a string as it is, a
// number or a boolean in their usual spelling. False for anything else.
bool ArgumentText(const QJsonValue &argument, QString *text);

} // namespace vrqt::agent
