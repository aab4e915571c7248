// Task memory: the allocator that callers and callees share for memory whose
// ownership crosses an interface (CoTaskMemAlloc and its family).
#include <cstdlib>

#include "platform/combase.h"

/// CoTaskMemAlloc: allocates a block of task memory.
///   size [in]  bytes wanted; 0 still gives a valid, distinct block, as on Windows.
/// Returns the block, or NULL when memory is exhausted.
PLATFORM_API LPVOID CoTaskMemAlloc(SIZE_T size)
{
    return std::malloc(size ? size : 1);
}

/// CoTaskMemRealloc: changes the size of a block of task memory.
///   block [in]  a block from CoTaskMemAlloc/Realloc, or NULL to allocate anew.
///   size  [in]  new size in bytes; 0 with a block frees it.
/// Returns the (possibly moved) block; NULL when the block was freed, or when
/// memory is exhausted (the old block then stays valid).
PLATFORM_API LPVOID CoTaskMemRealloc(LPVOID block, SIZE_T size)
{
    if (!block)
        return CoTaskMemAlloc(size);
    if (size == 0) {
        std::free(block);
        return nullptr;
    }
    return std::realloc(block, size);
}

/// CoTaskMemFree: frees a block of task memory; NULL is ignored.
PLATFORM_API void CoTaskMemFree(LPVOID block)
{
    std::free(block);
}
