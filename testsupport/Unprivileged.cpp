#include "Unprivileged.h"

#include "TestEnv.h"

#include <cerrno>
#include <cstdlib>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
int WaitFor(pid_t pid)
{
    int status = 0;
    pid_t waited;
    do
        waited = waitpid(pid, &status, 0);
    while (waited < 0 && errno == EINTR);
    return waited == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
} // namespace

std::string UnprivilegedSkipReason()
{
    if (geteuid() != 0)
        return "needs root to act as uid 65534 in a child";
    return std::string();
}

bool BecomeNobody()
{
    return setgroups(0, nullptr) == 0 && setgid(kNobodyGid) == 0 && setuid(kNobodyUid) == 0 &&
           setuid(0) != 0; // root must be gone for good
}

bool AsNobody(const std::function<bool()>& action)
{
    const pid_t pid = fork();
    if (pid < 0)
        return false;
    if (pid == 0)
        _exit(BecomeNobody() && action() ? 0 : 1);
    return WaitFor(pid) == 0;
}

NobodyHolder::NobodyHolder(const std::function<bool()>& setup)
{
    int ready[2], release[2];
    if (pipe(ready) != 0)
        return;
    if (pipe(release) != 0)
    {
        close(ready[0]);
        close(ready[1]);
        return;
    }
    m_Pid = fork();
    if (m_Pid == 0)
    {
        close(ready[0]);
        close(release[1]);
        const char result = BecomeNobody() && setup() ? 'y' : 'n';
        if (write(ready[1], &result, 1) != 1)
            _exit(1);
        // Holds on until the parent closes its end (or dies).
        char ignored;
        while (read(release[0], &ignored, 1) < 0 && errno == EINTR)
        {
        }
        _exit(0);
    }
    close(ready[1]);
    close(release[0]);
    m_Release = release[1];
    char result = 'n';
    if (m_Pid > 0)
    {
        ssize_t got;
        do
            got = read(ready[0], &result, 1);
        while (got < 0 && errno == EINTR);
        m_Ready = got == 1 && result == 'y';
    }
    close(ready[0]);
}

NobodyHolder::~NobodyHolder()
{
    if (m_Release >= 0)
        close(m_Release);
    if (m_Pid > 0)
        WaitFor(m_Pid);
}

NobodyFolder::NobodyFolder()
{
    char pattern[] = "/tmp/hcXXXXXX";
    if (mkdtemp(pattern) == nullptr)
        return;
    m_Outer = pattern;
    m_Path = m_Outer + "/home";
    // The outer folder stays root's; only the inner one is handed over.
    if (chmod(m_Outer.c_str(), 0755) != 0 || mkdir(m_Path.c_str(), 0755) != 0 ||
        chown(m_Path.c_str(), kNobodyUid, kNobodyGid) != 0)
        m_Path.clear();
}

NobodyFolder::~NobodyFolder()
{
    if (!m_Outer.empty())
    {
        const std::string command = "rm -rf '" + m_Outer + "'";
        if (system(command.c_str()) != 0)
        {
            // A leftover folder under /tmp is harmless.
        }
    }
}
