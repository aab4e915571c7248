// The table of live handles and CloseHandle.
//
// A handle is a number, never an address: lookups go through the table, so a
// stale or made-up handle is refused instead of dereferenced. Numbers are
// multiples of four as on Windows and are not reused, so a closed handle
// stays invalid. The table is split in shards by handle number so that
// threads working on different objects do not meet on one lock.
#include <array>
#include <atomic>
#include <mutex>
#include <unordered_map>

#include "platform/handles.h"

namespace platform {
namespace {

#define GENERIC_READ 0x80000000
#define GENERIC_WRITE 0x40000000
#define GENERIC_EXECUTE 0x20000000
#define GENERIC_ALL 0x10000000
#define MAXIMUM_ALLOWED 0x02000000

struct Entry {
    KernelObjectRef object;
    DWORD access = 0;
};

struct Shard {
    std::mutex lock;
    std::unordered_map<uintptr_t, Entry> entries;
};

constexpr size_t kShardCount = 64;

struct HandleTable {
    std::atomic<uintptr_t> nextSerial{ 1 };
    std::array<Shard, kShardCount> shards;
};

// Deliberately never destroyed: other threads and exit handlers may still
// close handles while static objects are torn down.
HandleTable &handleTable()
{
    static HandleTable *table = new HandleTable;
    return *table;
}

Shard &shardOf(uintptr_t value)
{
    return handleTable().shards[(value >> 2) % kShardCount];
}

// What each generic right means for each type of object, as Windows maps it.
struct GenericMapping {
    KernelObject::Type type;
    DWORD read;
    DWORD write;
    DWORD execute;
    DWORD all;
};

constexpr GenericMapping kGenericMappings[] = {
    { KernelObject::Type::Event, 0x00020001, 0x00020002, 0x00120000, EVENT_ALL_ACCESS },
    { KernelObject::Type::Thread, 0x00020848, 0x00020433, 0x00121000, THREAD_ALL_ACCESS },
    { KernelObject::Type::Mapping, 0x00020005, 0x00020002, 0x00020008, FILE_MAP_ALL_ACCESS },
};

} // namespace

DWORD grantedAccess(KernelObject::Type type, DWORD requested)
{
    for (const GenericMapping &mapping : kGenericMappings) {
        if (mapping.type != type)
            continue;
        if (requested & (GENERIC_ALL | MAXIMUM_ALLOWED))
            return mapping.all;
        DWORD access = requested & ~(GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE);
        if (requested & GENERIC_READ)
            access |= mapping.read;
        if (requested & GENERIC_WRITE)
            access |= mapping.write;
        if (requested & GENERIC_EXECUTE)
            access |= mapping.execute;
        return access & mapping.all;
    }
    return 0;
}

HANDLE openHandle(KernelObjectRef object, DWORD access)
{
    const uintptr_t value = handleTable().nextSerial.fetch_add(1, std::memory_order_relaxed) << 2;
    Shard &shard = shardOf(value);
    std::lock_guard<std::mutex> guard(shard.lock);
    shard.entries.emplace(value, Entry{ std::move(object), access });
    return reinterpret_cast<HANDLE>(value);
}

KernelObjectRef referenceHandle(HANDLE handle, DWORD requiredAccess, const KernelObject::Type *type, DWORD *access)
{
    const uintptr_t value = reinterpret_cast<uintptr_t>(handle);
    if (value != 0 && (value & 3) == 0) {
        Shard &shard = shardOf(value);
        std::lock_guard<std::mutex> guard(shard.lock);
        auto found = shard.entries.find(value);
        if (found != shard.entries.end() && (!type || found->second.object->type() == *type)) {
            if ((found->second.access & requiredAccess) == requiredAccess) {
                if (access)
                    *access = found->second.access;
                return found->second.object;
            }
            SetLastError(ERROR_ACCESS_DENIED);
            return nullptr;
        }
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

} // namespace platform

/// CloseHandle: closes a handle this library made (event, thread, file
/// mapping). The object goes when its last handle does (a mapping also waits
/// for its views; a thread for its end).
///   handle [in]: the handle.
/// Returns TRUE; FALSE with ERROR_INVALID_HANDLE for anything that is not a
/// live handle of this library, including null and made-up values.
/// Differs from Windows: the pseudo handles of the current process and
/// thread are not handles here and are refused the same way.
/// Any thread; takes the lock of one shard of the handle table.
PLATFORM_API BOOL CloseHandle(HANDLE handle)
{
    using namespace platform;
    const uintptr_t value = reinterpret_cast<uintptr_t>(handle);
    KernelObjectRef released; // destroyed after the shard lock is left
    if (value != 0 && (value & 3) == 0) {
        Shard &shard = shardOf(value);
        std::lock_guard<std::mutex> guard(shard.lock);
        auto found = shard.entries.find(value);
        if (found != shard.entries.end()) {
            released = std::move(found->second.object);
            shard.entries.erase(found);
        }
    }
    if (!released) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}
