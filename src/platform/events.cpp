// Events: CreateEventW, OpenEventW, SetEvent and ResetEvent.
//
// A named event also holds a marker for its name (markers.h), so that other
// processes of the same user see the name while this one holds it and not
// after it ends. Within a process, a name leads to the same event object.
// Signals do not cross processes: an event opened by the name of another
// process's event is an event of this process only.
#include "platform/markers.h"
#include "platform/namedobjects.h"
#include "platform/utf.h"
#include "platform/waitable.h"

namespace platform {
namespace {

const char kMarkerKind[] = "event";

class Event : public Waitable {
public:
    static constexpr Type kType = Type::Event;

    Event(bool manualReset, bool signalled, std::string name)
        : Waitable(kType), m_manualReset(manualReset), m_signalled(signalled), m_name(std::move(name))
    {
    }
    ~Event() override;

    bool signalledLocked() override { return m_signalled; }
    void acquireLocked() override
    {
        if (!m_manualReset)
            m_signalled = false;
    }

    // Any thread; takes the event's lock, and wakes waiters after it.
    void change(bool signalled)
    {
        DeferredWakeups wakeups;
        std::lock_guard<std::mutex> guard(lock());
        m_signalled = signalled;
        if (signalled)
            wakeWaitersLocked(wakeups);
    }

private:
    const bool m_manualReset;
    bool m_signalled; // guarded by lock()
    const std::string m_name;
};

// Deliberately never destroyed: events may close during static teardown.
NamedObjects<Event> &namedEvents()
{
    static NamedObjects<Event> *instance = new NamedObjects<Event>;
    return *instance;
}

// Takes the named-event lock.
Event::~Event()
{
    if (m_name.empty())
        return;
    NamedObjects<Event> &names = namedEvents();
    std::lock_guard<std::mutex> guard(names.lock());
    names.releaseLocked(m_name, this);
}

// The key of a name from the caller, or false with the last error set.
bool eventKey(LPCWSTR name, bool required, std::string &key)
{
    const std::string text = toUtf8(name);
    return objectKey(name ? text.c_str() : nullptr, required, key);
}

BOOL changeEvent(HANDLE handle, bool signalled)
{
    auto event = referenceHandleOf<Event>(handle, EVENT_MODIFY_STATE);
    if (!event)
        return FALSE;
    event->change(signalled);
    return TRUE;
}

} // namespace
} // namespace platform

using namespace platform;

/// CreateEventW: creates an event, or opens the event that has the name.
///   attributes [in]: ignored (no security descriptors here).
///   manualReset [in]: TRUE: stays signalled until ResetEvent; FALSE: a
///     satisfied wait resets it.
///   initialState [in]: TRUE to start signalled.
///   name [in]: NULL or "" for an unnamed event; "Local\" and "Global\" are
///     dropped; names are case-sensitive.
/// Returns a handle with EVENT_ALL_ACCESS; the last error is 0 for a new
/// event and ERROR_ALREADY_EXISTS when the name was taken (the existing
/// event is opened and manualReset and initialState are ignored). NULL with
/// ERROR_PATH_NOT_FOUND for a name with a backslash after the prefix.
/// Differs from Windows: names are scoped per user (one namespace for the
/// user's sessions); when another process holds the name, the handle is to
/// an event of this process (signals do not cross processes).
/// Takes the named-event lock for a named event.
PLATFORM_API HANDLE CreateEventW(LPVOID attributes, BOOL manualReset, BOOL initialState, LPCWSTR name)
{
    (void)attributes;
    std::string key;
    if (!eventKey(name, false, key))
        return nullptr;
    if (key.empty()) {
        HANDLE handle = openHandle(std::make_shared<Event>(manualReset != FALSE, initialState != FALSE, std::string()),
                                   EVENT_ALL_ACCESS);
        SetLastError(ERROR_SUCCESS);
        return handle;
    }
    NamedObjects<Event> &names = namedEvents();
    std::lock_guard<std::mutex> guard(names.lock());
    if (std::shared_ptr<Event> existing = names.liveLocked(key)) {
        HANDLE handle = openHandle(std::move(existing), EVENT_ALL_ACCESS);
        SetLastError(ERROR_ALREADY_EXISTS);
        return handle;
    }
    // Takes the marker unless this process still holds it for an event
    // that is going away.
    NamedObjects<Event>::Entry &entry = names.entryLocked(key);
    MarkerState state = MarkerState::Held;
    if (entry.marker < 0)
        entry.marker = holdMarker(kMarkerKind, key, state);
    if (state == MarkerState::Failed) {
        names.forgetLocked(key);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    auto event = std::make_shared<Event>(manualReset != FALSE, initialState != FALSE, key);
    names.bindLocked(entry, event);
    HANDLE handle = openHandle(std::move(event), EVENT_ALL_ACCESS);
    SetLastError(state == MarkerState::HeldElsewhere ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

/// OpenEventW: opens the event that has a name.
///   access [in]: the rights wanted (SYNCHRONIZE, EVENT_MODIFY_STATE,
///     EVENT_ALL_ACCESS, generic rights).
///   inherit [in]: ignored.
///   name [in]: the name, as for CreateEventW.
/// Returns the handle; NULL with ERROR_INVALID_PARAMETER for a null name,
/// ERROR_FILE_NOT_FOUND when nobody holds the name, ERROR_PATH_NOT_FOUND for
/// a name with a backslash after the prefix.
/// Differs from Windows: a name held by another process opens an event of
/// this process (not signalled, auto-reset); signals do not cross.
/// Takes the named-event lock.
PLATFORM_API HANDLE OpenEventW(DWORD access, BOOL inherit, LPCWSTR name)
{
    (void)inherit;
    std::string key;
    if (!eventKey(name, true, key))
        return nullptr;
    const DWORD granted = grantedAccess(KernelObject::Type::Event, access);
    NamedObjects<Event> &names = namedEvents();
    std::lock_guard<std::mutex> guard(names.lock());
    if (std::shared_ptr<Event> existing = names.liveLocked(key))
        return openHandle(std::move(existing), granted);
    if (key.empty() || !markerHeld(kMarkerKind, key)) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return nullptr;
    }
    auto event = std::make_shared<Event>(false, false, key);
    names.bindLocked(names.entryLocked(key), event);
    return openHandle(std::move(event), granted);
}

/// IsEventNameInProcess: whether an event of this process has the name,
/// answered from the process's own table of names, without a system call.
///   name [in]: the name, as for CreateEventW.
/// Returns TRUE while an event that CreateEventW or OpenEventW gave this
/// process under that name lives; FALSE otherwise, also for a null name or
/// one OpenEventW refuses. The last error is left as it was.
/// Not a Windows function: OpenEventW also finds a name that only another
/// process holds, which costs a system call; for names that only code of
/// this process makes, both give the same answer.
/// Takes the named-event lock.
PLATFORM_API BOOL IsEventNameInProcess(LPCWSTR name)
{
    NamedObjects<Event> &names = namedEvents();
    // Most processes have no named events: no conversion, no lock then.
    if (names.empty())
        return FALSE;
    const DWORD lastError = GetLastError();
    std::string key;
    const bool valid = eventKey(name, true, key);
    SetLastError(lastError);
    if (!valid || key.empty())
        return FALSE;
    std::lock_guard<std::mutex> guard(names.lock());
    return names.liveLocked(key) ? TRUE : FALSE;
}

/// SetEvent: signals an event; a manual-reset event wakes all its waiters,
/// an auto-reset event is taken by one wait.
///   event [in]: an event handle with EVENT_MODIFY_STATE.
/// Returns TRUE; FALSE with ERROR_INVALID_HANDLE or ERROR_ACCESS_DENIED.
/// Takes the event's lock.
PLATFORM_API BOOL SetEvent(HANDLE event)
{
    return changeEvent(event, true);
}

/// ResetEvent: makes an event not signalled.
///   event [in]: an event handle with EVENT_MODIFY_STATE.
/// Returns TRUE; FALSE with ERROR_INVALID_HANDLE or ERROR_ACCESS_DENIED.
/// Takes the event's lock.
PLATFORM_API BOOL ResetEvent(HANDLE event)
{
    return changeEvent(event, false);
}
