// The object a host's call context names: how it is asked for, and whether
// it is alive, cheaply when the host calls the same object again.
#pragma once

#include "platform/automation.h"

class QObject;

// Asks context, when it is not null, for IvrQtCallContext and the object.
// A context that does not answer leaves *object null, as success; a failure
// of GetContextObject is the result.
HRESULT CallContextObject(IUnknown *context, QObject **object);

// The last object this thread confirmed is remembered through a QPointer,
// which Qt clears when the object is destroyed: naming it again costs no
// probe. Any other object is probed first (runtime/objectprobe.h).
// Thread: the thread the call runs on.
bool IsLiveContextObject(QObject *object);
