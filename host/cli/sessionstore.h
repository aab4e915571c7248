// Where named sessions live: a directory for each under a private root of
// this user's, holding the agent's socket, what vrqt knows of the session
// and the program's output.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vrqt::cli {

struct SessionInfo
{
    std::string name;
    pid_t pid = 0;
    int qtMajor = 0;
    std::vector<std::string> program; // empty for an attached program
    std::string started;              // local time, ISO 8601
    bool attached = false;
};

class SessionStore
{
public:
    // The root: vrqt-sessions-UID under $XDG_RUNTIME_DIR, $TMPDIR or /tmp,
    // made with mode 0700 when missing and refused when it is not a private
    // directory of this user's. False with the reason.
    bool open(std::string *error);

    std::string directory(const std::string &name) const { return root + "/" + name; }
    std::string socketPath(const std::string &name) const { return directory(name) + "/agent.sock"; }
    std::string ownerSocketPath(const std::string &name) const { return directory(name) + "/owner.sock"; }
    std::string outputPath(const std::string &name) const { return directory(name) + "/output.log"; }
    // Where the agent notes a crash of the program (see host/agent/crashnote.h).
    std::string crashPath(const std::string &name) const { return directory(name) + "/crash.log"; }

    // Makes the directory of a new session: name, or when empty the first
    // free of BASE-1, BASE-2, ... The name taken, or empty with the reason.
    std::string create(const std::string &name, const std::string &base, std::string *error);
    // Writes or reads what vrqt knows of a session.
    bool save(const SessionInfo &info, std::string *error) const;
    bool load(const std::string &name, SessionInfo *info, std::string *error) const;
    // Removes a session's directory and what is in it.
    void remove(const std::string &name) const;

    // The sessions whose program still runs; the directories of sessions
    // whose program has ended are removed on the way.
    std::vector<SessionInfo> live() const;

private:
    std::string root;
};

// True while a process with that id exists and has not ended.
bool processRuns(pid_t pid);

} // namespace vrqt::cli
