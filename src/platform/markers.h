// Named kernel objects: the names Windows accepts, and markers, names held by
// the kernel for as long as their holder keeps them (an abstract-namespace
// Unix socket bound to the name; it disappears when the last descriptor
// closes, also when the holding process dies). Internal to the platform
// library.
#pragma once

#include <string>
#include <string_view>

#include "platform/basetypes.h"

namespace platform {

// The key of a named object from a name a caller passed: the session
// prefixes "Local\" and "Global\" dropped (there is one namespace per user
// here); "" for null when the name is optional. False with the last error
// set for null when required (ERROR_INVALID_PARAMETER) and for a name
// Windows refuses: a backslash left after the prefix names a directory that
// does not exist (ERROR_PATH_NOT_FOUND).
bool objectKey(const char *name, bool required, std::string &key);

// prefix + name when that fits in limit bytes, else prefix + "#" + a 128-bit
// digest of name, so that long names stay distinct and within the limit.
std::string boundedName(const std::string &prefix, std::string_view name, size_t limit);

// The real user id in decimal: names of objects are scoped per user.
const std::string &userScope();

enum class MarkerState { Held, HeldElsewhere, Failed };

// Takes the marker kind/name (scoped per user): a descriptor that holds it
// (close it to let go), or -1 with state HeldElsewhere when another holder
// has it, Failed when no socket could be made.
int holdMarker(const char *kind, std::string_view name, MarkerState &state);

// Whether anybody, in any process of this user, holds the marker.
bool markerHeld(const char *kind, std::string_view name);

} // namespace platform
