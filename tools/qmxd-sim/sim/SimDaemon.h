#pragma once

#include <string>

// Detaches the simulator from the shell that started it, so that a script can go on as soon as
// the command returns: the parent process waits until the child reports that every socket
// listens, then exits 0; a child that fails before that makes it exit 1. The report travels
// through a pipe, so nobody polls for files.
class SimDaemon
{
public:
    SimDaemon() = default;
    ~SimDaemon();
    SimDaemon(const SimDaemon&) = delete;
    SimDaemon& operator=(const SimDaemon&) = delete;

    // Forks. Returns only in the child (true) or on failure (false, error set); the parent waits
    // for the child's report and leaves through _exit. Call before any thread is started.
    bool Detach(std::string& error);
    // In the child once it serves: sends standard input, output and error to /dev/null (nobody
    // reads them any more, and a caller capturing the output must not wait for the daemon) and
    // lets the parent go.
    void ReportReady();

private:
    int m_ReadyFd = -1;
};
