// Critical sections as the module's objects use them: set up with a spin
// count of 0 and a flag that tells the destructor to delete them, and held
// for the length of a scope.
#pragma once

#include "platform/automation.h"
#include "runtime/errors.h"

// Sets section up and marks ready; the HRESULT of a failure.
inline HRESULT InitializeSection(LPCRITICAL_SECTION section, bool &ready)
{
    if (!InitializeCriticalSectionAndSpinCount(section, 0))
        return HResultFromSystemError(LONG(GetLastError()));
    ready = true;
    return S_OK;
}

class SectionLocker
{
public:
    explicit SectionLocker(LPCRITICAL_SECTION section) : section(section) { EnterCriticalSection(section); }
    ~SectionLocker() { LeaveCriticalSection(section); }
    SectionLocker(const SectionLocker &) = delete;
    SectionLocker &operator=(const SectionLocker &) = delete;

private:
    LPCRITICAL_SECTION section;
};
