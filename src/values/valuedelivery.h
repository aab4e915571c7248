// The last step of every value that goes from Qt to the host: a scalar is
// copied bit for bit into the VARIANT, a Qt class is wrapped by the host's
// factory and travels as VT_DISPATCH.
#pragma once

#include "interfaces/values.h"
#include "values/typetable.h"

// What wrapping needs from the exposer: the factory the object exposer was
// given, and the instance the host passed for the call, asked for its host
// context (IvrQtHostContext) only when a value is wrapped: a failure ends
// the transfer with its result; a context that does not answer counts as 0.
struct HostWrapper {
    IvrQtHostObjectFactory *factory = nullptr;
    IUnknown *context = nullptr;
};

// WrapStorage of factory with storage, hostContext, typeName and
// VARIANT_TRUE for each of the three flags; the wrapper takes storage over.
// Returns the factory's result, or E_POINTER for a null factory or result.
HRESULT WrapValue(IvrQtHostObjectFactory *factory, void *storage, int hostContext, BSTR typeName, IDispatch **result);

enum class WrapFailure {
    Report, // the wrap's failure is the result and result stays untouched
    Ignore, // deliberate for method results: VT_DISPATCH with what the wrap left, and success
};

// Moves storage made for description into result. A scalar: result.vt is
// description.vt, StoreRawInVariant copies the bytes and the storage is
// freed. An object: the storage goes to the wrapper under
// description.typeName; storage never offered to it is freed.
// result must not be null.
// Thread: the thread that owns the value's object.
HRESULT DeliverStorage(void *storage, const QtTypeDescription &description, const HostWrapper &host, WrapFailure onWrapFailure,
                       VARIANT *result);
