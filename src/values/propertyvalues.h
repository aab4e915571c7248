// The values layer's part of reading and writing a property: the type
// description of a property, the value QMetaProperty::read gave made into a
// VARIANT, and the QVariant QMetaProperty::write receives. Getting the
// object from the call's context and calling read or write stay with the
// property exposer.
#pragma once

#include <QMetaProperty>
#include <QVariant>

#include "values/valuedelivery.h"

// DescribeType with the property mask; an enumeration or flag property
// whose type has no row travels as a 32-bit integer: VT_I4 named "long".
void DescribePropertyType(const QMetaProperty &property, QtTypeDescription &out);

// value is what QMetaProperty::read gave. E_FAIL for an invalid value.
// Otherwise the value is brought into storage by description.typeName and
// delivered (DeliverStorage, a failed wrap reported); a scalar type without
// storage (a pointer type Qt could read) gives VT_EMPTY. Values Qt cannot
// convert become the type's default, as success.
// Returns S_OK, E_FAIL, E_POINTER for a null result, or what the host
// context or the wrap returned.
// Thread: the thread that owns the property's object.
HRESULT PropertyValueToVariant(const QVariant &value, const QtTypeDescription &description, const HostWrapper &host,
                               VARIANT *result);

// value is the host's value after CoerceArgument for slot 0. The variant is
// made with the property's own type from ArgumentDataPointer's data:
// long, ulong and bool through a temporary of Qt's type (qttemporary.h); an
// enumeration or flag property from the 32 bits as Qt's int, the one
// integer type Qt's write takes for it. A bool is then converted to int and
// back, which makes any byte 0 or 1.
// Thread: the thread that owns the property's object.
QVariant PropertyWriteValue(const VARIANT &value, const QtTypeDescription &description, const QMetaProperty &property);
