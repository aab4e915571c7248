// The agent's hold on the module: loaded on first use through the reference
// host's loader, kept while the application runs.
//
// GUI thread only: every function here.
#pragma once

#include <string>

#include "host/modulehost.h"

namespace vrqt::agent {

class ModuleView
{
public:
    // Loads the module if that has not been tried yet; true when its two
    // helper interfaces are at hand. A failed load is remembered, and
    // error() says why.
    bool ensureLoaded();
    const std::string &error() const { return lastError; }
    bool loaded() const { return objectsHelper && widgetsHelper; }
    std::string path() const { return modulePath.empty() ? host::ModuleHost::defaultModulePath() : modulePath; }

    IvrQtObjectsHelper *objects() const { return objectsHelper.get(); }
    IvrQtWidgetsHelper *widgets() const { return widgetsHelper.get(); }

    // Releases the interfaces and unloads the module; a later ensureLoaded
    // loads it again.
    void unload();

private:
    host::ModuleHost moduleHost;
    host::Ref<IvrQtObjectsHelper> objectsHelper;
    host::Ref<IvrQtWidgetsHelper> widgetsHelper;
    std::string modulePath;
    std::string lastError;
    bool tried = false;
};

} // namespace vrqt::agent
