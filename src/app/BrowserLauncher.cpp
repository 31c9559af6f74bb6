#include "BrowserLauncher.h"

#include "CDebug.h"

#include <cerrno>
#include <cstring>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>

extern char** environ;

namespace BrowserLauncher
{
bool Open(const std::string& fileName)
{
    std::string program = "xdg-open";
    std::string argument = fileName;
    char* argv[] = {&program[0], &argument[0], nullptr};
    pid_t child = 0;
    const int error = posix_spawnp(&child, program.c_str(), nullptr, nullptr, argv, environ);
    if (error != 0)
    {
        g_Debug.Print(1, "\nBrowserLauncher::Open: ERROR! Cannot start xdg-open for \"%s\": %s",
                      fileName.c_str(), strerror(error));
        return false;
    }
    g_Debug.Print(2, "\nBrowserLauncher::Open: xdg-open started (pid %d) for \"%s\"", static_cast<int>(child),
                  fileName.c_str());
    // xdg-open hands the page to the browser and returns; waiting for it keeps its messages
    // behind ours and leaves no child behind.
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
    {
    }
    return true;
}
} // namespace BrowserLauncher
