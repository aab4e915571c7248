#include "host/scripting/callcontext.h"

#include <new>

namespace vrqt::scripting {

CallContext *CallContext::create(QObject *object, int hostContext)
{
    return new (std::nothrow) CallContext(object, hostContext);
}

HRESULT CallContext::QueryInterface(REFIID riid, void **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    if (riid == IID_IUnknown || riid == IID_IvrQtCallContext)
        *result = static_cast<IvrQtCallContext *>(this);
    else if (riid == IID_IvrQtHostContext)
        *result = static_cast<IvrQtHostContext *>(this);
    else
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

HRESULT CallContext::GetContextObject(QObject **result)
{
    if (!result)
        return E_POINTER;
    *result = object;
    return S_OK;
}

HRESULT CallContext::GetHostContext(int *result)
{
    if (!result)
        return E_POINTER;
    *result = hostContext;
    return S_OK;
}

} // namespace vrqt::scripting
