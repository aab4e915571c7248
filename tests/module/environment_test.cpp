// What the module leaves in the process when it is loaded: the product
// folder in the environment and at the head of PATH, and the trace file
// when a trace folder is configured.
#include <unistd.h>

#include <QRegularExpression>

#include <fstream>
#include <sstream>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;
namespace fs = std::filesystem;

namespace {

constexpr char productVariable[] = "Verdaquil14_X64_Product_Path";

std::string variable(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "<unset>";
}

std::string readFile(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> lines(const std::string &text)
{
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

} // namespace

TEST(ProductPath, LoadPublishesTheModuleFolderAndPutsItFirstOnPath)
{
    // The comparison with "extensions" ignores case; the published folder
    // keeps its own.
    const ScopedFolder product;
    const fs::path extensions = fs::path(product.path()) / "Extensions";
    fs::create_directories(extensions);
    fs::copy_file(modulePath(), extensions / "libvrqtproxy.so");
    struct Row {
        const char *name;
        std::string module, path, published, expectedPath;
    };
    const Row rows[] = {
        { "put first", modulePath(), "/usr/bin:/bin", moduleFolder(), moduleFolder() + ":/usr/bin:/bin" },
        { "already an entry", modulePath(), "/usr/bin:" + moduleFolder() + ":/bin", moduleFolder(),
          "/usr/bin:" + moduleFolder() + ":/bin" },
        // A plain substring test: the start of a longer entry counts.
        { "inside a longer entry", modulePath(), "/usr/bin:" + moduleFolder() + "/more", moduleFolder(),
          "/usr/bin:" + moduleFolder() + "/more" },
        { "in an extensions folder", (extensions / "libvrqtproxy.so").string(), "/usr/bin", product.path(),
          product.path() + ":/usr/bin" },
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const ScopedVariable path("PATH", row.path.c_str());
        const ScopedVariable published(productVariable, nullptr);
        ModuleHost host;
        ASSERT_TRUE(host.load(row.module)) << host.error();
        EXPECT_EQ(row.published, variable(productVariable));
        EXPECT_EQ(row.expectedPath, variable("PATH"));
    }
}

// A trace folder configured for the user while it lives; the trace opens
// while the library loads.
class TraceFolder
{
public:
    TraceFolder()
        : folder(fs::path(scratch.path()) / "trace"), registry(fs::path(scratch.path()) / "user.reg"),
          user("VRQT_REGISTRY_USER", (std::ofstream(registry) << "Windows Registry Editor Version 5.00\n\n"
                                                               << "[HKEY_CURRENT_USER\\SOFTWARE\\Zoklandt]\n"
                                                               << "\"DebugTraceFolder\"=\"" << folder.string() << "\"\n",
                                      registry.string().c_str()))
    {
    }

    std::vector<fs::path> logs() const
    {
        std::vector<fs::path> result;
        if (fs::is_directory(folder)) {
            for (const fs::directory_entry &entry : fs::directory_iterator(folder))
                result.push_back(entry.path());
        }
        return result;
    }

private:
    const ScopedFolder scratch;
    const fs::path folder;
    const fs::path registry;
    const ScopedVariable user;
};

TEST(TraceLog, ConfiguredFolderReceivesTheHeaderAndTimedLines)
{
    const TraceFolder trace;
    {
        ModuleHost host;
        ASSERT_TRUE(host.load(modulePath())) << host.error();
    }
    const std::vector<fs::path> logs = trace.logs();
    ASSERT_EQ(1u, logs.size());
    const std::string name = logs.front().stem().string();
    const std::string pid = std::to_string(getpid());
    // Program, process, module and the module's address.
    EXPECT_TRUE(QRegularExpression(QString::fromStdString("^module_tests_" + pid + "_libvrqtproxy_[0-9A-F]{16}$"))
                    .match(QString::fromStdString(name))
                    .hasMatch())
        << name;

    const std::string content = readFile(logs.front());
    ASSERT_EQ(0u, content.rfind("\n\n\n", 0)) << "each opening starts with three empty lines";
    const std::vector<std::string> all = lines(content.substr(3));
    ASSERT_GE(all.size(), 12u);

    const QRegularExpression format(
        "^(\\d{4})-(\\d{2})-(\\d{2}) (\\d{2}):(\\d{2}):(\\d{2})\\.(\\d{3}) ([ \\d]{5}|\\d{6,})   (.*)$");
    std::vector<std::string> texts;
    for (const std::string &line : all) {
        const QRegularExpressionMatch match = format.match(QString::fromStdString(line));
        ASSERT_TRUE(match.hasMatch()) << line;
        EXPECT_EQ(unsigned(gettid()), match.captured(8).trimmed().toUInt()) << line;
        texts.push_back(match.captured(9).toStdString());
    }
    const std::vector<std::string> header = { "The beginning of the trace file.", "Process information:",
                                              "    Name:     " + name, "    PID:      " + pid };
    EXPECT_EQ(header, std::vector<std::string>(texts.begin(), texts.begin() + 4));
    EXPECT_EQ(0u, texts[8].rfind("    OS:       ", 0)) << texts[8];
    EXPECT_EQ("Module information:", texts[9]);
    EXPECT_EQ("    Path:     " + modulePath(), texts[10]);
    EXPECT_EQ("The end of the trace file.", texts.back());
}

// Descriptions handed out stay registered while their exposers hold them, so
// the unload waits its second for them and says so.
TEST(TraceLog, UnloadWaitsOnlyForDescriptionsAHostStillHolds)
{
    const TraceFolder trace;
    {
        ModuleHost host;
        ASSERT_TRUE(host.load(modulePath())) << host.error();
        Ref<IvrQtObjectsManager> manager = host.manager().query<IvrQtObjectsManager>(IID_IvrQtObjectsManager);
        ASSERT_TRUE(manager);
        // A host without a factory: the registry is made all the same.
        EXPECT_EQ(E_NOINTERFACE, manager->Initialize(host.moduleUnknown()));
        QObject object;
        Ref<ITypeInfo> info;
        ASSERT_EQ(S_OK, manager->GetObjectTypeInfo(&object, reinterpret_cast<ITypeInfo **>(info.out())));
        // The host lets go of its description before the module unloads:
        // the module's own reference must not hold the unload for a second.
    }
    const std::vector<fs::path> logs = trace.logs();
    ASSERT_EQ(1u, logs.size());
    const std::string content = readFile(logs.front());
    EXPECT_EQ(std::string::npos, content.find("are not removed from stub manager")) << content;
}
