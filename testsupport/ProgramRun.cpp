#include "ProgramRun.h"

#include "TestEnv.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

void RedirectStreamTo(const std::string& path, int stream)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd >= 0)
    {
        dup2(fd, stream);
        close(fd);
    }
}

void ExecProgram(const std::string& executable, const std::vector<std::string>& args)
{
    std::vector<char*> argv = {const_cast<char*>(executable.c_str())};
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(executable.c_str(), argv.data());
    _exit(127);
}

ProgramRun RunProgram(const std::string& executable, const std::vector<std::string>& args,
                      const std::string& workingDirectory,
                      const std::vector<std::pair<std::string, std::string>>& environment)
{
    ProgramRun run;
    const TempDir captured;
    const std::string outputPath = captured.Path() + "/stdout";
    const std::string errorsPath = captured.Path() + "/stderr";
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid < 0)
        return run;
    if (pid == 0)
    {
        if (chdir(workingDirectory.c_str()) != 0)
            _exit(126);
        for (const auto& variable : environment)
            setenv(variable.first.c_str(), variable.second.c_str(), 1);
        RedirectStreamTo(outputPath, STDOUT_FILENO);
        RedirectStreamTo(errorsPath, STDERR_FILENO);
        ExecProgram(executable, args);
    }
    int status = 0;
    pid_t waited;
    do
        waited = waitpid(pid, &status, 0);
    while (waited < 0 && errno == EINTR);
    run.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (waited == pid && WIFEXITED(status))
        run.exitStatus = WEXITSTATUS(status);
    run.output = ReadFile(outputPath);
    run.errors = ReadFile(errorsPath);
    return run;
}
