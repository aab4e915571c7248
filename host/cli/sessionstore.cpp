#include "host/cli/sessionstore.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "host/cli/options.h"
#include "host/protocol/rendezvous.h"

namespace vrqt::cli {

namespace {

constexpr char kInfoFile[] = "session.json";
constexpr int kMostAutomaticNames = 1000;

std::string systemError(const std::string &what)
{
    return what + ": " + std::strerror(errno);
}

} // namespace

bool processRuns(pid_t pid)
{
    if (pid <= 0 || (::kill(pid, 0) != 0 && errno != EPERM))
        return false;
    // An ended process that nobody has reaped yet is no longer running.
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    const std::size_t end = line.rfind(')');
    return end == std::string::npos || end + 2 >= line.size() || line[end + 2] != 'Z';
}

bool SessionStore::open(std::string *error)
{
    const std::string candidate = protocol::temporaryRoot() + "/vrqt-sessions-" + std::to_string(::getuid());
    if (::mkdir(candidate.c_str(), 0700) != 0 && errno != EEXIST) {
        *error = systemError("cannot make " + candidate);
        return false;
    }
    // Another user may have made it first in a shared /tmp: use it only when
    // it is ours and nobody else may enter.
    struct stat info{};
    if (::lstat(candidate.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::getuid()
        || (info.st_mode & 077) != 0) {
        *error = candidate + " is not a private directory of this user's; remove it or set XDG_RUNTIME_DIR";
        return false;
    }
    root = candidate;
    return true;
}

std::string SessionStore::create(const std::string &name, const std::string &base, std::string *error)
{
    if (!name.empty()) {
        if (::mkdir(directory(name).c_str(), 0700) == 0)
            return name;
        if (errno == EEXIST) {
            SessionInfo existing;
            // A leftover of a program that ended is taken over.
            if (load(name, &existing, error) && processRuns(existing.pid)) {
                *error = "a session named " + name + " exists already (process " + std::to_string(existing.pid) + ")";
                return {};
            }
            remove(name);
            if (::mkdir(directory(name).c_str(), 0700) == 0)
                return name;
        }
        *error = systemError("cannot make the session " + name);
        return {};
    }
    std::string stem;
    for (const char c : base)
        stem += std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' ? c : '_';
    stem = stem.substr(0, 48);
    if (!isSessionName(stem))
        stem = "session";
    for (int number = 1; number <= kMostAutomaticNames; ++number) {
        const std::string candidate = stem + "-" + std::to_string(number);
        if (::mkdir(directory(candidate).c_str(), 0700) == 0)
            return candidate;
        if (errno != EEXIST) {
            *error = systemError("cannot make a session directory in " + root);
            return {};
        }
    }
    *error = "too many sessions named " + stem + "-N; stop some, or give --name";
    return {};
}

bool SessionStore::save(const SessionInfo &info, std::string *error) const
{
    QJsonArray program;
    for (const std::string &word : info.program)
        program.append(QString::fromStdString(word));
    const QJsonObject document{ { QStringLiteral("name"), QString::fromStdString(info.name) },
                                { QStringLiteral("pid"), int(info.pid) },
                                { QStringLiteral("qt"), info.qtMajor },
                                { QStringLiteral("program"), program },
                                { QStringLiteral("started"), QString::fromStdString(info.started) },
                                { QStringLiteral("attached"), info.attached } };
    QFile file(QString::fromStdString(directory(info.name) + "/" + kInfoFile));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(QJsonDocument(document).toJson()) < 0) {
        *error = "cannot write " + file.fileName().toStdString();
        return false;
    }
    return true;
}

bool SessionStore::load(const std::string &name, SessionInfo *info, std::string *error) const
{
    QFile file(QString::fromStdString(directory(name) + "/" + kInfoFile));
    if (!file.open(QIODevice::ReadOnly)) {
        *error = "no session named " + name;
        return false;
    }
    const QJsonObject document = QJsonDocument::fromJson(file.readAll()).object();
    *info = SessionInfo{};
    info->name = name;
    info->pid = pid_t(document.value(QLatin1String("pid")).toInt());
    info->qtMajor = document.value(QLatin1String("qt")).toInt();
    for (const QJsonValue word : document.value(QLatin1String("program")).toArray())
        info->program.push_back(word.toString().toStdString());
    info->started = document.value(QLatin1String("started")).toString().toStdString();
    info->attached = document.value(QLatin1String("attached")).toBool();
    if (info->pid <= 0) {
        *error = "the session " + name + " is still starting, or its record is damaged";
        return false;
    }
    return true;
}

void SessionStore::remove(const std::string &name) const
{
    const std::string folder = directory(name);
    if (DIR *entries = ::opendir(folder.c_str())) {
        while (const dirent *entry = ::readdir(entries)) {
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                ::unlink((folder + "/" + entry->d_name).c_str());
        }
        ::closedir(entries);
    }
    ::rmdir(folder.c_str());
}

std::vector<SessionInfo> SessionStore::live() const
{
    std::vector<SessionInfo> sessions;
    DIR *entries = ::opendir(root.c_str());
    if (!entries)
        return sessions;
    std::vector<std::string> names;
    while (const dirent *entry = ::readdir(entries)) {
        if (isSessionName(entry->d_name))
            names.push_back(entry->d_name);
    }
    ::closedir(entries);
    std::sort(names.begin(), names.end());
    for (const std::string &name : names) {
        SessionInfo info;
        std::string error;
        if (load(name, &info, &error) && processRuns(info.pid))
            sessions.push_back(info);
        else if (info.pid > 0)
            remove(name); // its program has ended
    }
    return sessions;
}

} // namespace vrqt::cli
