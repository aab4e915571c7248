// The host's side of the module boundary: loads libvrqtproxy.so with dlopen,
// reaches it only through GetModuleIntf and the interfaces, and releases
// everything in order.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "interfaces/module.h"
#include "interfaces/objects.h"
#include "platform/automation.h"

namespace vrqt::host {

// Holds one reference to an interface.
template <typename Interface>
class Ref
{
public:
    Ref() = default;
    explicit Ref(Interface *adopted) : pointer(adopted) {}
    Ref(const Ref &other) : pointer(other.pointer) { if (pointer) pointer->AddRef(); }
    Ref(Ref &&other) noexcept : pointer(other.pointer) { other.pointer = nullptr; }
    Ref &operator=(Ref other) { std::swap(pointer, other.pointer); return *this; }
    ~Ref() { reset(); }

    Interface *get() const { return pointer; }
    Interface *operator->() const { return pointer; }
    explicit operator bool() const { return pointer != nullptr; }
    void **out() { reset(); return reinterpret_cast<void **>(&pointer); }
    void reset() { if (pointer) { Interface *old = pointer; pointer = nullptr; old->Release(); } }

    // QueryInterface for another interface; empty when refused.
    template <typename Other>
    Ref<Other> query(REFIID iid) const
    {
        Ref<Other> result;
        if (pointer)
            pointer->QueryInterface(iid, result.out());
        return result;
    }

private:
    Interface *pointer = nullptr;
};

// A BSTR owned by the host, freed with the platform's allocator.
class Bstr
{
public:
    Bstr() = default;
    Bstr(const Bstr &) = delete;
    Bstr &operator=(const Bstr &) = delete;
    ~Bstr() { SysFreeString(value); }
    BSTR *out() { SysFreeString(value); value = nullptr; return &value; }
    BSTR get() const { return value; }
    bool isNull() const { return value == nullptr; }
    std::string utf8() const;

private:
    BSTR value = nullptr;
};

// One unload subscriber: records the notifications it receives.
class UnloadRecorder : public IzkModuleSubscriber
{
public:
    using Callback = std::function<void(const std::u16string &moduleFileName, IzkModuleIntf *module)>;
    explicit UnloadRecorder(Callback callback = {}) : callback(std::move(callback)) {}
    virtual ~UnloadRecorder() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE OnModuleUnloading(BSTR moduleFileName, IzkModuleIntf *module) override;

    std::vector<std::u16string> notifications;
    ULONG references = 1; // the creator's

private:
    Callback callback;
};

class ModuleHost
{
public:
    // VRQT_MODULE when set; else the module beside the host library, or in
    // ../lib/vrqt/qtN of a program in bin/.
    static std::string defaultModulePath();

    ModuleHost() = default;
    ModuleHost(const ModuleHost &) = delete;
    ModuleHost &operator=(const ModuleHost &) = delete;
    ~ModuleHost() { unload(); }

    // dlopen and GetModuleIntf; false with error() set on failure.
    bool load(const std::string &path = defaultModulePath());
    // Releases every interface, then dlclose.
    void unload();
    bool loaded() const { return library != nullptr; }
    const std::string &error() const { return lastError; }

    IUnknown *moduleUnknown() const { return module.get(); }
    Ref<IzkModuleIntf> moduleInterface() const { return module.query<IzkModuleIntf>(IID_IzkModuleIntf); }
    Ref<IvrQtProxyModule> proxyModule() const { return module.query<IvrQtProxyModule>(IID_IvrQtProxyModule); }
    // The object manager, made on first use.
    Ref<IUnknown> manager();
    Ref<IvrQtObjectsHelper> objects() { return manager().query<IvrQtObjectsHelper>(IID_IvrQtObjectsHelper); }
    Ref<IvrQtWidgetsHelper> widgets() { return manager().query<IvrQtWidgetsHelper>(IID_IvrQtWidgetsHelper); }

    // The library handle, for tests that check unloading.
    void *libraryHandle() const { return library; }

private:
    void *library = nullptr;
    GetModuleIntfFunction getModuleIntf = nullptr;
    Ref<IUnknown> module;
    Ref<IUnknown> managerUnknown;
    std::string lastError;
};

} // namespace vrqt::host
