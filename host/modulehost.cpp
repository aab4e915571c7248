#include "host/modulehost.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

#include "platform/utf.h"

namespace vrqt::host {

std::string Bstr::utf8() const
{
    return platform::toUtf8(std::u16string_view(value ? value : u"", SysStringLen(value)));
}

HRESULT UnloadRecorder::QueryInterface(REFIID riid, void **object)
{
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (riid != IID_IUnknown && riid != IID_IzkModuleSubscriber)
        return E_NOINTERFACE;
    *object = static_cast<IzkModuleSubscriber *>(this);
    AddRef();
    return S_OK;
}

ULONG UnloadRecorder::Release()
{
    const ULONG remaining = --references;
    if (remaining == 0)
        delete this;
    return remaining;
}

HRESULT UnloadRecorder::OnModuleUnloading(BSTR moduleFileName, IzkModuleIntf *module)
{
    notifications.emplace_back(moduleFileName ? moduleFileName : u"", SysStringLen(moduleFileName));
    if (callback)
        callback(notifications.back(), module);
    return S_OK;
}

std::string ModuleHost::defaultModulePath()
{
    if (const char *configured = std::getenv("VRQT_MODULE"))
        return configured;
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(&ModuleHost::defaultModulePath), &info) && info.dli_fname) {
        char resolved[PATH_MAX];
        std::string path = ::realpath(info.dli_fname, resolved) ? resolved : info.dli_fname;
        const size_t slash = path.rfind('/');
        std::string folder = slash == std::string::npos ? "." : path.substr(0, slash);
        // Programs live in bin/; the agent lives beside the module.
        if (folder.size() >= 4 && folder.compare(folder.size() - 4, 4, "/bin") == 0)
            folder = folder.substr(0, folder.size() - 4) + "/" VRQT_AGENT_FOLDER;
        return folder + "/libvrqtproxy.so";
    }
    return "libvrqtproxy.so";
}

bool ModuleHost::load(const std::string &path)
{
    unload();
    library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        lastError = dlerror();
        return false;
    }
    getModuleIntf = reinterpret_cast<GetModuleIntfFunction>(dlsym(library, "GetModuleIntf"));
    if (!getModuleIntf) {
        lastError = "GetModuleIntf is not exported";
        unload();
        return false;
    }
    const HRESULT hr = getModuleIntf(reinterpret_cast<IUnknown **>(module.out()));
    if (FAILED(hr) || !module) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", unsigned(hr));
        lastError = std::string("GetModuleIntf refused with ") + code;
        unload();
        return false;
    }
    return true;
}

Ref<IUnknown> ModuleHost::manager()
{
    if (!managerUnknown) {
        if (Ref<IvrQtProxyModule> proxy = proxyModule())
            proxy->GetObjectManager(reinterpret_cast<IUnknown **>(managerUnknown.out()));
    }
    return managerUnknown;
}

void ModuleHost::unload()
{
    managerUnknown.reset();
    module.reset();
    getModuleIntf = nullptr;
    if (library) {
        dlclose(library);
        library = nullptr;
    }
}

} // namespace vrqt::host
