#include "host/agent/qtmismatch.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <algorithm>
#include <cctype>
#include <string_view>

#include <QJsonObject>
#include <QtGlobal>

#include "host/protocol/channel.h"
#include "host/protocol/protocol.h"
#include "host/protocol/rendezvous.h"

namespace vrqt::agent {

namespace {

// How long one refusal may wait for the other side to read.
constexpr std::chrono::milliseconds kSendLimit{ 2000 };

// The major version a Qt core library's file name carries (libQt6Core.so.6,
// libQt5Core_debug.so.5, libQtCore.so.4), or 0.
int coreLibraryMajor(const char *path)
{
    if (!path)
        return 0;
    const std::string_view full(path);
    const std::size_t slash = full.rfind('/');
    std::string_view name = slash == std::string_view::npos ? full : full.substr(slash + 1);
    if (name.substr(0, 5) != "libQt")
        return 0;
    name.remove_prefix(5);
    if (!name.empty() && std::isdigit(static_cast<unsigned char>(name.front())))
        name.remove_prefix(1);
    for (const std::string_view part : { std::string_view("Core"), std::string_view("_debug"), std::string_view(".so.") }) {
        if (name.substr(0, part.size()) == part)
            name.remove_prefix(part.size());
        else if (part != "_debug")
            return 0;
    }
    if (name.empty() || !std::all_of(name.begin(), name.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); }))
        return 0;
    return std::atoi(std::string(name).c_str());
}

std::string versionOf(const std::string &library)
{
    // The library is mapped already: this takes a reference and no more.
    void *handle = dlopen(library.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (!handle)
        return {};
    std::string version;
    using VersionFunction = const char *(*)();
    if (auto qVersion = reinterpret_cast<VersionFunction>(dlsym(handle, "qVersion")))
        version = qVersion();
    dlclose(handle);
    return version;
}

} // namespace

bool findForeignQt(ForeignQt *found)
{
    ForeignQt foreign;
    dl_iterate_phdr([](dl_phdr_info *info, size_t, void *data) {
        const int major = coreLibraryMajor(info->dlpi_name);
        if (major == 0 || major == QT_VERSION_MAJOR)
            return 0;
        auto *foreign = static_cast<ForeignQt *>(data);
        foreign->major = major;
        foreign->library = info->dlpi_name;
        return 1;
    }, &foreign);
    if (foreign.major == 0)
        return false;
    foreign.version = versionOf(foreign.library);
    *found = foreign;
    return true;
}

protocol::Error qtMismatchError(const ForeignQt &foreign)
{
    const QString program = QStringLiteral("Qt %1").arg(foreign.version.empty() ? QString::number(foreign.major)
                                                                              : QString::fromStdString(foreign.version));
    const QString message = QStringLiteral("the program uses %1 (%2), but the agent preloaded into it serves Qt %3 (%4);"
                                           " leave out --qt, or give --qt %5")
                                .arg(program, QString::fromStdString(foreign.library), QString::number(QT_VERSION_MAJOR),
                                     QLatin1String(qVersion()), QString::number(foreign.major));
    QJsonObject details{ { QStringLiteral("programQt"), QString::fromStdString(foreign.version) },
                         { QStringLiteral("programQtMajor"), foreign.major },
                         { QStringLiteral("agentQt"), QLatin1String(qVersion()) } };
    return { QLatin1String(protocol::error::kQtMismatch), message, details };
}

void refuseRequests(const std::string &socketPath, const protocol::Error &error)
{
    std::string reason;
    const int connection = protocol::connectToListener(socketPath, &reason);
    if (connection < 0)
        return;
    protocol::Channel channel(connection);
    for (;;) {
        std::string line;
        if (channel.receive(&line, protocol::Deadline::never()) != protocol::Channel::Status::Ok)
            return;
        protocol::Request request;
        protocol::Error unreadable;
        protocol::parseRequest(line, &request, &unreadable);
        if (channel.send(protocol::encodeError(request.id, error), protocol::Deadline::after(kSendLimit))
            != protocol::Channel::Status::Ok)
            return;
    }
}

} // namespace vrqt::agent
