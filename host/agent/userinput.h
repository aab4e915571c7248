// Acting like a user: clicks, double clicks, right clicks, typing, key
// sequences, drags and wheel turns on an object or one of its items, at the
// centre of the rectangle the module reports, after bringing the item into
// view. Under the X window system the input is real (the X server's test
// extension, from the serving thread, so that the GUI thread is free to
// take it); elsewhere it is synthesized inside the program with Qt's public
// event API, to the widget under the point.
#pragma once

#include <QJsonObject>

#include "host/agent/inputstep.h"
#include "host/agent/reply.h"

namespace vrqt::agent {

class GuiExecutor;
class ItemRequests;
class ModuleView;

class UserInput
{
public:
    UserInput(GuiExecutor &executor, ModuleView &module, ItemRequests &items)
        : executor(executor), module(module), items(items)
    {
    }

    // Serving thread. params: action (click, dclick, rclick, type, key,
    // drag, scroll), object, item, text, sequence, steps, to {object, item},
    // mode ("auto", "real", "synthesized"), timeout.
    Reply act(const QJsonObject &params);

private:
    // One action on a point that can be found now.
    Reply actOnce(const QJsonObject &params);

    GuiExecutor &executor;
    ModuleView &module;
    ItemRequests &items;
};

} // namespace vrqt::agent
