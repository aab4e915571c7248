#include "values/methodresult.h"

#include "values/qttemporary.h"
#include "values/valuestorage.h"

MethodResult::MethodResult(const QtTypeDescription &description)
    : description(description), storage(CreateEmptyValue(description.storage, description.pointerDepth))
{
}

MethodResult::~MethodResult()
{
    DestroyValue(storage, description.storage);
}

QGenericReturnArgument MethodResult::returnArgument() const
{
    return QGenericReturnArgument(description.latin1Name.constData(), storage);
}

HRESULT MethodResult::Deliver(const HostWrapper &host, VARIANT *result)
{
    if (!result)
        return E_POINTER;
    if (!storage) {
        result->vt = VT_EMPTY;
        return S_OK;
    }
    if (!description.isObject && description.pointerDepth == 0)
        ToAutomationValue(QtTemporaryFor(description.typeName), storage, storage);
    void *delivered = storage;
    storage = nullptr; // DeliverStorage frees it or hands it on
    return DeliverStorage(delivered, description, host, WrapFailure::Ignore, result);
}
