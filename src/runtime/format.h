// printf-style formatting of UTF-16 text, as the wide formatters of the
// original platform do it: %s and %c take UTF-16, %S and %C narrow text.
#pragma once

#include <cstdarg>
#include <string>

#include "platform/basetypes.h"

// Supports the flags "-+ 0#", width and precision (also as *), the length
// modifiers h, l, ll, I64, z and the conversions d i u x X o c C s S p %.
// An unknown conversion is copied as it stands.
std::u16string FormatWideV(const OLECHAR *format, va_list arguments);
std::u16string FormatWide(const OLECHAR *format, ...);
