#include "host/agent/moduleview.h"

#include "host/scripting/scriptsession.h"

namespace vrqt::agent {

ModuleView::ModuleView(scripting::ThreadDelivery &delivery) : delivery(delivery) {}

ModuleView::~ModuleView()
{
    unload();
}

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

std::shared_ptr<scripting::ScriptSession> ModuleView::scripting()
{
    if (session)
        return session;
    if (!ensureLoaded())
        return nullptr;
    std::shared_ptr<scripting::ScriptSession> made = scripting::ScriptSession::create(delivery);
    const HRESULT hr = made->attach(moduleHost.manager().get());
    if (FAILED(hr)) {
        lastError = modulePath + " offers no type descriptions of objects (IvrQtObjectsManager: 0x"
                  + QString::number(quint32(hr), 16).toStdString() + ")";
        return nullptr;
    }
    session = std::move(made);
    return session;
}

void ModuleView::unload()
{
    // Everything the agent holds of the module goes before the module does:
    // its shut-down waits for every type description still held.
    if (session) {
        // Deliberate: a late call is still inside the module's code.
        if (session->callsInFlight() > 0)
            return;
        session->detach();
        session.reset();
    }
    widgetsHelper.reset();
    objectsHelper.reset();
    moduleHost.unload();
    tried = false;
}

} // namespace vrqt::agent
