#include "runtime/sharedstrings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/utf.h"
#include "runtime/dispatch/nativewindow.h"

namespace {

constexpr int productMajorVersion = 14;

struct SharedStringEntry {
    HANDLE mapping = nullptr;
    std::string name;
};

// The live values of this process, in arrival order.
struct SharedStringTable {
    std::vector<SharedStringEntry *> entries;
    CRITICAL_SECTION lock;

    SharedStringTable()
    {
        InitializeCriticalSectionAndSpinCount(&lock, 0);
        // A value lives no longer than its writer: at the end of the process
        // every handle goes, and with it the mapping.
        std::atexit([] { table().close(); });
    }

    static SharedStringTable &table()
    {
        static SharedStringTable *instance = new SharedStringTable;
        return *instance;
    }

    void close()
    {
        EnterCriticalSection(&lock);
        for (SharedStringEntry *entry : entries) {
            if (entry->mapping)
                CloseHandle(entry->mapping);
            delete entry;
        }
        entries.clear();
        LeaveCriticalSection(&lock);
    }
};

} // namespace

std::string SharedStringMappingName(HWND window, LPCWSTR name)
{
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, "%sW%dVR%d", platform::toUtf8(name).c_str(),
                  int32_t(uint32_t(uintptr_t(window))), productMajorVersion);
    return buffer;
}

HRESULT SetSharedString(HWND window, LPCWSTR name, BSTR value)
{
    if (!value || !name || !IsPublishedWindow(window))
        return E_INVALIDARG;
    // Readers in other processes learn from the window's marker that it lives.
    PublishWindow(window);
    SharedStringTable &table = SharedStringTable::table();
    const std::string mappingName = SharedStringMappingName(window, name);
    EnterCriticalSection(&table.lock);
    for (auto it = table.entries.begin(); it != table.entries.end(); ++it) {
        if ((*it)->name == mappingName) {
            // The old mapping goes once no reader holds it.
            if ((*it)->mapping)
                CloseHandle((*it)->mapping);
            delete *it;
            table.entries.erase(it);
            break;
        }
    }
    auto *entry = new SharedStringEntry{ nullptr, mappingName };
    const DWORD size = SysStringByteLen(value) + sizeof(OLECHAR);
    entry->mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, mappingName.c_str());
    if (entry->mapping) {
        if (void *view = MapViewOfFile(entry->mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0)) {
            std::memcpy(view, value, size);
            UnmapViewOfFile(view);
        }
    }
    // Even an entry without a mapping is kept.
    table.entries.push_back(entry);
    LeaveCriticalSection(&table.lock);
    return S_OK;
}

HRESULT GetSharedString(HWND window, LPCWSTR name, BSTR *value)
{
    if (!name || !IsPublishedWindow(window))
        return E_INVALIDARG;
    if (!value)
        return E_POINTER;
    *value = nullptr;
    HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, SharedStringMappingName(window, name).c_str());
    if (!mapping)
        return S_FALSE;
    void *view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    if (!view)
        return S_FALSE; // the handle stays open on this path, as it always has
    // Up to the first zero unit, but never past the mapping: a writer of the
    // same name in another process may have left anything there.
    MEMORY_BASIC_INFORMATION region{};
    const size_t units = VirtualQuery(view, &region, sizeof region) ? region.RegionSize / sizeof(OLECHAR) : 0;
    const auto *text = static_cast<const OLECHAR *>(view);
    size_t length = 0;
    while (length < units && text[length])
        ++length;
    *value = SysAllocStringLen(text, UINT(length));
    UnmapViewOfFile(view);
    CloseHandle(mapping);
    return S_OK;
}
