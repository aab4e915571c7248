#include "reflection/exposerregistry.h"

#include <QMetaObject>
#include <QObject>

#include "reflection/objectexposer.h"
#include "runtime/stubmanager.h"
#include "values/stringbridges.h"

using vrOpenAppHook::CStubManager;

CvrQtExposerRegistry::CvrQtExposerRegistry(IUnknown *manager) : manager(manager) {}

CvrQtExposerRegistry::~CvrQtExposerRegistry()
{
    Shutdown();
}

HRESULT CvrQtExposerRegistry::Initialize(IUnknown *host)
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    if (initialized)
        return S_OK;
    initialized = true;
    HRESULT hr = CStubManager::CreateInstance(&stubManager);
    if (FAILED(hr))
        return hr;
    if (!host)
        return E_POINTER;
    return host->QueryInterface(IID_IvrQtHostObjectFactory, reinterpret_cast<void **>(&hostFactory));
}

HRESULT CvrQtExposerRegistry::GetObjectTypeInfo(QObject *object, ITypeInfo **typeInfo)
{
    *typeInfo = nullptr;
    std::lock_guard<std::recursive_mutex> guard(lock);
    if (shutDown)
        return E_UNEXPECTED;
    CvrQtObjectExposer *exposer = GetExposerForObject(object);
    return exposer ? exposer->GetTypeInfo(typeInfo) : E_FAIL;
}

HRESULT CvrQtExposerRegistry::GetTypeInfoAt(int index, ITypeInfo **typeInfo)
{
    *typeInfo = nullptr;
    std::lock_guard<std::recursive_mutex> guard(lock);
    if (index < 0 || size_t(index) >= exposers.size())
        return E_UNEXPECTED;
    return exposers[size_t(index)]->GetTypeInfo(typeInfo);
}

int CvrQtExposerRegistry::GetExposerIndex(const char *className)
{
    BSTR key = NarrowToBstr(className);
    std::lock_guard<std::recursive_mutex> guard(lock);
    const auto found = classIndex.find(key);
    SysFreeString(key);
    return found == classIndex.end() ? -1 : found->second;
}

CvrQtObjectExposer *CvrQtExposerRegistry::GetExposerForObject(QObject *object)
{
    const QMetaObject *meta = object->metaObject();
    if (!meta)
        return nullptr;
    const int index = GetExposerIndex(meta->className());
    if (index >= 0)
        return exposers[size_t(index)];
    CreateExposerChain(meta);
    return exposers.back();
}

void CvrQtExposerRegistry::CreateExposerChain(const QMetaObject *meta)
{
    const QMetaObject *super = meta->superClass();
    if (super && GetExposerIndex(super->className()) < 0)
        CreateExposerChain(super);
    auto *exposer = new CvrQtObjectExposer(meta);
    exposer->Initialize(this, hostFactory);
    Add(exposer);
}

void CvrQtExposerRegistry::Add(CvrQtObjectExposer *exposer)
{
    BSTR key = exposer->GetName();
    if (classIndex.emplace(key, int(exposers.size())).second) {
        exposers.push_back(exposer);
    } else {
        // Two meta-objects of one class name: the first keeps the name.
        SysFreeString(key);
        delete exposer;
    }
}

void CvrQtExposerRegistry::Shutdown()
{
    std::unique_lock<std::recursive_mutex> guard(lock);
    shutDown = true;
    // The exposers' own references go first, so that the wait below is for
    // the descriptions a host really still holds.
    for (CvrQtObjectExposer *exposer : exposers)
        exposer->ReleaseTypeInfo();
    if (CStubManager *stubs = stubManager) {
        // Descriptions end on their last release and may need the lock.
        stubs->AddRef();
        guard.unlock();
        stubs->ShutdownStubs(CStubManager::DefaultTimeoutMs);
        stubs->Release();
        guard.lock();
    }
    for (auto &entry : classIndex)
        SysFreeString(entry.first);
    classIndex.clear();
    classIndex.rehash(InitialBuckets);
    std::vector<CvrQtObjectExposer *> deleted;
    deleted.swap(exposers);
    for (CvrQtObjectExposer *exposer : deleted)
        delete exposer;
    if (stubManager) {
        stubManager->Release();
        stubManager = nullptr;
    }
    if (hostFactory) {
        hostFactory->Release();
        hostFactory = nullptr;
    }
}
