// `vrqt record`: one line for each action of the user, as it happens.
#pragma once

#include <QJsonObject>

#include <string>

#include "host/cli/options.h"

namespace vrqt::cli {

// An action of the record request as one line of text: the time of day, the
// object's exact path, the event, then key=, value= or state=, column=,
// orientation=, view= and double-click as the event has them. Paths and
// keys that a shell would split are quoted.
std::string renderActionText(const QJsonObject &action);

// Prints the program's actions until it ends, or until Ctrl-C.
int runRecord(const CommandOptions &options);

} // namespace vrqt::cli
