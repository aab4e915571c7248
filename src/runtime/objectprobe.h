// Telling a live QObject from any other address without faulting and
// without running code found at a wild address. The host names objects by
// address, and it may hand anything: freed memory, an unmapped or
// misaligned address, a kernel address, a number it made up.
#pragma once

class QObject;
class QWidget;

// True when address holds a live QObject: the layout Qt's public header
// gives a QObject (a vtable pointer, then d_ptr to a QObjectData whose
// q_ptr points back and which is not being deleted) is readable and
// consistent, the vtable's first slot, metaObject(), is code, the C++ type
// descriptions say object (or say nothing) and data, and then, inside the
// fault guard, QMetaObject::cast accepts it. Any thread.
bool IsLiveQObject(const void *address);

// IsLiveQObject and, inside the fault guard, isWidgetType(). Any thread.
bool IsLiveWidget(const void *address);

// The address as an object or widget when it passes the test, else null.
QObject *AsLiveQObject(const void *address);
QWidget *AsLiveWidget(const void *address);

// IsLiveQObject and IsLiveWidget, cheaply for an object the calling thread
// has confirmed before: each thread keeps a table of the objects it
// confirmed, followed through QPointers, and trusts an entry until Qt clears
// its pointer, as it does when the object's destruction begins. An address
// whose object Qt said is gone is probed again from scratch. Any thread;
// as with the whole probe, an object destroyed on another thread after the
// answer is the caller's to keep alive.
QObject *AsConfirmedLiveQObject(const void *address);
bool IsConfirmedLiveQObject(const void *address);
QWidget *AsConfirmedLiveWidget(const void *address);
bool IsConfirmedLiveWidget(const void *address);
