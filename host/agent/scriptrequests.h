// The scripting requests: get, set, call and describe. Each names an object
// (objectpath.h) and a member path ("geometry.width"), walks the path
// through IDispatch as a script host does, and lets the script session run
// every call on the object's own thread. docs/protocol.md describes their
// parameters, results and errors.
//
// GUI thread: it is the agent's script thread.
#pragma once

#include <QJsonObject>

#include "host/agent/reply.h"

namespace vrqt::agent {

class ModuleView;

class ScriptRequests
{
public:
    explicit ScriptRequests(ModuleView &module) : module(module) {}

    Reply get(const QJsonObject &params);
    Reply set(const QJsonObject &params);
    Reply call(const QJsonObject &params);
    Reply describe(const QJsonObject &params);

private:
    ModuleView &module;
};

} // namespace vrqt::agent
