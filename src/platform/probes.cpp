// Pointer probes that never fault: IsBadReadPtr, IsBadCodePtr, VirtualQuery.
//
// Reads go through process_vm_readv on this process, which reports an
// unreadable page as an error instead of a fault; where a seccomp policy
// refuses that call, a guarded read takes its place. Code pointers are
// checked against the executable segments of the loaded objects (cached,
// renewed when the loader's list changes), then against the kernel's
// mappings for code outside them.
#include <sys/mman.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>

#include "platform/memorymap.h"
#include "platform/system.h"

#define MEM_RESERVE 0x2000
#define PAGE_EXECUTE_WRITECOPY 0x80

namespace platform {
namespace {

constexpr uintptr_t kUserSpaceEnd = 0x800000000000ull; // 47-bit user space of x86-64
constexpr size_t kReadBatch = 1024;                   // IOV_MAX
constexpr long kMapRereadNanoseconds = 10 * 1000000L; // without PROCMAP_QUERY: at most every 10 ms

// The first byte of each page of [start, last] and the last byte: the
// pages a read of the range touches.
template <typename Visit>
void forEachPageProbe(uintptr_t start, uintptr_t last, Visit visit)
{
    uintptr_t address = start;
    for (;;) {
        visit(address);
        const uintptr_t nextPage = (address & ~(kPageSize - 1)) + kPageSize;
        if (nextPage == 0 || nextPage > last)
            break;
        address = nextPage;
    }
    if (address != last)
        visit(last);
}

__attribute__((no_sanitize("address", "undefined"))) void touchPages(void *context)
{
    const auto *range = static_cast<const AddressRange *>(context);
    forEachPageProbe(range->first, range->second,
                     [](uintptr_t address) { (void)*reinterpret_cast<const volatile char *>(address); });
}

// True when every probe of the range reads; errno-free fallback included.
bool rangeReadable(uintptr_t start, uintptr_t last)
{
    char sink[kReadBatch];
    iovec remote[kReadBatch];
    size_t count = 0;
    bool readable = true;
    bool refused = false;
    auto flush = [&] {
        if (count == 0 || !readable || refused)
            return;
        iovec local{ sink, count };
        const ssize_t read = process_vm_readv(getpid(), &local, 1, remote, count, 0);
        if (read < 0 && errno != EFAULT)
            refused = true;
        else if (read != ssize_t(count))
            readable = false;
        count = 0;
    };
    forEachPageProbe(start, last, [&](uintptr_t address) {
        remote[count++] = iovec{ reinterpret_cast<void *>(address), 1 };
        if (count == kReadBatch)
            flush();
    });
    flush();
    if (refused) {
        AddressRange range{ start, last };
        return CallWithFaultGuard(touchPages, &range, nullptr) != FALSE;
    }
    return readable;
}

bool contains(const std::vector<AddressRange> &ranges, uintptr_t address)
{
    auto found = std::upper_bound(ranges.begin(), ranges.end(), address,
                                  [](uintptr_t value, const AddressRange &range) { return value < range.first; });
    return found != ranges.begin() && address < std::prev(found)->second;
}

long long monotonicNanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// Executable ranges known without asking the kernel.
struct CodeRanges {
    std::mutex lock;
    unsigned long long generation = ~0ull;  // of the images; guarded by lock
    std::vector<AddressRange> images;       // guarded by lock
    std::vector<AddressRange> mapped;       // from /proc/self/maps; guarded by lock
    long long mappedAt = 0;                 // guarded by lock
};

CodeRanges &codeRanges()
{
    static CodeRanges *ranges = new CodeRanges; // deliberately never destroyed
    return *ranges;
}

std::vector<AddressRange> executableMappings()
{
    std::vector<AddressRange> ranges;
    for (const MemoryRegion &region : readMemoryMap()) {
        if (region.executable)
            ranges.emplace_back(region.start, region.end);
    }
    return ranges;
}

// Without PROCMAP_QUERY: whether a mapped page is executable, from a copy
// of /proc/self/maps renewed on a miss at most every kMapRereadNanoseconds.
// Takes the code-range lock.
bool executableByMapCopy(uintptr_t address)
{
    unsigned char residency = 0;
    if (mincore(reinterpret_cast<void *>(address & ~(kPageSize - 1)), kPageSize, &residency) != 0 &&
        errno == ENOMEM)
        return false; // not mapped at all
    CodeRanges &ranges = codeRanges();
    std::lock_guard<std::mutex> guard(ranges.lock);
    if (contains(ranges.mapped, address))
        return true;
    const long long now = monotonicNanoseconds();
    if (now - ranges.mappedAt < kMapRereadNanoseconds)
        return false;
    ranges.mapped = executableMappings();
    ranges.mappedAt = now;
    return contains(ranges.mapped, address);
}

// Takes the code-range lock.
bool inLoadedCode(uintptr_t address)
{
    CodeRanges &ranges = codeRanges();
    const unsigned long long generation = imageGeneration();
    std::lock_guard<std::mutex> guard(ranges.lock);
    if (ranges.generation != generation) {
        ranges.images.clear();
        loadedImages(&ranges.images);
        std::sort(ranges.images.begin(), ranges.images.end());
        ranges.generation = generation;
    }
    return contains(ranges.images, address);
}

// The Windows protection of a mapping's permissions; 0 for none (reserved).
DWORD protectionOf(const MemoryRegion &region)
{
    static const DWORD byPermissions[8] = {
        // index: read | write << 1 | execute << 2
        0, PAGE_READONLY, PAGE_READWRITE, PAGE_READWRITE, PAGE_EXECUTE, PAGE_EXECUTE_READ,
        PAGE_EXECUTE_READWRITE, PAGE_EXECUTE_READWRITE,
    };
    return byPermissions[int(region.readable) | int(region.writable) << 1 | int(region.executable) << 2];
}

// What VirtualQuery tells of one mapping.
struct RegionFacts {
    uintptr_t allocationBase;
    DWORD allocationProtect;
    DWORD state;
    DWORD protect;
    DWORD type;

    bool operator==(const RegionFacts &other) const
    {
        return allocationBase == other.allocationBase && allocationProtect == other.allocationProtect
            && state == other.state && protect == other.protect && type == other.type;
    }
};

// Whether next continues the same allocation as previous: the same file at
// following offsets, or anonymous memory after anonymous memory.
bool continues(const MemoryRegion &previous, const MemoryRegion &next)
{
    if (previous.end != next.start || previous.shared != next.shared || previous.inode != next.inode
        || previous.device != next.device)
        return false;
    return previous.inode == 0 || previous.offset + (previous.end - previous.start) == next.offset;
}

RegionFacts factsOf(const std::vector<MemoryRegion> &regions, size_t index, const std::vector<LoadedImage> &images)
{
    const MemoryRegion &region = regions[index];
    RegionFacts facts{};
    facts.protect = protectionOf(region);
    facts.state = facts.protect == 0 ? MEM_RESERVE : MEM_COMMIT;
    for (const LoadedImage &image : images) {
        if (region.start >= image.begin && region.start < image.end) {
            // As on Windows, an image's allocation starts at its header and
            // everything between its segments belongs to it.
            facts.type = MEM_IMAGE;
            facts.allocationBase = image.header;
            facts.allocationProtect = PAGE_EXECUTE_WRITECOPY;
            return facts;
        }
    }
    facts.type = (region.inode != 0 || region.shared) ? MEM_MAPPED : MEM_PRIVATE;
    size_t first = index;
    while (first > 0 && continues(regions[first - 1], regions[first]))
        --first;
    facts.allocationBase = regions[first].start;
    facts.allocationProtect = protectionOf(regions[first]);
    return facts;
}

} // namespace
} // namespace platform

using namespace platform;

/// IsBadReadPtr: whether reading a range could fault.
///   pointer [in]: the start; bytes [in]: the length.
/// Returns FALSE when every page of the range can be read (also for 0
/// bytes), TRUE otherwise (null with bytes, a range that wraps, any page
/// unmapped or without read access). Never faults.
PLATFORM_API BOOL IsBadReadPtr(LPCVOID pointer, UINT_PTR bytes)
{
    if (bytes == 0)
        return FALSE;
    const uintptr_t start = reinterpret_cast<uintptr_t>(pointer);
    const uintptr_t last = start + (bytes - 1);
    if (start == 0 || last < start)
        return TRUE;
    return rangeReadable(start, last) ? FALSE : TRUE;
}

/// IsBadCodePtr: whether a pointer does not point into executable memory.
///   pointer [in]: the code pointer.
/// Returns FALSE when the address lies in an executable segment of a loaded
/// object or in another executable mapping; TRUE otherwise (null included).
/// Differs from Windows: on kernels before 6.11, code mapped outside loaded
/// objects in the last 10 ms may read as bad.
/// Takes the code-range lock, and the query lock for addresses outside
/// loaded objects.
PLATFORM_API BOOL IsBadCodePtr(FARPROC pointer)
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(pointer);
    if (address == 0 || address >= kUserSpaceEnd)
        return TRUE;
    if (inLoadedCode(address))
        return FALSE;
    MemoryRegion region;
    switch (queryMapping(address, region)) {
    case MappingQuery::Found:
        return region.executable ? FALSE : TRUE;
    case MappingQuery::Unmapped:
        return TRUE;
    case MappingQuery::Unsupported:
        break;
    }
    return executableByMapCopy(address) ? FALSE : TRUE;
}

/// VirtualQuery: describes the pages around an address.
///   address [in]: any address.
///   info [out]: BaseAddress (the address's page), AllocationBase (for a
///     loaded object the address of its ELF header, its HMODULE; else where
///     the mapping began), AllocationProtect, RegionSize (to the end of the
///     pages that share all attributes), State (MEM_COMMIT, MEM_RESERVE for
///     pages without access, MEM_FREE outside mappings), Protect (PAGE_...),
///     Type (MEM_IMAGE, MEM_MAPPED for files and shared memory, MEM_PRIVATE).
///   length [in]: the size of info.
/// Returns sizeof(MEMORY_BASIC_INFORMATION); 0 with ERROR_BAD_LENGTH when
/// length is too small, ERROR_NOACCESS for a null info,
/// ERROR_INVALID_PARAMETER above the user address space.
/// Differs from Windows: protections are those of the mappings (no
/// PAGE_WRITECOPY, PAGE_GUARD); where two allocations lie next to each other
/// with the same backing, they read as one.
PLATFORM_API SIZE_T VirtualQuery(LPCVOID address, PMEMORY_BASIC_INFORMATION info, SIZE_T length)
{
    if (length < sizeof(MEMORY_BASIC_INFORMATION)) {
        SetLastError(ERROR_BAD_LENGTH);
        return 0;
    }
    if (!info) {
        SetLastError(ERROR_NOACCESS);
        return 0;
    }
    const uintptr_t page = reinterpret_cast<uintptr_t>(address) & ~(kPageSize - 1);
    if (page >= kUserSpaceEnd) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::vector<MemoryRegion> regions = readMemoryMap();
    const std::vector<LoadedImage> images = loadedImages();
    *info = MEMORY_BASIC_INFORMATION{};
    info->BaseAddress = reinterpret_cast<PVOID>(page);
    size_t index = 0;
    while (index < regions.size() && regions[index].end <= page)
        ++index;
    if (index == regions.size() || regions[index].start > page) {
        const uintptr_t next = index < regions.size() ? std::min(regions[index].start, kUserSpaceEnd) : kUserSpaceEnd;
        info->RegionSize = next - page;
        info->State = MEM_FREE;
        info->Protect = PAGE_NOACCESS;
        return sizeof *info;
    }
    const RegionFacts facts = factsOf(regions, index, images);
    uintptr_t end = regions[index].end;
    for (size_t next = index + 1; next < regions.size() && regions[next].start == end; ++next) {
        if (!(factsOf(regions, next, images) == facts))
            break;
        end = regions[next].end;
    }
    info->AllocationBase = reinterpret_cast<PVOID>(facts.allocationBase);
    info->AllocationProtect = facts.allocationProtect;
    info->RegionSize = end - page;
    info->State = facts.state;
    info->Protect = facts.protect;
    info->Type = facts.type;
    return sizeof *info;
}
