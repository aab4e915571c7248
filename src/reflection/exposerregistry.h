// The object manager's scripting side: one exposer for each class met so
// far, found by class name, and the host's object factory they wrap values
// with. Through it the host gets a type description of any object.
#pragma once

#include <mutex>
#include <unordered_map>
#include <vector>

#include "interfaces/values.h"
#include "platform/automation.h"
#include "runtime/bstrkey.h"

class QObject;
struct QMetaObject;
class CvrQtObjectExposer;

namespace vrOpenAppHook {
class CStubManager;
}

// A class stands after its base in the list, and its index never changes
// while the registry lives. One recursive lock guards the list, the index
// and each exposer's lazily made description; it is taken after any type
// description's own lock and never held while a description builds.
class CvrQtExposerRegistry
{
public:
    // manager is the object that keeps this registry; exposers and
    // descriptions hold references to it.
    explicit CvrQtExposerRegistry(IUnknown *manager);
    ~CvrQtExposerRegistry();
    CvrQtExposerRegistry(const CvrQtExposerRegistry &) = delete;
    CvrQtExposerRegistry &operator=(const CvrQtExposerRegistry &) = delete;

    // The first call makes the stub manager and asks host for its object
    // factory; later calls do nothing and succeed, even after a failure.
    HRESULT Initialize(IUnknown *host);

    // object must be a live QObject. E_FAIL when it has no meta-object,
    // E_UNEXPECTED after Shutdown.
    // Thread: any; the description's calls go to the object's thread.
    HRESULT GetObjectTypeInfo(QObject *object, ITypeInfo **typeInfo);

    // The description of the class at index, for a derived description's
    // base. E_UNEXPECTED for an index the registry no longer has.
    HRESULT GetTypeInfoAt(int index, ITypeInfo **typeInfo);

    // -1 for a class not met.
    int GetExposerIndex(const char *className);

    IUnknown *Manager() const { return manager; }
    vrOpenAppHook::CStubManager *StubManager() const { return stubManager; }

    // Cuts the host's descriptions loose (waiting up to a second for them
    // to go), then deletes every exposer. Running it again does nothing.
    void Shutdown();

private:
    using ClassIndex = std::unordered_map<BSTR, int, BstrKeyHash, BstrKeyEqual>;
    static constexpr size_t InitialBuckets = 8;

    CvrQtObjectExposer *GetExposerForObject(QObject *object);
    void CreateExposerChain(const QMetaObject *meta);
    void Add(CvrQtObjectExposer *exposer);

    IUnknown *manager;
    std::recursive_mutex lock;
    bool initialized = false;
    bool shutDown = false; // no exposer is made after it: nothing would delete it
    vrOpenAppHook::CStubManager *stubManager = nullptr;
    IvrQtHostObjectFactory *hostFactory = nullptr;
    std::vector<CvrQtObjectExposer *> exposers;
    ClassIndex classIndex{ InitialBuckets };
};
