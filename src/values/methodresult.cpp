#include "values/methodresult.h"

#include "values/qttemporary.h"
#include "values/valuestorage.h"

MethodResult::MethodResult(const QtTypeDescription &description)
    : description(description), typeName(description.typeName.toLatin1())
{
    const QByteArray bareName = CQtTypeTable::RemovePointerMarks(description.typeName).toLatin1();
    storage = CreateEmptyValue(bareName.constData(), description.pointerDepth);
}

MethodResult::~MethodResult()
{
    DestroyValue(storage, description.typeName);
}

QGenericReturnArgument MethodResult::returnArgument() const
{
    return QGenericReturnArgument(typeName.constData(), storage);
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
