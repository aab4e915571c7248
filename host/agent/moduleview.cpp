#include "host/agent/moduleview.h"

namespace vrqt::agent {

bool ModuleView::ensureLoaded()
{
    if (loaded())
        return true;
    if (tried)
        return false;
    tried = true;
    modulePath = host::ModuleHost::defaultModulePath();
    if (!moduleHost.load(modulePath)) {
        lastError = "cannot load " + modulePath + ": " + moduleHost.error();
        return false;
    }
    objectsHelper = moduleHost.objects();
    widgetsHelper = moduleHost.widgets();
    if (!loaded()) {
        lastError = modulePath + " gave no object manager with the objects and widgets helpers";
        unload();
        tried = true;
        return false;
    }
    return true;
}

void ModuleView::unload()
{
    widgetsHelper.reset();
    objectsHelper.reset();
    moduleHost.unload();
    tried = false;
}

} // namespace vrqt::agent
