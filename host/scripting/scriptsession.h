// The host's scripting side for one loaded module: it hands the module its
// object factory, gets the type description of any object, and calls the
// members of an object on the object's own thread with a call context that
// names it.
//
// Threads: a session serves one script thread, one call at a time (the
// module's manager has no lock and must not build two exposers at once).
// The calls themselves run on the objects' threads; the factory's wraps run
// there too.
#pragma once

#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "host/modulehost.h"
#include "host/scripting/threaddelivery.h"
#include "interfaces/objects.h"

namespace vrqt::scripting {

class HostObjectFactory;

class ScriptSession : public std::enable_shared_from_this<ScriptSession>
{
public:
    // delivery must outlive the session.
    static std::shared_ptr<ScriptSession> create(ThreadDelivery &delivery);
    ~ScriptSession();
    ScriptSession(const ScriptSession &) = delete;
    ScriptSession &operator=(const ScriptSession &) = delete;

    // Asks manager (the module's object manager) for its type descriptions
    // and object questions, and initialises it with this session's factory.
    // A manager takes the first factory it is given only: one session for
    // each load of the module. Returns S_OK, E_NOINTERFACE when the module
    // has no type descriptions, or the manager's failure.
    HRESULT attach(IUnknown *manager);
    // Lets go of the module; later calls answer RPC_E_DISCONNECTED. Value
    // objects live on without it.
    void detach();
    // Calls handed to other threads that have not ended yet (they ran past
    // their time limit): while any is running, the module must stay loaded.
    int callsInFlight() const { return inFlight->load(); }
    // The number values made in this session carry.
    int hostContext() const { return context; }

    // A script's handle on object: a "QObject*" value object around it, which
    // the factory's values of that type are too. E_INVALIDARG when the module
    // does not take the address for an object.
    HRESULT objectDispatch(QObject *object, IDispatch **result);
    // A value object of the Qt class typeName made from a script's text
    // (valuetypes.h tells which classes read text, and how). E_INVALIDARG
    // when the class has no text form or the text does not read as one.
    HRESULT valueFromText(const QString &typeName, const QString &text, IDispatch **result);

    // For value objects --------------------------------------------------

    // The type description of object's class, asked of the module once for
    // each class and kept until detach. Script thread.
    HRESULT typeInfoOf(QObject *object, ITypeInfo **typeInfo);
    // The member identifier of name in object's type description.
    HRESULT memberId(QObject *object, LPOLESTR name, DISPID *memberId);
    // ITypeInfo::Invoke of object's type description with a call context for
    // object, on object's thread. Arguments and results are copied across,
    // so that a call that outlives its time limit touches nothing of the
    // caller's. Script thread.
    HRESULT invoke(QObject *object, DISPID memberId, WORD flags, DISPPARAMS *params, VARIANT *result, EXCEPINFO *excepInfo,
                   UINT *argErr);
    // pointer as an object, when the module's probe takes it for one; null
    // otherwise. Any thread.
    QObject *confirmedObject(void *pointer) const;

private:
    explicit ScriptSession(ThreadDelivery &delivery);
    host::Ref<IvrQtObjectsManager> currentManager() const;

    ThreadDelivery &delivery;
    const int context;
    std::shared_ptr<std::atomic<int>> inFlight = std::make_shared<std::atomic<int>>(0);
    // Guards the two module interfaces: a late call's wrap may ask while the
    // script thread detaches.
    mutable std::mutex lock;
    host::Ref<IvrQtObjectsManager> manager;
    host::Ref<IvrQtObjectsHelper> objects;
    host::Ref<HostObjectFactory> factory;
    // One class, one description: the module looks the class up by name.
    std::unordered_map<const QMetaObject *, host::Ref<ITypeInfo>> typeInfos;
};

} // namespace vrqt::scripting
