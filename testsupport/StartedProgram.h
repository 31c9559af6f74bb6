#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

// A program started in the background, for tests that must act while it runs (swap a file, send
// a signal) or that must not hang when the program does. Standard output and error go to files
// outside its working directory. With asNobody it runs as uid 65534 (see Unprivileged.h). The
// destructor kills a program that is still running.
class StartedProgram
{
public:
    StartedProgram(const std::string& executable, const std::vector<std::string>& args,
                   const std::string& workingDirectory,
                   const std::vector<std::pair<std::string, std::string>>& environment = {},
                   bool asNobody = false);
    ~StartedProgram();
    StartedProgram(const StartedProgram&) = delete;
    StartedProgram& operator=(const StartedProgram&) = delete;

    // Waits at most timeoutMs for the program to end. True when it ended; ExitStatus() then holds
    // its exit status (-1 when a signal killed it).
    bool Wait(int timeoutMs);
    bool Signal(int signalNumber) const;
    bool HasEnded() const { return m_Pid < 0; }
    int ExitStatus() const { return m_ExitStatus; }
    pid_t Pid() const { return m_Pid; }

    std::string Output() const;
    std::string Errors() const;

private:
    std::string m_Captured;
    pid_t m_Pid = -1;
    int m_PidFd = -1;
    int m_ExitStatus = -1;
};
