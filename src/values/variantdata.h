// Raw bytes between a VARIANT and typed storage, with no conversion: the
// address of a VARIANT's data for Qt, and a value Qt produced copied into
// the union. Both take the VARIANT's type as it stands.
#pragma once

#include "platform/automation.h"

// The address of value's data: the union itself for a plain type and for
// VT_ARRAY; for a by-reference type and VT_ARRAY|VT_BYREF the pointer held
// in the union when wantReference is true, else the union (the address of
// that pointer). Null for every other vt (VT_EMPTY, VT_CY, VT_VARIANT,
// VT_DECIMAL, typed arrays, ...).
void *VariantDataPointer(const VARIANT &value, bool wantReference);

// Copies raw, a value of the type target.vt names, into target's union by
// its width; VT_BOOL reads 16 bits and makes any non-zero value
// VARIANT_TRUE. Any other vt leaves the union untouched, VT_UI2|VT_BYREF
// deliberately among them. raw must not be null for a written type.
void StoreRawInVariant(const void *raw, VARIANT &target);
