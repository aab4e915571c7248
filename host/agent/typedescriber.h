// What a type description offers, class by class along its chain of bases,
// as a script host learns it: type attributes, function descriptions,
// names, usage. docs/protocol.md, "describe", shows the result.
//
// Any thread: type descriptions are free-threaded.
#pragma once

#include <QJsonArray>

#include "interfaces/dispatch.h"

namespace vrqt::agent {

// One entry for each description, derived first: {"typeName", "depth",
// "members": [{"name", "memberId", "kinds", "type", "parameters", "usage",
// "usageName", "description"}]}.
QJsonArray DescribeTypeChain(ITypeInfo *typeInfo);

} // namespace vrqt::agent
