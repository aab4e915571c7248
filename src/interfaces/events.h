// What listeners report to: the notifier, and the controllers that follow
// an object's death.
#pragma once

#include "interfaces/unknown.h"
#include "platform/variant.h"

class QObject;

DEFINE_IID(IID_IvrQtEventsNotifier, 0x75719F05, 0x8F5E, 0x48E2, 0xB1, 0x93, 0xBE, 0x4F, 0xC6, 0x8F, 0xDA, 0x12);
DEFINE_IID(IID_IvrQtEventsNotifierInternal, 0xA3E72207, 0x4590, 0x497E, 0x88, 0xF6, 0x10, 0xC3, 0xC5, 0x85, 0xA3, 0x5D);
DEFINE_IID(IID_IvrQtEventsSink, 0x2E7235CC, 0xF9A0, 0x433D, 0xAD, 0x96, 0xAB, 0x34, 0x48, 0x90, 0x14, 0x84);

struct IvrQtEventsNotifierInternal : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnObjectEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId,
                                                    VARIANT value, void *extra) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnObjectDestroyed(QObject *object) = 0;
};
