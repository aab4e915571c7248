// The trace log: one UTF-8 file per process and module, off unless the
// registry value "DebugTraceFolder" names a folder.
#pragma once

#include <cstddef>

#include "platform/basetypes.h"

// Any thread; no lock (each line is one write of the C runtime, whose own
// stream lock keeps it whole). A no-op, one load and one test, when off.
void Trace(const OLECHAR *format, ...);

void TraceOpen();
void TraceClose();
bool TraceEnabled();

// The registry search of the three places; true when a folder was found
// and exists (or could be made).
bool ReadTraceFolder(OLECHAR *folder, size_t capacity);
// The file's base name: "<program>_<pid>" or "<program>_<pid>_<module>_<address>".
bool MakeTraceFileName(OLECHAR *name, size_t capacity);
