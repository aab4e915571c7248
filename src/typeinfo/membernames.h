// Member names as scripts see them: upper-cased keys for lookups that
// ignore case, and the default rules that make a name script-safe.
#pragma once

#include "platform/automation.h"

namespace vrOpenAppHook {

// Upper-cases length units of text in place, each unit by itself, as
// CharUpperBuffW does (by the Unicode simple mapping, whatever the
// process locale). Returns length.
DWORD CharUpperBuffW(LPWSTR text, DWORD length);

// A new upper-cased copy of the units of a NUL-terminated name; null when
// allocation fails. A null name gives an empty copy.
BSTR UpperCaseNameCopy(LPCOLESTR name);

// An empty name becomes "not_valid_name". Otherwise a first character that
// is no letter becomes 'z', and every character that is neither letter nor
// digit becomes '_'. E_POINTER, E_OUTOFMEMORY.
HRESULT NormalizeMemberNameDefault(BSTR *name);

// Appends '_' and the number in decimal. E_POINTER, E_OUTOFMEMORY.
HRESULT AppendNameSuffixDefault(BSTR *name, int number);

} // namespace vrOpenAppHook
