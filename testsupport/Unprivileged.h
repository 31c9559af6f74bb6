#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

// Playing the other user of a shared server: the tests run as root and let a forked child drop
// to uid and gid 65534 to plant links, FIFOs, files and locks, or to serve a socket, as an
// ordinary local user could.
constexpr uid_t kNobodyUid = 65534;
constexpr gid_t kNobodyGid = 65534;

// Why a test of this kind cannot run here (empty when it can: the process runs as root).
std::string UnprivilegedSkipReason();

// In a child process: gives up root for uid and gid 65534 for good. False when that failed.
bool BecomeNobody();

// Runs action in a forked child as uid 65534 and waits for it; true when the action returned true.
bool AsNobody(const std::function<bool()>& action);

// A child that became uid 65534, ran its setup (which may take a lock, open a listener, ...) and
// then holds on, keeping what it set up, until the object goes away.
class NobodyHolder
{
public:
    explicit NobodyHolder(const std::function<bool()>& setup);
    ~NobodyHolder();
    NobodyHolder(const NobodyHolder&) = delete;
    NobodyHolder& operator=(const NobodyHolder&) = delete;

    // True once the setup succeeded in the child.
    bool IsReady() const { return m_Ready; }
    pid_t Pid() const { return m_Pid; }

private:
    pid_t m_Pid = -1;
    int m_Release = -1;
    bool m_Ready = false;
};

// A folder that uid 65534 owns (mode 0755), inside a fresh temporary folder of root's.
class NobodyFolder
{
public:
    NobodyFolder();
    ~NobodyFolder();
    NobodyFolder(const NobodyFolder&) = delete;
    NobodyFolder& operator=(const NobodyFolder&) = delete;

    const std::string& Path() const { return m_Path; }
    std::string File(const std::string& name) const { return m_Path + "/" + name; }

private:
    std::string m_Outer;
    std::string m_Path;
};
