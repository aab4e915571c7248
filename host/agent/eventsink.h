// The agent's side of the module's event capture: the sink the module
// reports user actions to, the kind a widget is subscribed as, and how one
// report reads as an action of the record request (docs/protocol.md
// "record").
//
// GUI thread only, except where said.
#pragma once

#include <QJsonObject>

#include <atomic>
#include <functional>

#include "interfaces/events.h"

class QObject;

namespace vrqt::agent {

// The subscription identifier of object's kind, chosen by its most derived
// class that has one; null for an object of no recorded kind.
const GUID *SubscriptionOf(const QObject *object);

// One report as an action: time, object, kind, event, value, and what the
// event's payload adds (key, column, doubleClick, orientation, view, state). Reads value
// and extra during the call only.
QJsonObject DescribeAction(QObject *sender, const GUID &subscription, const GUID &event, const VARIANT &value, const void *extra);

// The sink handed to the module. It passes each report to its receiver
// until detach; the module may hold it longer than the agent does.
class ActionSink final : public IvrQtEventsSink
{
public:
    using Receiver = std::function<void(QObject *sender, const GUID &subscription, const GUID &event, const VARIANT &value,
                                        const void *extra)>;

    // One reference, the caller's.
    static ActionSink *create(Receiver receiver);
    // Reports reach nobody after this.
    void detach();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    // The thread that emitted, inside Qt's emission: never throws, and
    // passes on only reports of the GUI thread.
    HRESULT STDMETHODCALLTYPE OnEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId, VARIANT value,
                                      void *extra) override;

private:
    explicit ActionSink(Receiver receiver) : receiver(std::move(receiver)) {}
    ~ActionSink() = default;

    Receiver receiver;
    std::atomic<ULONG> references{ 1 };
};

} // namespace vrqt::agent
