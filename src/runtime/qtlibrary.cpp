#include "runtime/qtlibrary.h"

#include <QtGlobal>

#include <atomic>

#include "runtime/productpath.h"

namespace {

// The family of the Qt this module is compiled against.
constexpr LONG builtGeneration = QT_VERSION_MAJOR == 4 ? 1 : 2;

std::atomic<LONG> qtGeneration{ 0 };

struct CoreLibraryNames {
    int major;
    const OLECHAR *release;
    const OLECHAR *debug;
};

constexpr CoreLibraryNames coreLibraryNames[] = {
    { 4, u"libQtCore.so.4", u"libQtCore_debug.so.4" },
    { 5, u"libQt5Core.so.5", u"libQt5Core_debug.so.5" },
    { 6, u"libQt6Core.so.6", u"libQt6Core_debug.so.6" },
};

HMODULE loadedCoreLibrary(const CoreLibraryNames &names)
{
    if (HMODULE release = GetModuleHandleW(names.release))
        return release;
    return GetModuleHandleW(names.debug);
}

struct FileVersion {
    bool done = false;
    WORD major = 0;
    WORD minor = 0;
    WORD patch = 0;
};

FileVersion qtFileVersion;

LONG configuredGeneration()
{
    char value[8] = {};
    const DWORD length = GetEnvironmentVariableA("VRQT_QT_GENERATION", value, sizeof value);
    if (length == 1 && (value[0] == '1' || value[0] == '2'))
        return value[0] - '0';
    return builtGeneration;
}

} // namespace

LONG QtGeneration()
{
    LONG generation = qtGeneration.load();
    if (generation == 0) {
        generation = configuredGeneration();
        qtGeneration.store(generation);
    }
    return generation;
}

HMODULE GetQtCoreModule()
{
    // Generation 2 is the family of Qt 5 and Qt 6: its core library is the
    // one of the major version this module is built against.
    const LONG generation = QtGeneration();
    const int major = generation == 1 ? 4 : generation == 2 ? QT_VERSION_MAJOR : 0;
    for (const CoreLibraryNames &names : coreLibraryNames) {
        if (names.major == major)
            return loadedCoreLibrary(names);
    }
    return nullptr;
}

const OLECHAR *ForeignQtCoreLibrary()
{
    for (const CoreLibraryNames &names : coreLibraryNames) {
        if (names.major != QT_VERSION_MAJOR && loadedCoreLibrary(names))
            return names.release;
    }
    return nullptr;
}

void GetQtFileVersion(WORD *major, WORD *minor, WORD *patch)
{
    if (!qtFileVersion.done) {
        // Without a core library there is nothing to read: the version of
        // the main program, which a null handle would name, is not Qt's.
        if (HMODULE core = GetQtCoreModule())
            GetModuleVersion(core, &qtFileVersion.major, &qtFileVersion.minor, &qtFileVersion.patch, nullptr);
        qtFileVersion.done = true;
    }
    if (major)
        *major = qtFileVersion.major;
    if (minor)
        *minor = qtFileVersion.minor;
    if (patch)
        *patch = qtFileVersion.patch;
}
