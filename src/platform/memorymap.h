// The address space of this process: its mappings and its loaded ELF
// objects. Internal to the platform library.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace platform {

constexpr uintptr_t kPageSize = 4096;

struct MemoryRegion {
    uintptr_t start = 0;
    uintptr_t end = 0;
    bool readable = false;
    bool writable = false;
    bool executable = false;
    bool shared = false;
    uint64_t offset = 0;
    uint64_t device = 0;
    uint64_t inode = 0; // 0 for anonymous memory
};

// The mappings of /proc/self/maps, in address order.
std::vector<MemoryRegion> readMemoryMap();

// A loaded ELF object: the address of its ELF header (its HMODULE) and the
// span its loadable segments cover.
struct LoadedImage {
    uintptr_t header = 0;
    uintptr_t begin = 0;
    uintptr_t end = 0;
};

using AddressRange = std::pair<uintptr_t, uintptr_t>;

// The loaded objects; executable, when given, receives the ranges of their
// executable segments.
std::vector<LoadedImage> loadedImages(std::vector<AddressRange> *executable = nullptr);

// A number that changes whenever an object is loaded or unloaded.
unsigned long long imageGeneration();

// imageGeneration as read at most one tick of the coarse clock ago, for
// callers too frequent to take the loader's lock each time; coarseNow is the
// caller's reading of CLOCK_MONOTONIC_COARSE in nanoseconds. A load or
// unload through LoadLibrary or FreeLibrary is seen at once. Any thread.
unsigned long long recentImageGeneration(long long coarseNow);

// Tells recentImageGeneration that objects were loaded or unloaded.
void noteImagesChanged();

enum class MappingQuery { Found, Unmapped, Unsupported };

// The mapping that contains address, asked of the kernel directly
// (PROCMAP_QUERY, Linux 6.11); Unsupported on kernels without it. Any
// thread; takes the query lock.
MappingQuery queryMapping(uintptr_t address, MemoryRegion &region);

} // namespace platform
