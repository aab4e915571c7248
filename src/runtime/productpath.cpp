#include "runtime/productpath.h"

#include <atomic>
#include <cstring>
#include <vector>

#include "runtime/comobject.h"
#include "runtime/errors.h"
#include "runtime/format.h"

namespace {

std::atomic<HMODULE> moduleHandle{ nullptr };

constexpr char variableBaseName[] = "Verdaquil14_X64_Product_Path";
constexpr char alternativeSuffix[] = "Alternative";
constexpr OLECHAR setupKey[] = u"SOFTWARE\\Zoklandt\\Verdaquil\\14.0\\Setup\\";
constexpr OLECHAR extensionsFolder[] = u"extensions";
constexpr OLECHAR binFolder[] = u"bin";
constexpr OLECHAR separator = u'/';
constexpr OLECHAR pathListSeparator = u':';
constexpr DWORD longPath = 32767;

// The product's own files; kept for the product's library set, read by
// nothing here.
[[maybe_unused]] constexpr const char *productFiles[] = {
    "Verdaquil.exe", "\\VRHookX64.exe", "\\VRHookX64.exe\\2", "\\VRHookX64.exe\\3", "vrHook.dll",
};

std::u16string lowerAscii(std::u16string_view text)
{
    std::u16string lower(text);
    for (char16_t &c : lower) {
        if (c >= u'A' && c <= u'Z')
            c = char16_t(c - u'A' + u'a');
    }
    return lower;
}

std::u16string moduleFileName(HMODULE module, DWORD capacity)
{
    std::vector<OLECHAR> buffer(capacity, 0);
    const DWORD length = GetModuleFileNameW(module, buffer.data(), capacity);
    return length ? std::u16string(buffer.data()) : std::u16string();
}

std::u16string environmentVariable(const std::u16string &name, DWORD capacity)
{
    std::vector<OLECHAR> buffer(capacity, 0);
    const DWORD length = GetEnvironmentVariableW(name.c_str(), buffer.data(), capacity);
    return length && length < capacity ? std::u16string(buffer.data()) : std::u16string();
}

bool tryLoad(const std::u16string &path)
{
    return LoadLibraryW(path.c_str()) != nullptr;
}

} // namespace

HRESULT SetModuleHandle(HMODULE module, bool publish)
{
    moduleHandle.store(module);
    if (publish)
        PublishProductPath();
    return 0;
}

HMODULE ModuleHandle()
{
    return moduleHandle.load();
}

std::u16string GetDirectoryPart(std::u16string_view path)
{
    const size_t last = path.rfind(separator);
    return last == std::u16string_view::npos ? std::u16string() : std::u16string(path.substr(0, last));
}

std::string GetProductPathVariableName()
{
    // The switch counts wherever it stands, also inside another argument.
    const char *commandLine = GetCommandLineA();
    const bool alternative = commandLine
        && (std::strstr(commandLine, "/UseAlternativeProductPath") || std::strstr(commandLine, "-UseAlternativeProductPath"));
    return alternative ? std::string(variableBaseName) + alternativeSuffix : std::string(variableBaseName);
}

std::u16string GetProductPathVariableNameW()
{
    const std::string narrow = GetProductPathVariableName();
    return std::u16string(narrow.begin(), narrow.end());
}

void PublishProductPath()
{
    std::u16string folder = GetDirectoryPart(moduleFileName(ModuleHandle(), longPath));
    // The folder keeps its case (file names are case-sensitive here); only
    // the comparison with "extensions" ignores it.
    const size_t last = folder.rfind(separator);
    const std::u16string_view lastPart = last == std::u16string::npos ? std::u16string_view(folder)
                                                                        : std::u16string_view(folder).substr(last + 1);
    if (lowerAscii(lastPart) == extensionsFolder && last != std::u16string::npos)
        folder.resize(last);
    SetEnvironmentVariableW(GetProductPathVariableNameW().c_str(), folder.c_str());

    const std::u16string path = environmentVariable(u"PATH", longPath);
    if (path.empty())
        return;
    // A plain substring test, with no regard to entry boundaries: kept so.
    if (path.find(folder) != std::u16string::npos)
        return;
    const std::u16string updated = folder + pathListSeparator + path;
    SetEnvironmentVariableW(u"PATH", updated.c_str());
}

std::u16string GetProductPath()
{
    if (ModuleHandle() == GetModuleHandleW(nullptr))
        return GetDirectoryPart(moduleFileName(nullptr, MAX_PATH));
    return environmentVariable(GetProductPathVariableNameW(), MAX_PATH);
}

std::u16string GetExtensionsPath()
{
    return GetProductPath() + separator + extensionsFolder;
}

void ClearProductPath()
{
    SetEnvironmentVariableA(GetProductPathVariableName().c_str(), nullptr);
}

std::u16string GetInstalledProductPath(bool x64)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, setupKey, 0, KEY_QUERY_VALUE | KEY_WOW64_32KEY, &key) != ERROR_SUCCESS)
        return {};
    // The key is left open, as it always was; the stand-in's keys hold no
    // resources beyond their memory.
    const OLECHAR *valueName = x64 ? u"Product Path x64" : u"Product Path";
    DWORD type = 0, size = 0;
    if (RegQueryValueExW(key, valueName, nullptr, &type, nullptr, &size) != ERROR_SUCCESS || type != REG_SZ)
        return {};
    std::vector<BYTE> data(size + 2, 0);
    if (RegQueryValueExW(key, valueName, nullptr, &type, data.data(), &size) != ERROR_SUCCESS || type != REG_SZ)
        return {};
    data[size] = data[size + 1] = 0;
    std::u16string text(size / 2 + 1, u'\0');
    std::memcpy(text.data(), data.data(), size + 2);
    text.resize(std::char_traits<char16_t>::length(text.c_str()));
    return text;
}

std::u16string GetInstalledBinPath()
{
    // The stored value ends in a separator.
    return GetInstalledProductPath(false) + binFolder;
}

std::u16string GetInstalledExtensionsPath()
{
    return GetInstalledBinPath() + separator + extensionsFolder;
}

void LoadProductLibrary(const OLECHAR *fileName)
{
    const std::u16string name = fileName ? fileName : u"";
    if (tryLoad(GetExtensionsPath() + separator + name) || tryLoad(GetProductPath() + separator + name))
        return;
    // A bare name that lies only on the system's search path is not tried.
    if (name.find(separator) != std::u16string::npos && tryLoad(name))
        return;
    std::u16string text = FormatWide(u"File %s not found.\nProduct located at : %s", name.c_str(), GetProductPath().c_str());
    if (text.size() > 519)
        text.resize(519);
    PublishComError(E_FAIL, text.c_str(), 0);
}

HRESULT PublishComError(HRESULT hr, const OLECHAR *text, DWORD helpContext)
{
    ComPtr<ICreateErrorInfo> creator;
    HRESULT result = CreateErrorInfo(creator.put());
    if (FAILED(result))
        return result;
    BSTR description = SysAllocString(text);
    if (!description)
        ThrowHResult(E_OUTOFMEMORY);
    result = creator->SetDescription(description);
    SysFreeString(description);
    if (FAILED(result))
        return result;
    if (FAILED(result = creator->SetHelpContext(helpContext)))
        return result;
    ComPtr<IErrorInfo> errorInfo;
    if (FAILED(result = creator->QueryInterface(IID_IErrorInfo, errorInfo.putVoid())))
        return result;
    if (FAILED(result = SetErrorInfo(0, errorInfo.get())))
        return result;
    return hr;
}

void GetModuleVersion(HMODULE module, WORD *major, WORD *minor, WORD *build, WORD *revision)
{
    WORD parts[4] = {};
    bool found = false;
    // A library that reports its own version is believed first.
    using VersionFunction = const char *(*)();
    FARPROC exported = module ? GetProcAddress(module, "qVersion") : nullptr;
    if (auto reported = reinterpret_cast<VersionFunction>(reinterpret_cast<void *>(exported))) {
        const char *text = reported();
        int count = 0;
        for (const char *p = text; p && *p && count < 4; ++count) {
            char *end = nullptr;
            parts[count] = WORD(std::strtoul(p, &end, 10));
            if (end == p)
                break;
            p = *end == '.' ? end + 1 : nullptr;
        }
        found = count > 0;
    }
    if (!found) {
        const std::u16string path = moduleFileName(module, MAX_PATH);
        const DWORD size = path.empty() ? 0 : GetFileVersionInfoSizeW(path.c_str(), nullptr);
        std::vector<BYTE> block(size);
        VS_FIXEDFILEINFO *fixed = nullptr;
        UINT length = 0;
        if (!size || !GetFileVersionInfoW(path.c_str(), 0, size, block.data())
            || !VerQueryValueW(block.data(), u"\\", reinterpret_cast<void **>(&fixed), &length) || !fixed)
            return;
        parts[0] = WORD(fixed->dwFileVersionMS >> 16);
        parts[1] = WORD(fixed->dwFileVersionMS);
        parts[2] = WORD(fixed->dwFileVersionLS >> 16);
        parts[3] = WORD(fixed->dwFileVersionLS);
    }
    WORD *outputs[] = { major, minor, build, revision };
    for (int i = 0; i < 4; ++i) {
        if (outputs[i])
            *outputs[i] = parts[i];
    }
}
