// Reading the address space: /proc/self/maps, the dynamic loader's list of
// objects, and the kernel's per-address query of /proc/self/maps.
#include <fcntl.h>
#include <link.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <mutex>
#include <string>

#include "platform/memorymap.h"

namespace platform {
namespace {

// The query of linux/fs.h (Linux 6.11), spelled out for older headers.
struct ProcessMapQuery {
    uint64_t size;
    uint64_t queryFlags;
    uint64_t queryAddress;
    uint64_t vmaStart;
    uint64_t vmaEnd;
    uint64_t vmaFlags;
    uint64_t vmaPageSize;
    uint64_t vmaOffset;
    uint64_t inode;
    uint32_t deviceMajor;
    uint32_t deviceMinor;
    uint32_t vmaNameSize;
    uint32_t buildIdSize;
    uint64_t vmaNameAddress;
    uint64_t buildIdAddress;
};
static_assert(sizeof(ProcessMapQuery) == 104, "struct procmap_query layout");

constexpr unsigned long kProcessMapQuery = _IOWR('f', 17, ProcessMapQuery);
constexpr uint64_t kQueryReadable = 0x01;
constexpr uint64_t kQueryWritable = 0x02;
constexpr uint64_t kQueryExecutable = 0x04;
constexpr uint64_t kQueryShared = 0x08;

uintptr_t pageDown(uintptr_t address)
{
    return address & ~(kPageSize - 1);
}

uintptr_t pageUp(uintptr_t address)
{
    return pageDown(address + kPageSize - 1);
}

std::string readWholeFile(const char *path)
{
    std::string text;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return text;
    char buffer[8192];
    for (;;) {
        const ssize_t length = read(fd, buffer, sizeof buffer);
        if (length <= 0)
            break;
        text.append(buffer, size_t(length));
    }
    close(fd);
    return text;
}

struct ImageScan {
    std::vector<LoadedImage> *images;
    std::vector<AddressRange> *executable;
};

int scanImage(dl_phdr_info *info, size_t, void *data)
{
    auto *scan = static_cast<ImageScan *>(data);
    LoadedImage image;
    bool hasHeader = false;
    image.begin = UINTPTR_MAX;
    for (ElfW(Half) index = 0; index < info->dlpi_phnum; ++index) {
        const ElfW(Phdr) &segment = info->dlpi_phdr[index];
        if (segment.p_type != PT_LOAD)
            continue;
        const uintptr_t start = info->dlpi_addr + segment.p_vaddr;
        image.begin = std::min(image.begin, pageDown(start));
        image.end = std::max(image.end, pageUp(start + segment.p_memsz));
        if (segment.p_offset == 0) {
            image.header = pageDown(start);
            hasHeader = true;
        }
        if ((segment.p_flags & PF_X) && scan->executable)
            scan->executable->emplace_back(pageDown(start), pageUp(start + segment.p_memsz));
    }
    if (hasHeader && image.end > image.begin)
        scan->images->push_back(image);
    return 0;
}

int readGeneration(dl_phdr_info *info, size_t size, void *data)
{
    if (size >= offsetof(dl_phdr_info, dlpi_subs) + sizeof info->dlpi_subs)
        *static_cast<unsigned long long *>(data) = info->dlpi_adds + info->dlpi_subs;
    return 1; // the counters are the same in every entry: stop at the first
}

// /proc/self/maps opened once per process (a descriptor inherited over fork
// would describe the parent).
struct MapQueryState {
    std::mutex lock;
    int descriptor = -1; // guarded by lock
    pid_t owner = 0;     // guarded by lock
    std::atomic<bool> unsupported{ false };
};

MapQueryState &mapQueryState()
{
    static MapQueryState *state = new MapQueryState; // deliberately never destroyed
    return *state;
}

} // namespace

std::vector<MemoryRegion> readMemoryMap()
{
    std::vector<MemoryRegion> regions;
    const std::string text = readWholeFile("/proc/self/maps");
    size_t position = 0;
    while (position < text.size()) {
        size_t lineEnd = text.find('\n', position);
        if (lineEnd == std::string::npos)
            lineEnd = text.size();
        const std::string line = text.substr(position, lineEnd - position);
        position = lineEnd + 1;
        MemoryRegion region;
        char permissions[5] = {};
        unsigned major = 0, minor = 0;
        unsigned long long start = 0, end = 0, offset = 0, inode = 0;
        if (std::sscanf(line.c_str(), "%llx-%llx %4s %llx %x:%x %llu", &start, &end, permissions, &offset, &major,
                        &minor, &inode) != 7)
            continue;
        region.start = uintptr_t(start);
        region.end = uintptr_t(end);
        region.readable = permissions[0] == 'r';
        region.writable = permissions[1] == 'w';
        region.executable = permissions[2] == 'x';
        region.shared = permissions[3] == 's';
        region.offset = offset;
        region.device = makedev(major, minor);
        region.inode = inode;
        regions.push_back(region);
    }
    return regions;
}

std::vector<LoadedImage> loadedImages(std::vector<AddressRange> *executable)
{
    std::vector<LoadedImage> images;
    ImageScan scan{ &images, executable };
    dl_iterate_phdr(scanImage, &scan);
    return images;
}

unsigned long long imageGeneration()
{
    unsigned long long generation = 0;
    dl_iterate_phdr(readGeneration, &generation);
    return generation;
}

namespace {

// The last reading of the loader's count, and the coarse time it was taken
// plus one (0: read again at the next call).
std::atomic<unsigned long long> recentGeneration{ 0 };
std::atomic<long long> recentGenerationAt{ 0 };

} // namespace

unsigned long long recentImageGeneration(long long coarseNow)
{
    if (recentGenerationAt.load(std::memory_order_acquire) != coarseNow + 1) {
        recentGeneration.store(imageGeneration(), std::memory_order_relaxed);
        recentGenerationAt.store(coarseNow + 1, std::memory_order_release);
    }
    return recentGeneration.load(std::memory_order_relaxed);
}

void noteImagesChanged()
{
    recentGenerationAt.store(0, std::memory_order_release);
}

MappingQuery queryMapping(uintptr_t address, MemoryRegion &region)
{
    MapQueryState &state = mapQueryState();
    if (state.unsupported.load(std::memory_order_relaxed))
        return MappingQuery::Unsupported;
    std::lock_guard<std::mutex> guard(state.lock);
    if (state.owner != getpid()) {
        if (state.descriptor >= 0)
            close(state.descriptor);
        state.descriptor = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
        state.owner = getpid();
    }
    ProcessMapQuery query{};
    query.size = sizeof query;
    query.queryAddress = address;
    if (state.descriptor < 0 || ioctl(state.descriptor, kProcessMapQuery, &query) != 0) {
        if (state.descriptor >= 0 && errno == ENOENT)
            return MappingQuery::Unmapped;
        state.unsupported = true;
        return MappingQuery::Unsupported;
    }
    region.start = uintptr_t(query.vmaStart);
    region.end = uintptr_t(query.vmaEnd);
    region.readable = query.vmaFlags & kQueryReadable;
    region.writable = query.vmaFlags & kQueryWritable;
    region.executable = query.vmaFlags & kQueryExecutable;
    region.shared = query.vmaFlags & kQueryShared;
    region.offset = query.vmaOffset;
    region.device = makedev(query.deviceMajor, query.deviceMinor);
    region.inode = query.inode;
    return MappingQuery::Found;
}

} // namespace platform
