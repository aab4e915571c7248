#include "objects/objectmanageraccess.h"

#include "objects/objectmanager.h"

namespace {

// Owns one reference while it is set.
CvrQtBaseObjectManager *objectManagerInstance = nullptr;

} // namespace

IUnknown *GetObjectManagerInstance()
{
    if (!objectManagerInstance) {
        // Creation is not tested by the callers; it fails only without memory.
        if (SUCCEEDED(CvrQtBaseObjectManager::CreateInstance(&objectManagerInstance)))
            objectManagerInstance->AddRef();
    }
    return static_cast<IvrQtObjectsHelper *>(objectManagerInstance);
}

void ReleaseObjectManager()
{
    if (CvrQtBaseObjectManager *manager = objectManagerInstance) {
        manager->Shutdown();
        objectManagerInstance = nullptr;
        manager->Release();
    }
}
