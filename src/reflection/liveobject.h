// Whether the object a host's call context names is alive, cheaply when the
// host calls the same object again.
#pragma once

#include "platform/automation.h"

class QObject;

// The last object this thread confirmed is remembered through a QPointer,
// which Qt clears when the object is destroyed: naming it again costs no
// probe. Any other object is put to the manager's IsQObject probe first.
// Thread: the thread the call runs on.
bool IsLiveContextObject(QObject *object, IUnknown *manager);
