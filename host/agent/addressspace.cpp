#include "host/agent/addressspace.h"

#include <dirent.h>
#include <link.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace vrqt::agent {

namespace {

constexpr int kReadsOfARunningThread = 20;
constexpr useconds_t kRunningThreadPauseMicroseconds = 100;

struct Search
{
    std::uintptr_t address;
    bool found;
};

// dl_iterate_phdr's callback: stops at the object whose writable loaded
// segments (data and bss) hold the address.
int FindWritableSegment(dl_phdr_info *info, std::size_t, void *data)
{
    Search *search = static_cast<Search *>(data);
    for (ElfW(Half) index = 0; index < info->dlpi_phnum; ++index) {
        const ElfW(Phdr) &segment = info->dlpi_phdr[index];
        if (segment.p_type != PT_LOAD || !(segment.p_flags & PF_W))
            continue;
        const std::uintptr_t start = info->dlpi_addr + segment.p_vaddr;
        if (search->address >= start && search->address - start < segment.p_memsz) {
            search->found = true;
            return 1;
        }
    }
    return 0;
}

bool OwnStack(AddressSpace::Range *range)
{
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
        return false;
    void *lowest = nullptr;
    std::size_t size = 0;
    const bool known = pthread_attr_getstack(&attributes, &lowest, &size) == 0;
    pthread_attr_destroy(&attributes);
    range->start = reinterpret_cast<std::uintptr_t>(lowest);
    range->end = range->start + size;
    return known;
}

struct Mapping
{
    AddressSpace::Range range;
    bool mainStack = false;
};

std::vector<Mapping> Mappings()
{
    std::vector<Mapping> mappings;
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        unsigned long low = 0, high = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx", &low, &high) == 2)
            mappings.push_back({ { low, high }, line.find("[stack]") != std::string::npos });
    }
    return mappings;
}

// The stack pointer of a thread of this process that waits in a system
// call (the kernel gives it in /proc/self/task/TID/syscall); 0 for one that
// runs, whose stack pointer cannot be read.
std::uintptr_t WaitingStackPointer(const std::string &thread)
{
    std::ifstream syscall("/proc/self/task/" + thread + "/syscall");
    std::string line;
    if (!std::getline(syscall, line))
        return 0;
    // "number arg1 ... arg6 sp pc": the stack pointer is the last but one.
    std::istringstream fields(line);
    std::string field, previous, beforePrevious;
    while (fields >> field) {
        beforePrevious = previous;
        previous = field;
    }
    return std::strtoull(beforePrevious.c_str(), nullptr, 16);
}

std::vector<std::string> OtherThreads()
{
    std::vector<std::string> threads;
    DIR *folder = opendir("/proc/self/task");
    if (!folder)
        return threads;
    const std::string self = std::to_string(gettid());
    while (const dirent *entry = readdir(folder)) {
        if (entry->d_name[0] != '.' && self != entry->d_name)
            threads.emplace_back(entry->d_name);
    }
    closedir(folder);
    return threads;
}

} // namespace

AddressSpace::AddressSpace()
{
    Range own;
    if (OwnStack(&own))
        stacks.push_back(own);
    const std::vector<Mapping> mappings = Mappings();
    auto addMappingOf = [&](std::uintptr_t address) {
        for (const Mapping &mapping : mappings) {
            if (address >= mapping.range.start && address < mapping.range.end) {
                stacks.push_back(mapping.range);
                return;
            }
        }
    };
    for (const Mapping &mapping : mappings) {
        if (mapping.mainStack)
            stacks.push_back(mapping.range);
    }
    for (const std::string &thread : OtherThreads()) {
        // A thread that runs now mostly waits again a moment later.
        std::uintptr_t pointer = 0;
        for (int attempt = 0; attempt < kReadsOfARunningThread && !pointer; ++attempt) {
            if (attempt)
                usleep(kRunningThreadPauseMicroseconds);
            pointer = WaitingStackPointer(thread);
        }
        if (pointer)
            addMappingOf(pointer);
    }
}

Storage AddressSpace::storageOf(const void *address) const
{
    const std::uintptr_t value = reinterpret_cast<std::uintptr_t>(address);
    for (const Range &stack : stacks) {
        if (value >= stack.start && value < stack.end)
            return Storage::Stack;
    }
    Search search{ value, false };
    dl_iterate_phdr(FindWritableSegment, &search);
    return search.found ? Storage::Static : Storage::Heap;
}

Storage StorageOf(const void *address)
{
    return AddressSpace().storageOf(address);
}

const char *StorageName(Storage storage)
{
    switch (storage) {
    case Storage::Heap:
        return "on the heap";
    case Storage::Stack:
        return "on a thread's stack";
    case Storage::Static:
        return "in static storage";
    }
    return "?";
}

} // namespace vrqt::agent
