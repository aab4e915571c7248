// How the module's front door reaches the one object manager.
#pragma once

#include "interfaces/unknown.h"

// The single manager, made with one reference on first use; a borrowed
// pointer. No lock: the first call must come from one thread at a time.
IUnknown *GetObjectManagerInstance();

// Runs the manager's shut-down, if there is a manager, then releases and
// forgets it. Safe when there is none.
void ReleaseObjectManager();
