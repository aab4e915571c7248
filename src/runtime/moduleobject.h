// The module-wide base object: the lock count every reference-counted class
// of the module keeps, and the process's global interface table.
#pragma once

#include <atomic>

#include "platform/automation.h"

class CvrQtProxyModule
{
public:
    // Every reference-counted class adds 1 on construction and subtracts 1
    // on destruction. The count is kept, never consulted for unloading.
    LONG Lock() { return ++lockCount; }
    LONG Unlock() { return --lockCount; }
    LONG GetLockCount() const { return lockCount.load(); }

    // Any thread; takes no lock. A failed creation is tried again next time.
    HRESULT GetGlobalInterfaceTable(IGlobalInterfaceTable **table);

    ~CvrQtProxyModule();

private:
    std::atomic<LONG> lockCount{ 0 };
    std::atomic<IGlobalInterfaceTable *> globalInterfaceTable{ nullptr };
};

// The one static instance.
CvrQtProxyModule &ProxyModule();
