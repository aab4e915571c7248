// Takes a single-threaded apartment's message filter away for a scope and
// puts it back at its end, so that calls into the apartment are not
// refused or retried by the filter meanwhile.
#pragma once

#include "platform/automation.h"

// The calling thread, for its lifetime.
class MessageFilterSuspension
{
public:
    MessageFilterSuspension();
    ~MessageFilterSuspension();
    MessageFilterSuspension(const MessageFilterSuspension &) = delete;
    MessageFilterSuspension &operator=(const MessageFilterSuspension &) = delete;

    // Whether the calling thread is in a single-threaded apartment (the main
    // one included); false on any failure.
    static bool IsSingleThreadedApartment();

private:
    IMessageFilter *storedFilter = nullptr;
};
