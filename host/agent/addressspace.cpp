#include "host/agent/addressspace.h"

#include <link.h>
#include <pthread.h>

#include <cstdint>

namespace vrqt::agent {

namespace {

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

bool OnOwnStack(std::uintptr_t address)
{
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
        return false;
    void *lowest = nullptr;
    std::size_t size = 0;
    const bool known = pthread_attr_getstack(&attributes, &lowest, &size) == 0;
    pthread_attr_destroy(&attributes);
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(lowest);
    return known && address >= start && address - start < size;
}

} // namespace

Storage StorageOf(const void *address)
{
    const std::uintptr_t value = reinterpret_cast<std::uintptr_t>(address);
    if (OnOwnStack(value))
        return Storage::Stack;
    Search search{ value, false };
    dl_iterate_phdr(FindWritableSegment, &search);
    return search.found ? Storage::Static : Storage::Heap;
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
