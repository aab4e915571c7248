// The agent's hold on the module: loaded on first use through the reference
// host's loader, kept while the application runs, with the scripting
// session for each load.
//
// GUI thread only: every function here.
#pragma once

#include <memory>
#include <string>

#include "host/modulehost.h"

namespace vrqt::scripting {
class ScriptSession;
class ThreadDelivery;
} // namespace vrqt::scripting

namespace vrqt::agent {

class ModuleView
{
public:
    // delivery carries scripting calls to the objects' threads; it must
    // outlive the view.
    explicit ModuleView(scripting::ThreadDelivery &delivery);
    ~ModuleView();
    ModuleView(const ModuleView &) = delete;
    ModuleView &operator=(const ModuleView &) = delete;

    // Loads the module if that has not been tried yet; true when its two
    // helper interfaces are at hand. A failed load is remembered, and
    // error() says why.
    bool ensureLoaded();
    const std::string &error() const { return lastError; }
    bool loaded() const { return objectsHelper && widgetsHelper; }
    std::string path() const { return modulePath.empty() ? host::ModuleHost::defaultModulePath() : modulePath; }

    IvrQtObjectsHelper *objects() const { return objectsHelper.get(); }
    // What carries work to an object's thread.
    scripting::ThreadDelivery &threadDelivery() const { return delivery; }
    IvrQtWidgetsHelper *widgets() const { return widgetsHelper.get(); }

    // The scripting session of this load, attached to the module on first
    // use. Null, with error() set, when the module is not loaded or offers
    // no type descriptions.
    std::shared_ptr<scripting::ScriptSession> scripting();

    // Releases the interfaces and unloads the module; a later ensureLoaded
    // loads it again. While a scripting call on another thread is still
    // running past its limit, the module stays loaded as it is.
    void unload();

private:
    scripting::ThreadDelivery &delivery;
    host::ModuleHost moduleHost;
    host::Ref<IvrQtObjectsHelper> objectsHelper;
    host::Ref<IvrQtWidgetsHelper> widgetsHelper;
    std::shared_ptr<scripting::ScriptSession> session;
    std::string modulePath;
    std::string lastError;
    bool tried = false;
};

} // namespace vrqt::agent
