// The host's object factory, which the module is handed through the
// manager's Initialize: it wraps the storage the module brings a Qt value
// into in a value object, which takes the storage over.
#pragma once

#include <memory>

#include "host/scripting/refcounted.h"
#include "interfaces/values.h"

namespace vrqt::scripting {

class ScriptSession;

class HostObjectFactory final : public IvrQtHostObjectFactory, public RefCounted<HostObjectFactory>
{
public:
    // One reference, the caller's; null when memory runs out. The factory
    // does not keep its session alive.
    static HostObjectFactory *create(std::weak_ptr<ScriptSession> session);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return addReference(); }
    ULONG STDMETHODCALLTYPE Release() override { return releaseReference(); }

    // A value object around storage of the C type typeName names; the
    // storage is the value object's from here on, and is freed here when no
    // value object can be made. The three flags are not looked at (the
    // module passes VARIANT_TRUE for each). A "QObject*" or "QWidget*" value
    // is scriptable when the module confirms the pointer is an object.
    // Returns S_OK, E_POINTER for a null result, E_OUTOFMEMORY.
    // The thread of the call that made the value, often not the script's.
    HRESULT STDMETHODCALLTYPE WrapStorage(void *storage, int hostContext, BSTR typeName, VARIANT_BOOL flag1,
                                          VARIANT_BOOL flag2, VARIANT_BOOL flag3, IDispatch **result) override;

private:
    friend class RefCounted<HostObjectFactory>;
    explicit HostObjectFactory(std::weak_ptr<ScriptSession> session) : session(std::move(session)) {}
    ~HostObjectFactory() = default;

    const std::weak_ptr<ScriptSession> session;
};

} // namespace vrqt::scripting
