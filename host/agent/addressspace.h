// Where an object lives in the process's memory: on a thread's stack, in a
// loaded object's static storage, or elsewhere, which is the heap as far as
// an address can tell. Deleting an object of the first two kinds frees
// memory that no allocator handed out, and the program dies of it later.
//
// The Linux-shaped code of the agent lives here and nowhere else: the
// loader's list of segments (dl_iterate_phdr), the calling thread's stack
// (pthread_getattr_np), and the other threads' stacks: the main thread's
// "[stack]" in /proc/self/maps, and the mapping that holds the stack
// pointer of each thread waiting in a system call
// (/proc/self/task/TID/syscall).
#pragma once

#include <cstdint>
#include <vector>

namespace vrqt::agent {

enum class Storage {
    Heap,   // neither of the two below: presumably the allocator's
    Stack,  // inside a thread's stack
    Static, // inside a writable segment of the program or of a library
};

// Where addresses lie, as the process looks at the moment it is made: the
// calling thread's stack exactly, another thread's as far as it can be seen
// (a thread waiting in a system call shows its stack pointer, one that runs
// does not), so make it on the thread most likely to hold the addresses: an
// object's own thread, which made it. Any thread.
class AddressSpace
{
public:
    struct Range
    {
        std::uintptr_t start = 0;
        std::uintptr_t end = 0;
    };

    AddressSpace();
    Storage storageOf(const void *address) const;

private:
    std::vector<Range> stacks;
};

// One address, with a look of its own.
Storage StorageOf(const void *address);

// "on the heap", "on a thread's stack", "in static storage".
const char *StorageName(Storage storage);

} // namespace vrqt::agent
