#include "reflection/contextobject.h"

#include "interfaces/objects.h"
#include "interfaces/values.h"
#include "runtime/comobject.h"
#include "runtime/objectprobe.h"

HRESULT CallContextObject(IUnknown *context, QObject **object)
{
    *object = nullptr;
    ComPtr<IvrQtCallContext> callContext;
    if (context)
        context->QueryInterface(IID_IvrQtCallContext, callContext.putVoid());
    return callContext ? callContext->GetContextObject(object) : S_OK;
}

bool IsLiveContextObject(QObject *object)
{
    return IsConfirmedLiveQObject(object);
}
