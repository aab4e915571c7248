// Critical sections: a recursive pthread mutex placed in the opaque bytes of
// CRITICAL_SECTION, so that sections can live in static storage and inside
// structures exactly as on Windows.
#include <pthread.h>

#include <new>

#include "platform/system.h"

static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION), "a mutex fits a CRITICAL_SECTION");
static_assert(alignof(pthread_mutex_t) <= alignof(CRITICAL_SECTION), "a mutex may sit in a CRITICAL_SECTION");

namespace {

pthread_mutex_t *mutexOf(LPCRITICAL_SECTION section)
{
    return std::launder(reinterpret_cast<pthread_mutex_t *>(section->opaque));
}

bool makeRecursiveMutex(LPCRITICAL_SECTION section)
{
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0)
        return false;
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_t *mutex = new (section->opaque) pthread_mutex_t;
    const bool made = pthread_mutex_init(mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return made;
}

} // namespace

/// InitializeCriticalSection: makes a critical section ready for use.
///   section [out]: the section; null is ignored (Windows would fault).
PLATFORM_API void InitializeCriticalSection(LPCRITICAL_SECTION section)
{
    if (section)
        makeRecursiveMutex(section);
}

/// InitializeCriticalSectionAndSpinCount: InitializeCriticalSection with a
/// spin count.
///   section [out]: the section.
///   spinCount [in]: accepted and ignored; the mutex spins as glibc sees fit.
/// Returns TRUE; FALSE when the mutex cannot be made, with
/// ERROR_NOT_ENOUGH_MEMORY (ERROR_INVALID_PARAMETER for a null section).
PLATFORM_API BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD spinCount)
{
    (void)spinCount;
    if (!section) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (!makeRecursiveMutex(section)) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    return TRUE;
}

/// EnterCriticalSection: waits for and takes a section; the owning thread
/// may enter again (each entry needs its LeaveCriticalSection).
///   section [in/out]: an initialized section; null is ignored.
PLATFORM_API void EnterCriticalSection(LPCRITICAL_SECTION section)
{
    if (section)
        pthread_mutex_lock(mutexOf(section));
}

/// TryEnterCriticalSection: takes a section when that needs no waiting.
///   section [in/out]: an initialized section.
/// Returns TRUE when taken (also again by its owner), FALSE when another
/// thread owns it or the section is null.
PLATFORM_API BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section)
{
    return section && pthread_mutex_trylock(mutexOf(section)) == 0 ? TRUE : FALSE;
}

/// LeaveCriticalSection: gives back one entry of a section.
///   section [in/out]: a section the calling thread owns. A thread that does
///     not own it changes nothing (Windows would corrupt the section).
PLATFORM_API void LeaveCriticalSection(LPCRITICAL_SECTION section)
{
    if (section)
        pthread_mutex_unlock(mutexOf(section));
}

/// DeleteCriticalSection: releases a section nobody owns.
///   section [in/out]: the section; it must be initialized again before use.
PLATFORM_API void DeleteCriticalSection(LPCRITICAL_SECTION section)
{
    if (section)
        pthread_mutex_destroy(mutexOf(section));
}
