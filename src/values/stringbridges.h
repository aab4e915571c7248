// The string bridges of the whole module: Qt's text to BSTR and back, and
// 8-bit text to BSTR. Every subsystem converts through these three.
#pragma once

#include <QString>

#include "platform/automation.h"

// A new BSTR, owned by the caller, with the UTF-16 units of value up to its
// first NUL unit: a null or empty string gives a null BSTR, and an embedded
// NUL cuts the text there. Takes value by value: the caller's copy is
// consumed. Throws E_OUTOFMEMORY (ThrowHResult) when allocation fails.
BSTR QStringToBstr(QString value);

// All SysStringLen units of bstr, embedded NULs included; null gives an
// empty QString.
QString BstrToQString(BSTR bstr);

// A new BSTR from 8-bit text in the process's narrow encoding (UTF-8 here,
// where the Windows build used the thread's ANSI code page); null gives
// null, "" an empty BSTR. Throws E_OUTOFMEMORY when allocation fails.
BSTR NarrowToBstr(const char *text);
