// Where an object lives in the process's memory: on a thread's stack, in a
// loaded object's static storage, or elsewhere, which is the heap as far as
// an address can tell. Deleting an object of the first two kinds frees
// memory that no allocator handed out, and the program dies of it later.
//
// The Linux-shaped code of the agent lives here and nowhere else: the
// loader's list of segments (dl_iterate_phdr) and the calling thread's
// stack (pthread_getattr_np, which reads /proc/self/maps for the main
// thread).
#pragma once

namespace vrqt::agent {

enum class Storage {
    Heap,   // neither of the two below: presumably the allocator's
    Stack,  // inside the calling thread's stack
    Static, // inside a writable segment of the program or of a library
};

// Where address lies, as the calling thread sees it: only its own stack is
// known to it, so ask on the thread whose stack may hold the address (an
// object's own thread, which made it).
// Any thread.
Storage StorageOf(const void *address);

// "on the heap", "on a thread's stack", "in static storage".
const char *StorageName(Storage storage);

} // namespace vrqt::agent
