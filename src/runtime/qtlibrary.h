// Which Qt the application runs: its family (the Qt generation) and its
// core library's version.
#pragma once

#include "platform/automation.h"

// The Qt generation picks the form of object controllers: 1 the Qt 4
// family (guard cells), 2 the Qt 5 family (listeners). It is 0 until its
// first use, which sets the family the module was built against, unless
// the environment variable VRQT_QT_GENERATION holds 1 or 2 at that moment.
// The first use must come from one thread at a time.
LONG QtGeneration();

// The loaded Qt core library of the current generation: the release
// library first, then the debug library; null when neither is loaded.
HMODULE GetQtCoreModule();

// The release name of a Qt core library of another major version than the
// module's, when the process has one loaded: such a process runs a Qt whose
// objects this module cannot read. Null otherwise. Any thread.
const OLECHAR *ForeignQtCoreLibrary();

// The core library's version, read once and cached; zeroes when it could
// not be read (and those are cached as well).
void GetQtFileVersion(WORD *major, WORD *minor, WORD *patch);
