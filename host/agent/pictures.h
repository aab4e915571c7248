// Pictures of what the program shows: an object, the main window or the
// screen, saved as PNG, with the rectangles of what can be named in it
// (its items, or its widgets), drawn and labelled on request. GUI thread.
#pragma once

#include <QJsonObject>

#include "host/agent/reply.h"

namespace vrqt::agent {

class ItemRequests;
class ModuleView;

class PictureRequests
{
public:
    PictureRequests(ModuleView &module, ItemRequests &items) : module(module), items(items) {}

    // params: path (an absolute file name), and optionally object (default
    // the main window), screen (the whole screen instead), outline (draw
    // the rectangles).
    Reply shot(const QJsonObject &params);

private:
    ModuleView &module;
    ItemRequests &items;
};

} // namespace vrqt::agent
