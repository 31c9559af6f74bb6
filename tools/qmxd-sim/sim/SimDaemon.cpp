#include "SimDaemon.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
// The parent's side: one byte means the child serves; end of file means it gave up, and its own
// message is already on standard error.
[[noreturn]] void WaitForChild(int readFd, pid_t child)
{
    char byte = 0;
    ssize_t got;
    do
        got = read(readFd, &byte, 1);
    while (got < 0 && errno == EINTR);
    if (got == 1)
        _exit(0);
    int status = 0;
    waitpid(child, &status, 0);
    _exit(1);
}
} // namespace

SimDaemon::~SimDaemon()
{
    if (m_ReadyFd >= 0)
        close(m_ReadyFd);
}

bool SimDaemon::Detach(std::string& error)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
    {
        error = std::string("pipe failed: ") + std::strerror(errno);
        return false;
    }
    std::fflush(nullptr);
    pid_t child = fork();
    if (child < 0)
    {
        error = std::string("fork failed: ") + std::strerror(errno);
        close(fds[0]);
        close(fds[1]);
        return false;
    }
    if (child > 0)
    {
        close(fds[1]);
        WaitForChild(fds[0], child);
    }
    close(fds[0]);
    m_ReadyFd = fds[1];
    // A session of its own: the terminal's interrupt and hang-up no longer reach the daemon.
    setsid();
    return true;
}

void SimDaemon::ReportReady()
{
    if (m_ReadyFd < 0)
        return;
    std::fflush(nullptr);
    int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (null >= 0)
    {
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        close(null);
    }
    const char ready = 'r';
    ssize_t written;
    do
        written = write(m_ReadyFd, &ready, 1);
    while (written < 0 && errno == EINTR);
    close(m_ReadyFd);
    m_ReadyFd = -1;
}
