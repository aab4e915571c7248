#include "objects/qtlibrary.h"

#include <QtGlobal>

#include <atomic>
#include <iterator>

#include "runtime/productpath.h"

namespace {

// The family of the Qt this module is compiled against.
constexpr LONG builtGeneration = QT_VERSION_MAJOR == 4 ? 1 : 2;

std::atomic<LONG> qtGeneration{ 0 };

struct CoreLibraryNames {
    const OLECHAR *release;
    const OLECHAR *debug;
};

// By generation, from 1.
constexpr CoreLibraryNames coreLibraryNames[] = {
    { u"libQtCore.so.4", u"libQtCore_debug.so.4" },
    { u"libQt5Core.so.5", u"libQt5Core_debug.so.5" },
};

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
    const LONG generation = QtGeneration();
    if (generation < 1 || generation > LONG(std::size(coreLibraryNames)))
        return nullptr;
    const CoreLibraryNames &names = coreLibraryNames[generation - 1];
    if (HMODULE release = GetModuleHandleW(names.release))
        return release;
    return GetModuleHandleW(names.debug);
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
