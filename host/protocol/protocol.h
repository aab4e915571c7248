// Names the command-line program and the in-process agent share: the
// environment that carries the rendezvous, the protocol's version, its error
// codes and its limits. docs/protocol.md describes the conversation.
#pragma once

#include <cstddef>

namespace vrqt::protocol {

// Raised when a request or response changes incompatibly; new requests and
// new members of a result do not raise it.
constexpr int kVersion = 1;

// The socket the agent connects to; the agent removes it from its process's
// environment, so that programs it starts do not connect as well.
constexpr char kSocketVariable[] = "VRQT_AGENT_SOCKET";
// The socket a session's agent listens on for its clients, in the session's
// directory; also removed once the agent serves.
constexpr char kSessionSocketVariable[] = "VRQT_SESSION_SOCKET";

// A longer line ends the conversation: the stream cannot be trusted after it.
constexpr std::size_t kMaximumLineLength = 64u * 1024u * 1024u;

// The error codes a response may carry; clients treat unknown codes like
// "internal".
namespace error {
constexpr char kParse[] = "parse-error";             // the line is not JSON
constexpr char kInvalidRequest[] = "invalid-request"; // JSON, but not a request
constexpr char kUnknownRequest[] = "unknown-request";
constexpr char kInvalidParams[] = "invalid-params";
constexpr char kLineTooLong[] = "line-too-long";
constexpr char kNoWidgets[] = "no-widgets";           // the application is not a QApplication
constexpr char kModuleUnavailable[] = "module-unavailable";
constexpr char kBusy[] = "busy";                      // the GUI thread did not take the work in time
constexpr char kClosing[] = "closing";                // the application is shutting down
constexpr char kNoSuchObject[] = "no-such-object";    // no object answers to the reference
constexpr char kAmbiguousObject[] = "ambiguous-object"; // the reference fits several objects
constexpr char kNoSuchMember[] = "no-such-member";    // the object's type description has no such member
constexpr char kInvokeFailed[] = "invoke-failed";     // the member's call failed; the error says with which HRESULT
constexpr char kNotAProperty[] = "not-a-property";    // get or describe met a method where reading needs a property
constexpr char kNotDeletable[] = "not-deletable";     // the call would delete an object that is not on the heap
constexpr char kNoHelper[] = "no-helper";           // no control helper serves the object's class
constexpr char kNoSuchItem[] = "no-such-item";       // the key names no item of the object
constexpr char kQtMismatch[] = "qt-mismatch";         // the agent serves the other Qt major version
constexpr char kTimedOut[] = "timed-out";             // a wait's condition did not hold in time
constexpr char kInternal[] = "internal";
} // namespace error

} // namespace vrqt::protocol
