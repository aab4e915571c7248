// An agent preloaded into a program of the other Qt major version: it finds
// the program's Qt core library, and answers every request with the
// mismatch, so that the client learns at once instead of waiting.
#pragma once

#include <string>

#include "host/protocol/message.h"

namespace vrqt::agent {

struct ForeignQt
{
    int major = 0;
    std::string library; // the path of the mapped core library
    std::string version; // what its qVersion() answers; empty when unknown
};

// Any thread: the mapped Qt core library of another major version than the
// agent's own, if the process has one. False when there is none.
bool findForeignQt(ForeignQt *found);

// The error every request of such a process gets; it names both versions.
protocol::Error qtMismatchError(const ForeignQt &foreign);

// Its own thread: connects to socketPath and refuses every request with
// error until the other side closes. The program is left as it is.
void refuseRequests(const std::string &socketPath, const protocol::Error &error);

} // namespace vrqt::agent
