// How the host gets a call onto the thread an object lives in. The module
// runs every call on the calling thread; Qt objects must be called on their
// own. Each host brings its own way there (the agent's is its executor).
#pragma once

#include <functional>

#include "platform/automation.h"

class QObject;

namespace vrqt::scripting {

class ThreadDelivery
{
public:
    // Runs work on object's thread, at once when that is the calling thread,
    // and waits for it a bounded time. work owns all it touches: after a
    // time-out it may still run. Returns work's result,
    // HRESULT_FROM_WIN32(ERROR_TIMEOUT) when the thread did not finish it in
    // time, or RPC_E_DISCONNECTED when it never will (the object or its
    // thread went away first).
    // Any thread; object must be alive when the call is made.
    virtual HRESULT deliver(QObject *object, std::function<HRESULT()> work) = 0;

protected:
    ~ThreadDelivery() = default;
};

} // namespace vrqt::scripting
