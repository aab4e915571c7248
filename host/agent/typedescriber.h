// What a type description offers, class by class along its chain of bases,
// as a script host learns it: type attributes, function descriptions,
// names, usage; and, from the object's meta-object, the Qt type of each
// member. docs/protocol.md, "describe", shows the result.
//
// The calling thread reads object's meta-object only, which never changes.
#pragma once

#include <QJsonArray>
#include <QJsonObject>

#include "interfaces/dispatch.h"

class QObject;

namespace vrqt::agent {

// One entry for each description, derived first: {"typeName", "depth",
// "members": [{"name", "memberId", "kinds", "type", "parameters", "usage",
// "usageName", "description", "qtType", "qtParameters", "keys"}]}. The Qt
// types are object's; without an object they are left out.
QJsonArray DescribeTypeChain(ITypeInfo *typeInfo, const QObject *object);

// The one member memberId of typeInfo's chain, as DescribeTypeChain gives
// it, with "typeName" of the description that declares it; empty when the
// chain has no such member.
QJsonObject DescribeChainMember(ITypeInfo *typeInfo, const QObject *object, MEMBERID memberId);

} // namespace vrqt::agent
