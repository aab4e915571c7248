// Input synthesized inside the program, where no window system gives real
// input (offscreen): Qt's own events, sent to the widget under the point
// (or holding the mouse), as the window system's input would arrive. It
// also does what Qt leaves to the window system's input: the shortcut map
// and the drag loop.
#pragma once

#include <vector>

#include "host/agent/inputstep.h"

namespace vrqt::agent {

// GUI thread.
void Synthesize(const std::vector<InputStep> &steps);

} // namespace vrqt::agent
