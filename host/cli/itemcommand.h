// `vrqt items` and `vrqt item`: an object's items, or one action on one of
// them, through the control helpers.
#pragma once

#include <QJsonObject>

#include "host/cli/options.h"

namespace vrqt::cli {

// The request's params for options ("items" or "item").
QJsonObject itemRequestParams(const CommandOptions &options);

// Writes the result to standard output and every message to standard error.
int runItems(const CommandOptions &options);

} // namespace vrqt::cli
