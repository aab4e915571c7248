// The library's entry: attach when it is loaded, detach when it is
// unloaded (or at process exit), and the one export.
#include <cstdlib>

#include "module/proxymodule.h"
#include "runtime/qtlibrary.h"
#include "runtime/trace.h"

#define VRQT_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// 1 when attaching failed; the library then refuses to serve, as a load
// that returned false would on the original platform.
bool attachFailed = false;

HMODULE ownHandle()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ownHandle), &module);
    return module;
}

// Runs first among this library's initialisers and last among its exit
// work, so that the trace is open for the whole life of the module.
struct LibraryLifetime {
    LibraryLifetime()
    {
        TraceOpen();
        std::atexit(TraceClose);
        attachFailed = !ModuleAttach(ownHandle());
    }
    ~LibraryLifetime() { ModuleDetach(); }
};

__attribute__((init_priority(200))) LibraryLifetime lifetime;

} // namespace

VRQT_EXPORT HRESULT GetModuleIntf(IUnknown **result)
{
    // A module loaded into a process of the other Qt major version would
    // read that Qt's objects with its own Qt's layouts: it refuses to serve.
    const OLECHAR *foreignQt = ForeignQtCoreLibrary();
    if (foreignQt)
        Trace(u"GetModuleIntf: the process runs %s, not the Qt this module is built for", foreignQt);
    if (attachFailed || foreignQt) {
        if (result)
            *result = nullptr;
        return E_UNEXPECTED;
    }
    return GetModuleObject()->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(result));
}
