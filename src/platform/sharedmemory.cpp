// Named shared memory: CreateFileMappingA, OpenFileMappingA, MapViewOfFile
// and UnmapViewOfFile on POSIX shared memory.
//
// A named mapping is the shared memory object "/vrqt.<uid>.<name>" with mode
// 0600, so only the same user can open it. The process that creates it (the
// writer) also holds a marker for the name (markers.h). The writer removes
// the object when its last handle and view of it are gone, or when it ends
// through its exit handlers. A writer that dies without them (killed) leaves
// the name behind, still openable, until the next writer of that name finds
// no live marker and replaces the object with a new one.
#include <fcntl.h>
#include <limits.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>

#include "platform/handles.h"
#include "platform/markers.h"
#include "platform/namedobjects.h"

#define FILE_MAP_COPY 0x0001
#define FILE_MAP_EXECUTE 0x0020
#define PAGE_WRITECOPY 0x08
#define PAGE_EXECUTE_WRITECOPY 0x80

namespace platform {
namespace {

const char kMarkerKind[] = "mapping";
constexpr uint64_t kAllocationGranularity = 65536; // view offsets align to this, as on Windows
constexpr int kOpenAttempts = 200;                 // x 1 ms for a writer between its marker and its object

class FileMapping : public KernelObject {
public:
    static constexpr Type kType = Type::Mapping;

    FileMapping(int descriptor, bool writable, std::string key, std::string objectName, bool writer)
        : KernelObject(kType), m_descriptor(descriptor), m_writable(writable), m_key(std::move(key)),
          m_objectName(std::move(objectName)), m_writerProcess(writer ? getpid() : 0)
    {
    }
    ~FileMapping() override;

    int descriptor() const { return m_descriptor; }
    bool writable() const { return m_writable; }

private:
    const int m_descriptor;
    const bool m_writable;
    const std::string m_key;        // empty for an unnamed mapping
    const std::string m_objectName; // the shared memory object's name
    const pid_t m_writerProcess;    // 0 unless this process is the writer
};

struct View {
    size_t length = 0;
    std::shared_ptr<FileMapping> mapping;
};

// Named mappings of this process, the objects it wrote (for its exit
// handler) and its views. Deliberately never destroyed: exit handlers use it.
struct SharedMemoryState {
    NamedObjects<FileMapping> named;      // its lock guards all of this
    std::map<std::string, pid_t> written; // guarded by named.lock()
    std::map<uintptr_t, View> views;      // guarded by named.lock()
};

SharedMemoryState &state()
{
    static SharedMemoryState *instance = new SharedMemoryState;
    return *instance;
}

// At exit: removes the objects this process wrote; a forked child that
// inherited the list removes nothing of its parent's.
void removeWrittenObjects()
{
    SharedMemoryState &memory = state();
    std::lock_guard<std::mutex> guard(memory.named.lock());
    for (const auto &[objectName, writer] : memory.written) {
        if (writer == getpid())
            shm_unlink(objectName.c_str());
    }
    memory.written.clear();
}

// Takes the shared-memory lock.
FileMapping::~FileMapping()
{
    close(m_descriptor);
    if (m_key.empty())
        return;
    SharedMemoryState &memory = state();
    std::lock_guard<std::mutex> guard(memory.named.lock());
    // A writer of this process that took the name over keeps the object.
    if (memory.named.releaseLocked(m_key, this) && m_writerProcess == getpid()) {
        shm_unlink(m_objectName.c_str());
        memory.written.erase(m_objectName);
    }
}

// "/vrqt.<uid>.<name>" with '/' and '%' escaped (a shared memory name may
// hold no further slash) and long names shortened to a digest.
std::string sharedObjectName(const std::string &key)
{
    std::string escaped;
    for (char character : key) {
        if (character == '/')
            escaped += "%2F";
        else if (character == '%')
            escaped += "%25";
        else
            escaped += character;
    }
    return "/" + boundedName("vrqt." + userScope() + ".", escaped, NAME_MAX);
}

DWORD errorFromErrno(int error)
{
    switch (error) {
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case EACCES:
    case EPERM:
        return ERROR_ACCESS_DENIED;
    default:
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

bool ownedByUser(int descriptor)
{
    struct stat status{};
    return fstat(descriptor, &status) == 0 && status.st_uid == getuid();
}

// Opens an existing object of this user; -1 with the last error set.
int openSharedObject(const std::string &objectName, bool &writable, int attempts)
{
    for (int attempt = 0;; ++attempt) {
        writable = true;
        int descriptor = shm_open(objectName.c_str(), O_RDWR | O_CLOEXEC, 0);
        if (descriptor < 0 && errno == EACCES) {
            writable = false;
            descriptor = shm_open(objectName.c_str(), O_RDONLY | O_CLOEXEC, 0);
        }
        if (descriptor >= 0) {
            if (ownedByUser(descriptor))
                return descriptor;
            close(descriptor);
            SetLastError(ERROR_ACCESS_DENIED);
            return -1;
        }
        if (errno != ENOENT || attempt + 1 >= attempts) {
            SetLastError(errorFromErrno(errno));
            return -1;
        }
        usleep(1000);
    }
}

// Makes the object as its writer, replacing one left by a writer that died
// without its exit handlers; -1 with the last error set.
int createSharedObject(const std::string &objectName, uint64_t size)
{
    shm_unlink(objectName.c_str());
    const int descriptor = shm_open(objectName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        SetLastError(errorFromErrno(errno));
        return -1;
    }
    // The umask must not widen or narrow what the same user may do.
    if (fchmod(descriptor, 0600) != 0 || ftruncate(descriptor, off_t(size)) != 0) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        close(descriptor);
        shm_unlink(objectName.c_str());
        return -1;
    }
    return descriptor;
}

HANDLE createUnnamed(uint64_t size, bool writable)
{
    const int descriptor = memfd_create("vrqt-mapping", MFD_CLOEXEC);
    if (descriptor < 0 || ftruncate(descriptor, off_t(size)) != 0) {
        if (descriptor >= 0)
            close(descriptor);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    HANDLE handle = openHandle(
        std::make_shared<FileMapping>(descriptor, writable, std::string(), std::string(), false), FILE_MAP_ALL_ACCESS);
    SetLastError(ERROR_SUCCESS);
    return handle;
}

// With the shared-memory lock held: the mapping gets the name; a handle to it.
HANDLE bindNamedLocked(NamedObjects<FileMapping>::Entry &entry, std::shared_ptr<FileMapping> mapping, DWORD access)
{
    state().named.bindLocked(entry, mapping);
    return openHandle(std::move(mapping), access);
}

bool validProtection(DWORD protect)
{
    switch (protect & 0xFF) {
    case PAGE_READONLY:
    case PAGE_READWRITE:
    case PAGE_WRITECOPY:
    case PAGE_EXECUTE_READ:
    case PAGE_EXECUTE_READWRITE:
    case PAGE_EXECUTE_WRITECOPY:
        return true;
    default:
        return false;
    }
}

} // namespace
} // namespace platform

using namespace platform;

/// CreateFileMappingA: creates named or unnamed shared memory, or opens the
/// named one that exists.
///   file [in]: INVALID_HANDLE_VALUE (memory backed by the system; files are
///     not mapped through this call here).
///   attributes [in]: ignored.
///   protect [in]: PAGE_READWRITE, PAGE_READONLY (views cannot write), or
///     another PAGE_ value that Windows takes for such memory.
///   maximumSizeHigh, maximumSizeLow [in]: the size; not 0.
///   name [in]: NULL or "" for unnamed memory; "Local\" and "Global\" are
///     dropped.
/// Returns a handle with FILE_MAP_ALL_ACCESS; the last error is 0 for new
/// memory, ERROR_ALREADY_EXISTS when a live writer has the name (it is
/// opened with its own size). NULL with ERROR_INVALID_HANDLE for a file
/// handle, ERROR_INVALID_PARAMETER for size 0 or a bad protection,
/// ERROR_PATH_NOT_FOUND for a backslash after the prefix,
/// ERROR_ACCESS_DENIED when another user owns the object,
/// ERROR_NOT_ENOUGH_MEMORY when it cannot be made.
/// Differs from Windows: names are scoped per user; the name goes with the
/// writer (its last handle and view, or its end) even while other processes
/// still have it open; a writer killed without its exit handlers leaves the
/// name until the next writer replaces it.
/// Takes the shared-memory lock.
PLATFORM_API HANDLE CreateFileMappingA(HANDLE file, LPVOID attributes, DWORD protect, DWORD maximumSizeHigh,
                                       DWORD maximumSizeLow, LPCSTR name)
{
    (void)attributes;
    if (file != INVALID_HANDLE_VALUE) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    const uint64_t size = (uint64_t(maximumSizeHigh) << 32) | maximumSizeLow;
    if (size == 0 || !validProtection(protect)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const bool writable = (protect & 0xFF) != PAGE_READONLY && (protect & 0xFF) != PAGE_EXECUTE_READ;
    std::string key;
    if (!objectKey(name, false, key))
        return nullptr;
    if (key.empty())
        return createUnnamed(size, writable);

    SharedMemoryState &memory = state();
    std::lock_guard<std::mutex> guard(memory.named.lock());
    if (std::shared_ptr<FileMapping> existing = memory.named.liveLocked(key)) {
        HANDLE handle = openHandle(std::move(existing), FILE_MAP_ALL_ACCESS);
        SetLastError(ERROR_ALREADY_EXISTS);
        return handle;
    }
    // This process stays the writer when it still holds the marker for a
    // mapping that is going away.
    NamedObjects<FileMapping>::Entry &entry = memory.named.entryLocked(key);
    MarkerState markerState = MarkerState::Held;
    if (entry.marker < 0)
        entry.marker = holdMarker(kMarkerKind, key, markerState);
    const std::string objectName = sharedObjectName(key);
    const bool writer = markerState == MarkerState::Held;
    bool openedWritable = writable;
    const int descriptor = writer ? createSharedObject(objectName, size)
        : markerState == MarkerState::HeldElsewhere ? openSharedObject(objectName, openedWritable, kOpenAttempts)
                                                    : -1;
    if (descriptor < 0) {
        if (markerState == MarkerState::Failed)
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        memory.named.forgetLocked(key);
        return nullptr;
    }
    if (writer) {
        static std::once_flag exitHandler;
        std::call_once(exitHandler, [] { atexit(removeWrittenObjects); });
        memory.written[objectName] = getpid();
    }
    HANDLE handle =
        bindNamedLocked(entry, std::make_shared<FileMapping>(descriptor, openedWritable, key, objectName, writer),
                        FILE_MAP_ALL_ACCESS);
    SetLastError(writer ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    return handle;
}

/// OpenFileMappingA: opens named shared memory of this user.
///   access [in]: FILE_MAP_READ, FILE_MAP_WRITE, FILE_MAP_ALL_ACCESS; what
///     later views may do.
///   inherit [in]: ignored.
///   name [in]: the name, as for CreateFileMappingA.
/// Returns the handle; NULL with ERROR_INVALID_PARAMETER for a null name,
/// ERROR_FILE_NOT_FOUND when there is no such memory, ERROR_ACCESS_DENIED
/// when another user owns it, ERROR_PATH_NOT_FOUND for a bad name.
/// Takes the shared-memory lock.
PLATFORM_API HANDLE OpenFileMappingA(DWORD access, BOOL inherit, LPCSTR name)
{
    (void)inherit;
    std::string key;
    if (!objectKey(name, true, key))
        return nullptr;
    const DWORD granted = grantedAccess(KernelObject::Type::Mapping, access);
    SharedMemoryState &memory = state();
    std::lock_guard<std::mutex> guard(memory.named.lock());
    if (std::shared_ptr<FileMapping> existing = memory.named.liveLocked(key))
        return openHandle(std::move(existing), granted);
    if (key.empty()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return nullptr;
    }
    bool writable = true;
    const std::string objectName = sharedObjectName(key);
    const int descriptor = openSharedObject(objectName, writable, 1);
    if (descriptor < 0)
        return nullptr;
    return bindNamedLocked(memory.named.entryLocked(key),
                           std::make_shared<FileMapping>(descriptor, writable, key, objectName, false), granted);
}

/// MapViewOfFile: maps shared memory into the address space.
///   mapping [in]: a file mapping handle.
///   access [in]: FILE_MAP_READ, FILE_MAP_WRITE (read and write),
///     FILE_MAP_ALL_ACCESS, FILE_MAP_COPY (private copy on write), with
///     FILE_MAP_EXECUTE; the handle must grant it.
///   offsetHigh, offsetLow [in]: where the view starts; a multiple of 64 KB.
///   bytes [in]: the view's size; 0 maps to the end of the memory.
/// Returns the view's address; NULL with ERROR_INVALID_HANDLE,
/// ERROR_INVALID_PARAMETER (no access asked), ERROR_ACCESS_DENIED (access
/// the handle or the memory does not allow, or a view beyond the end),
/// ERROR_MAPPED_ALIGNMENT, ERROR_NOT_ENOUGH_MEMORY.
/// Takes the shared-memory lock.
PLATFORM_API LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes)
{
    DWORD handleAccess = 0;
    auto object = referenceHandleOf<FileMapping>(mapping, 0, &handleAccess);
    if (!object)
        return nullptr;
    // Write wins over read, read over copy (FILE_MAP_ALL_ACCESS holds all three bits).
    const bool write = (access & FILE_MAP_WRITE) != 0;
    const bool copy = !(access & (FILE_MAP_READ | FILE_MAP_WRITE)) && (access & FILE_MAP_COPY);
    const bool execute = (access & FILE_MAP_EXECUTE) != 0;
    if (!(access & (FILE_MAP_READ | FILE_MAP_WRITE | FILE_MAP_COPY))) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const DWORD required = (write ? FILE_MAP_WRITE : FILE_MAP_READ) | (execute ? FILE_MAP_EXECUTE : 0);
    if ((handleAccess & required) != required || (write && !object->writable())) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    const uint64_t offset = (uint64_t(offsetHigh) << 32) | offsetLow;
    if (offset % kAllocationGranularity != 0) {
        SetLastError(ERROR_MAPPED_ALIGNMENT);
        return nullptr;
    }
    struct stat status{};
    if (fstat(object->descriptor(), &status) != 0) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    const uint64_t size = uint64_t(status.st_size);
    const uint64_t length = bytes != 0 ? bytes : (offset < size ? size - offset : 0);
    if (length == 0 || offset > size || length > size - offset) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    const int protection = PROT_READ | (write || copy ? PROT_WRITE : 0) | (execute ? PROT_EXEC : 0);
    void *view = mmap(nullptr, length, protection, copy ? MAP_PRIVATE : MAP_SHARED, object->descriptor(),
                      off_t(offset));
    if (view == MAP_FAILED) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    View entry{ size_t(length), std::move(object) };
    {
        SharedMemoryState &memory = state();
        std::lock_guard<std::mutex> guard(memory.named.lock());
        // A stale entry at this address (unmapped behind our back) is
        // swapped out and released after the lock is left.
        std::swap(memory.views[reinterpret_cast<uintptr_t>(view)], entry);
    }
    return view;
}

/// UnmapViewOfFile: unmaps a view of shared memory.
///   view [in]: an address within a view MapViewOfFile returned.
/// Returns TRUE; FALSE with ERROR_INVALID_ADDRESS for anything else.
/// Takes the shared-memory lock.
PLATFORM_API BOOL UnmapViewOfFile(LPCVOID view)
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(view);
    std::shared_ptr<FileMapping> released; // may remove the object: after the lock is left
    {
        SharedMemoryState &memory = state();
        std::lock_guard<std::mutex> guard(memory.named.lock());
        auto found = memory.views.upper_bound(address);
        if (found != memory.views.begin()) {
            --found;
            if (address - found->first < found->second.length) {
                munmap(reinterpret_cast<void *>(found->first), found->second.length);
                released = std::move(found->second.mapping);
                memory.views.erase(found);
            }
        }
    }
    if (!released) {
        SetLastError(ERROR_INVALID_ADDRESS);
        return FALSE;
    }
    return TRUE;
}
