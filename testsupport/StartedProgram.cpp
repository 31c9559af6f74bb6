#include "StartedProgram.h"

#include "ProgramRun.h"

#include "TestEnv.h"
#include "Unprivileged.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

StartedProgram::StartedProgram(const std::string& executable, const std::vector<std::string>& args,
                               const std::string& workingDirectory,
                               const std::vector<std::pair<std::string, std::string>>& environment,
                               bool asNobody)
{
    char pattern[] = "/tmp/hcXXXXXX";
    if (mkdtemp(pattern) == nullptr)
        return;
    m_Captured = pattern;
    const std::string outputPath = m_Captured + "/stdout";
    const std::string errorsPath = m_Captured + "/stderr";
    m_Pid = fork();
    if (m_Pid == 0)
    {
        // The output files are opened while still root; the program itself may then give that up.
        RedirectStreamTo(outputPath, STDOUT_FILENO);
        RedirectStreamTo(errorsPath, STDERR_FILENO);
        if ((asNobody && !BecomeNobody()) || chdir(workingDirectory.c_str()) != 0)
            _exit(126);
        for (const auto& variable : environment)
            setenv(variable.first.c_str(), variable.second.c_str(), 1);
        ExecProgram(executable, args);
    }
    if (m_Pid > 0)
        m_PidFd = static_cast<int>(syscall(SYS_pidfd_open, m_Pid, 0));
}

StartedProgram::~StartedProgram()
{
    if (m_Pid > 0)
    {
        kill(m_Pid, SIGKILL);
        waitpid(m_Pid, nullptr, 0);
    }
    if (m_PidFd >= 0)
        close(m_PidFd);
    if (!m_Captured.empty())
    {
        const std::string command = "rm -rf '" + m_Captured + "'";
        if (system(command.c_str()) != 0)
        {
            // A leftover folder under /tmp is harmless.
        }
    }
}

bool StartedProgram::Wait(int timeoutMs)
{
    if (m_Pid < 0)
        return true;
    // The pid descriptor turns readable when the program ends: no polling of waitpid.
    struct pollfd ended = {m_PidFd, POLLIN, 0};
    int ready;
    do
        ready = poll(&ended, 1, timeoutMs);
    while (ready < 0 && errno == EINTR);
    if (ready <= 0)
        return false;
    int status = 0;
    if (waitpid(m_Pid, &status, 0) != m_Pid)
        return false;
    m_Pid = -1;
    m_ExitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return true;
}

bool StartedProgram::Signal(int signalNumber) const
{
    return m_Pid > 0 && kill(m_Pid, signalNumber) == 0;
}

std::string StartedProgram::Output() const
{
    return ReadFile(m_Captured + "/stdout");
}

std::string StartedProgram::Errors() const
{
    return ReadFile(m_Captured + "/stderr");
}
