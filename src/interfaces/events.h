// Recording what the user does: the host subscribes widgets and hands the
// manager its sink; listeners report each action through the notifier.
//
// A notification is (sender, subscription identifier, event identifier,
// value, extra). value is a bitwise copy of a VARIANT that the reporter
// owns, and extra points into the reporter's frame: the receiver reads both
// during the call only and neither clears nor keeps them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "interfaces/unknown.h"
#include "platform/variant.h"

class QObject;

DEFINE_IID(IID_IvrQtEventsNotifier, 0x75719F05, 0x8F5E, 0x48E2, 0xB1, 0x93, 0xBE, 0x4F, 0xC6, 0x8F, 0xDA, 0x12);
DEFINE_IID(IID_IvrQtEventsNotifierInternal, 0xA3E72207, 0x4590, 0x497E, 0x88, 0xF6, 0x10, 0xC3, 0xC5, 0x85, 0xA3, 0x5D);
DEFINE_IID(IID_IvrQtEventsSink, 0x2E7235CC, 0xF9A0, 0x433D, 0xAD, 0x96, 0xAB, 0x34, 0x48, 0x90, 0x14, 0x84);

// What listeners report to: the notifier, and the controllers that follow
// an object's death. Listeners do not look at the results.
struct IvrQtEventsNotifierInternal : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnObjectEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId,
                                                    VARIANT value, void *extra) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnObjectDestroyed(QObject *object) = 0;
};

// The host's side: the manager answers it. SetEventSink takes an object
// answering IvrQtEventsSink; Subscribe watches object under the identifier
// of its kind (below), or ends its subscription under any other identifier.
struct IvrQtEventsNotifier : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetEventSink(IUnknown *sink) = 0;
    virtual HRESULT STDMETHODCALLTYPE Subscribe(QObject *object, REFGUID subscriptionId) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnsubscribeAll() = 0;
};

// Implemented by the host; called on the thread that emitted, inside Qt's
// emission.
struct IvrQtEventsSink : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnEvent(QObject *sender, const GUID *subscriptionId, const GUID *eventId,
                                              VARIANT value, void *extra) = 0;
};

// Subscription identifiers, one for each kind of widget. The two slider
// identifiers make the same listener; only the identifier passed on with
// each notification tells a slider from a scroll bar.
DEFINE_IID(SubscriptionCheckBox, 0xFA239074, 0xF392, 0x445B, 0xBE, 0x4F, 0x34, 0xF6, 0x99, 0x01, 0x9E, 0x36);
DEFINE_IID(SubscriptionSlider, 0x721549D0, 0xCBC3, 0x4463, 0xAE, 0x38, 0xD9, 0x46, 0x03, 0x85, 0x5F, 0x74);
DEFINE_IID(SubscriptionScrollBar, 0x6DB7CE33, 0xB310, 0x4452, 0x8D, 0x60, 0x4F, 0x84, 0x68, 0xEC, 0x41, 0xC6);
DEFINE_IID(SubscriptionListWidget, 0xD9A3AEFE, 0x5162, 0x4959, 0x83, 0xCB, 0x5B, 0x11, 0x28, 0xB6, 0x23, 0xF8);
DEFINE_IID(SubscriptionTableWidget, 0x34F93873, 0x9998, 0x4D8E, 0x94, 0x9D, 0xF1, 0x4E, 0x77, 0xC8, 0xD9, 0x9D);
DEFINE_IID(SubscriptionTreeWidget, 0x30231B36, 0x5FE7, 0x4AF4, 0xA1, 0xCB, 0x8A, 0x13, 0xBA, 0xB9, 0x1B, 0xC1);
DEFINE_IID(SubscriptionHeaderView, 0x5213CE4F, 0x6802, 0x4F1E, 0x99, 0x07, 0xAA, 0x28, 0x92, 0x52, 0x74, 0xF6);
DEFINE_IID(SubscriptionComboBox, 0x0798353A, 0x04EB, 0x42E7, 0xB0, 0xD4, 0xC0, 0x43, 0x7F, 0xD7, 0x93, 0x6B);
DEFINE_IID(SubscriptionToolButton, 0xFE077305, 0x1C3C, 0x44D9, 0x88, 0xBD, 0x79, 0xEF, 0xA4, 0x6A, 0x5C, 0x1E);
DEFINE_IID(SubscriptionTabWidget, 0xB83C4F79, 0x32FC, 0x4080, 0xBE, 0xEE, 0x24, 0x15, 0x85, 0xB2, 0x3E, 0xF6);
DEFINE_IID(SubscriptionSpinBox, 0x985CB441, 0x99B9, 0x4ED1, 0x8A, 0xC5, 0x98, 0x0B, 0x1E, 0x66, 0x31, 0x02);
DEFINE_IID(SubscriptionDoubleSpinBox, 0xAA482B65, 0x79D6, 0x46AD, 0xA5, 0x7D, 0x99, 0xE2, 0x54, 0xCD, 0x5A, 0xD8);
DEFINE_IID(SubscriptionDateTimeEdit, 0x5EEC2838, 0x25F0, 0x44A3, 0xB8, 0x42, 0xAC, 0x98, 0xF3, 0xC7, 0xEA, 0xCB);
DEFINE_IID(SubscriptionCalendarWidget, 0x91B3F7CA, 0x6FB2, 0x4D2F, 0xA0, 0x64, 0x66, 0xB0, 0xC3, 0x9C, 0x24, 0x6E);
// The listening controller's own: Subscribe does not know it, so it ends a
// subscription like any unknown identifier.
DEFINE_IID(SubscriptionObjectController, 0x762C37F4, 0x936D, 0x4699, 0x9A, 0xAE, 0xF8, 0xB1, 0x87, 0x1C, 0x48, 0x2A);

// Event identifiers, with their value and extra payload:
//   EventCheckStateChanged     VT_I4: 0 unchecked, 1 checked, 2 partial; null
//   EventSliderValueChanged    VT_I4; a QWidget** to the viewport of the item
//                              view that owns a scroll bar, else null
//   EventListItemClicked       the item's key; null
//   EventTableCellClicked      the row's key; ColumnClickRecord*
//   EventTreeItemClicked       the path text; ColumnClickRecord*
//   EventTreeItemExpanded      the path text; null
//   EventTreeItemCollapsed     the path text; null
//   EventHeaderSectionClicked  the section's key; HeaderClickRecord*
//   EventComboItemActivated    the item's key; null
//   EventComboPopupOpening     VT_EMPTY; null
//   EventComboPopupClosing     VT_EMPTY; null
//   EventToolButtonToggled     VT_BOOL; null
//   EventTabSelected           the tab's key; null (sender: the tab widget)
//   EventEditorValueChanged    VT_I4, VT_R8 or a date as VT_BSTR text; null
//   EventCalendarDateSelected  the date as VT_BSTR text; null
// A key is VT_BSTR (a text unique among its siblings) or VT_I4 (an index).
// A path text is the bare key for a top-level item, else the keys from the
// top joined by "|", indexes in brackets: "Fruit|[1]|Pear".
DEFINE_IID(EventCheckStateChanged, 0x8AE8E002, 0xC8AA, 0x44D3, 0x95, 0xE1, 0x18, 0x9E, 0x2B, 0xBC, 0x34, 0xA6);
DEFINE_IID(EventSliderValueChanged, 0xE6B9203F, 0x2507, 0x453E, 0x82, 0xF7, 0xBF, 0x36, 0xCA, 0x29, 0xDF, 0x8D);
DEFINE_IID(EventListItemClicked, 0x17A74BD7, 0x9283, 0x40DC, 0x90, 0x9D, 0x75, 0x05, 0xCB, 0xCE, 0x50, 0xD5);
DEFINE_IID(EventTableCellClicked, 0xC824B277, 0x414C, 0x4CA7, 0x99, 0xBA, 0x2B, 0x43, 0x23, 0x59, 0x05, 0x6E);
DEFINE_IID(EventTreeItemClicked, 0xB823ABBF, 0xBB19, 0x464C, 0x8F, 0x9D, 0x90, 0xF5, 0xB5, 0x24, 0xAA, 0x53);
DEFINE_IID(EventTreeItemExpanded, 0xC7C08E96, 0x50DA, 0x49BC, 0x81, 0xDC, 0x18, 0xF6, 0x73, 0x53, 0xA9, 0xD0);
DEFINE_IID(EventTreeItemCollapsed, 0x2CD27E46, 0x2829, 0x4360, 0x9B, 0xB5, 0x0B, 0x13, 0x28, 0xF1, 0x6F, 0x51);
DEFINE_IID(EventHeaderSectionClicked, 0xC24FFEA1, 0x2863, 0x49FC, 0xA3, 0xF7, 0x92, 0xE2, 0xC1, 0xFA, 0x84, 0x8D);
DEFINE_IID(EventComboItemActivated, 0x27DCD44E, 0xB772, 0x4807, 0xB0, 0x0B, 0x33, 0x87, 0xF9, 0x50, 0xE0, 0xB0);
DEFINE_IID(EventComboPopupOpening, 0xA1F0A082, 0xB1C6, 0x441B, 0x90, 0x2D, 0x6D, 0x3C, 0x47, 0xCF, 0xE5, 0x21);
DEFINE_IID(EventComboPopupClosing, 0x9B1A3337, 0x8EA2, 0x40EA, 0x9A, 0xC6, 0x4A, 0x92, 0x43, 0x12, 0x0F, 0x9A);
DEFINE_IID(EventToolButtonToggled, 0x59944164, 0x1F90, 0x483A, 0xB4, 0x2B, 0x9E, 0x61, 0x0C, 0xAE, 0x4E, 0x5C);
DEFINE_IID(EventTabSelected, 0xC774C77A, 0x64E3, 0x4B7B, 0x86, 0x8A, 0x95, 0x9A, 0xD2, 0x48, 0x87, 0xC5);
DEFINE_IID(EventEditorValueChanged, 0xA4C2CCF1, 0x22A8, 0x4C30, 0xB6, 0xF0, 0xA4, 0x65, 0x9A, 0xD2, 0xD4, 0xD7);
DEFINE_IID(EventCalendarDateSelected, 0x60AE2FB6, 0x5569, 0x48A9, 0xBF, 0xDA, 0x23, 0x8C, 0xA5, 0x54, 0xA2, 0x87);

// The extra payload of table and tree clicks.
struct ColumnClickRecord {
    VARIANT columnKey; // bitwise copy, owned by the reporter
    uint8_t doubleClick; // 0 for a click, 1 for a double click
};
static_assert(sizeof(ColumnClickRecord) == 32, "ColumnClickRecord layout");
static_assert(offsetof(ColumnClickRecord, doubleClick) == 24, "ColumnClickRecord layout");

// The extra payload of header clicks.
struct HeaderClickRecord {
    uint8_t doubleClick; // 0 for a click, 1 for a double click
    uint8_t vertical; // 1 for the vertical header, 0 for the horizontal
    uint8_t reserved[2]; // 0
    GUID tableSubscription; // always SubscriptionTableWidget
};
static_assert(sizeof(HeaderClickRecord) == 20, "HeaderClickRecord layout");
static_assert(offsetof(HeaderClickRecord, vertical) == 1, "HeaderClickRecord layout");
static_assert(offsetof(HeaderClickRecord, tableSubscription) == 4, "HeaderClickRecord layout");
