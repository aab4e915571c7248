#include "host/scripting/objectfactory.h"

#include <new>

#include "host/scripting/scriptsession.h"
#include "host/scripting/valueobject.h"
#include "host/scripting/variants.h"

namespace vrqt::scripting {

HostObjectFactory *HostObjectFactory::create(std::weak_ptr<ScriptSession> session)
{
    return new (std::nothrow) HostObjectFactory(std::move(session));
}

HRESULT HostObjectFactory::QueryInterface(REFIID riid, void **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    if (riid != IID_IUnknown && riid != IID_IvrQtHostObjectFactory)
        return E_NOINTERFACE;
    *result = static_cast<IvrQtHostObjectFactory *>(this);
    AddRef();
    return S_OK;
}

HRESULT HostObjectFactory::WrapStorage(void *storage, int hostContext, BSTR typeName, VARIANT_BOOL, VARIANT_BOOL,
                                       VARIANT_BOOL, IDispatch **result)
{
    const QString name = FromBstr(typeName);
    QObject *object = nullptr;
    const ValueType &type = ValueTypeOf(name);
    if (type.kind == ValueKind::ObjectPointer || type.kind == ValueKind::Object) {
        // A property may hold a dangling pointer: only what the module's
        // probe accepts is scripted.
        const std::shared_ptr<ScriptSession> scripts = session.lock();
        if (scripts)
            object = scripts->confirmedObject(PointerOf(type, storage));
    }
    if (!result) {
        if (storage && type.destroy)
            type.destroy(storage);
        return E_POINTER;
    }
    *result = ValueObject::create(storage, name, hostContext, object, session);
    return *result ? S_OK : E_OUTOFMEMORY;
}

} // namespace vrqt::scripting
