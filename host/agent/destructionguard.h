// Calls that destroy their object, and the refusal of those that would free
// memory no allocator handed out: an object on a thread's stack or in
// static storage (a main window declared in main(), say) dies with its
// scope, and deleting it first makes the program crash later, far from
// the cause. A deleted object takes its children with it, so they count
// too.
//
// Destroying calls: deleteLater; close, accept, reject and done of a widget
// that has Qt::WA_DeleteOnClose.
//
// GUI thread, the agent's script thread.
#pragma once

#include <QString>

#include <optional>

#include "host/agent/reply.h"

class QObject;

namespace vrqt::scripting {
class ThreadDelivery;
}

namespace vrqt::agent {

// Whether calling method (as the type description names it, "done_2"
// included) destroys object.
bool DestroysObject(const QObject *object, const QString &method);

// A not-deletable refusal when object, or one of its children, does not
// live on the heap; nothing when deleting it is safe as far as can be told.
// The check runs on object's thread (through delivery), where that
// thread's stack is known. what names object in the message.
std::optional<Reply> RefuseUnsafeDeletion(QObject *object, const QString &what, scripting::ThreadDelivery &delivery);

} // namespace vrqt::agent
