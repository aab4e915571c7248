// The one meeting point of the listeners and the host: it subscribes
// objects under the identifier of their kind (one listener an object), is
// the sink every listener reports to, and hands each report straight on to
// the host's sink, inside Qt's emission, with nothing queued.
//
// No lock: the host serialises Subscribe and UnsubscribeAll, and calls them
// on the thread of the objects it names (the GUI thread), where the
// listeners report and die.
#pragma once

#include <unordered_map>

#include "interfaces/events.h"
#include "runtime/comobject.h"

class CQObjectListener;

class CvrQtEventsNotifier : public ComObjectRoot, public IvrQtEventsNotifier, public IvrQtEventsNotifierInternal
{
public:
    // A notifier with one reference for the caller; E_POINTER for a null
    // result, E_OUTOFMEMORY. Its owner calls UnsubscribeAll before the last
    // release: the listeners hold references to it.
    static HRESULT CreateInstance(CvrQtEventsNotifier **notifier);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    VRQT_IUNKNOWN_BY_ROOT

    // IvrQtEventsNotifier. SetEventSink: E_FAIL for a null sink or one that
    // does not answer IvrQtEventsSink, which keeps the old one.
    HRESULT STDMETHODCALLTYPE SetEventSink(IUnknown *sink) override;
    // S_OK, also for an identifier no listener answers to, which ends the
    // object's subscription; E_INVALIDARG for an address that is no live
    // object, with nothing changed.
    HRESULT STDMETHODCALLTYPE Subscribe(QObject *object, REFGUID subscriptionId) override;
    HRESULT STDMETHODCALLTYPE UnsubscribeAll() override;

    // IvrQtEventsNotifierInternal, on the thread that emitted. The host
    // sink's result; E_UNEXPECTED, the report dropped, before SetEventSink.
    HRESULT STDMETHODCALLTYPE OnObjectEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId,
                                            VARIANT value, void *extra) override;
    // Deletes the object's listener, from within its own death report; an
    // object without one (a tab bar) changes nothing. S_OK.
    HRESULT STDMETHODCALLTYPE OnObjectDestroyed(QObject *object) override;

private:
    CvrQtEventsNotifier() = default;
    ~CvrQtEventsNotifier() override;

    // Keyed by address, never dereferenced; owned.
    std::unordered_map<QObject *, CQObjectListener *> listeners;
    IvrQtEventsSink *eventSink = nullptr; // one reference
};
