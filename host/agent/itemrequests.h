// The requests on items: `items` lists an object's items (or an editor's
// values) with their keys, states and rectangles; `item` acts on one. Both
// choose the control helper from the object's class and reach the module
// only through the helpers' interfaces. docs/protocol.md describes them.
//
// GUI thread.
#pragma once

#include <QJsonObject>

#include "host/agent/reply.h"

namespace vrqt::agent {

class ModuleView;

class ItemRequests
{
public:
    explicit ItemRequests(ModuleView &module) : module(module) {}

    Reply items(const QJsonObject &params);
    Reply item(const QJsonObject &params);

private:
    ModuleView &module;
};

} // namespace vrqt::agent
