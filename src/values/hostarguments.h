// A value from the host made ready for Qt: CoerceArgument changes a scalar
// VARIANT in place to the declared type, ArgumentDataPointer gives the
// address Qt reads the value from. The member exposers call both with the
// description of the argument's slot.
#pragma once

#include "platform/automation.h"
#include "values/typetable.h"

// Scalars: VariantChangeType(value, value, VARIANT_ALPHABOOL, description.vt)
// in place; its result as it is. Objects: VT_DISPATCH passes as it stands,
// even null; VT_BYREF|VT_VARIANT passes when it refers to a VT_DISPATCH
// holding a pointer; nothing is converted.
// Returns S_OK, the platform's result, or DISP_E_TYPEMISMATCH for a null
// value or any other object argument.
// Thread: any; touches no Qt object.
HRESULT CoerceArgument(VARIANT *value, const QtTypeDescription &description);

// After CoerceArgument. A scalar gives VariantDataPointer(value,
// description.isReference): the bytes inside value, which must outlive Qt's
// use of them. An object gives the storage its wrapper was made around, by
// IvrQtValueStorage::GetStorage; the storage is not checked against the
// declared type. Null when value's type is not admitted, the object is null
// or does not answer to the storage interface.
// Thread: the thread that owns the object the value goes to.
void *ArgumentDataPointer(const VARIANT &value, const QtTypeDescription &description);
