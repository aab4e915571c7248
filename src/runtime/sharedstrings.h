// Named shared strings: a process leaves a string that belongs to a window
// and a name, and any process of the same user that knows both reads it.
#pragma once

#include <string>

#include "platform/automation.h"

// S_OK, or E_INVALIDARG for a null value or name or a window that is not
// one. Failures past the argument test are not reported. Any thread; takes
// the table's lock.
HRESULT SetSharedString(HWND window, LPCWSTR name, BSTR value);
// S_OK when found, S_FALSE when not, E_INVALIDARG for a null name or a
// window that is not one, E_POINTER for a null output. Takes no lock.
HRESULT GetSharedString(HWND window, LPCWSTR name, BSTR *value);

// The mapping's name: the name, "W", the window as a signed 32-bit number,
// "VR" and the product's major version.
std::string SharedStringMappingName(HWND window, LPCWSTR name);
