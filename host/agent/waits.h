// Waiting inside the program: until an object exists or a member has a
// value (`wait`), or until the program has settled (`settle`). Both are
// checked on the GUI thread when the program's own events have been
// delivered, never by sleeping; the serving thread waits for the outcome.
#pragma once

#include <QJsonObject>

#include <chrono>

#include "host/agent/reply.h"

namespace vrqt::agent {

class GuiExecutor;
class ModuleView;
class ScriptRequests;

class WaitRequests
{
public:
    WaitRequests(GuiExecutor &executor, ModuleView &module, ScriptRequests &scripts)
        : executor(executor), module(module), scripts(scripts)
    {
    }

    // Serving thread. params: object, and optionally member with operator
    // and value; timeout in milliseconds.
    Reply wait(const QJsonObject &params);
    // Serving thread. params: quiet (milliseconds without an event of the
    // program's, default 100) and timeout.
    Reply settle(const QJsonObject &params);

private:
    GuiExecutor &executor;
    ModuleView &module;
    ScriptRequests &scripts;
};

// How a waited-for member's value compares with the value wanted: ==, !=,
// <, <=, >, >= (numbers when both read as numbers, text otherwise) and ~
// (contains). value is the text the user wrote; false for an unknown
// operator. A value of text, a flag or an enumeration compares by its text.
bool Satisfies(const QJsonValue &actual, const QString &op, const QString &wanted, bool *known = nullptr);

} // namespace vrqt::agent
