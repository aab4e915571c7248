// Memory the module lets go of on purpose, because something outside it
// may still look at it (an abandoned guard cell). The leak checker of
// sanitizer builds is told, so that it reports only real leaks.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

inline void MarkDeliberateLeak(const void *allocation)
{
#if defined(__SANITIZE_ADDRESS__)
    __lsan_ignore_object(allocation);
#else
    (void)allocation;
#endif
}
