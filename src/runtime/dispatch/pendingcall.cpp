#include "runtime/dispatch/pendingcall.h"

void RunPendingCall(PendingCall &call)
{
    RunGuarded([&call] {
        call.state.store(0);
        if (call.function)
            call.function(call.argument);
        call.state.store(1);
    });
}
