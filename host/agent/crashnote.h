// A note of the program's crash for a session's clients: the program of a
// session is nobody's child, so nobody learns from wait() how it ended. The
// fatal signal and the request the agent was answering are written to a
// file, and the signal then takes its course as before.
#pragma once

#include <string>

namespace vrqt::agent {

// Installs the note for SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT, in
// front of the handlers in place (which still run after it). Once.
void NoteCrashesIn(const std::string &path);

// The thread that answers a request: the request (null once answered).
void NoteRequest(const char *name);

} // namespace vrqt::agent
