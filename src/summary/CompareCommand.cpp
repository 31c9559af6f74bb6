#include "CompareCommand.h"

#include "ChangeJson.h"
#include "ChangeText.h"
#include "PageReader.h"
#include "SafeOpen.h"
#include "TerminalText.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const int kExitTrouble = 3;

// The JSON goes to a file only the caller can read: it holds serial numbers and addresses.
FILE* OpenJson(const std::string& path)
{
    if (path == "-")
        return stdout;
    int fd = SafeOpen::ForWriting(AT_FDCWD, path, 0600, false);
    if (fd < 0)
        return nullptr;
    if (ftruncate(fd, 0) != 0 || fchmod(fd, 0600) != 0)
    {
        close(fd);
        return nullptr;
    }
    FILE* file = fdopen(fd, "wb");
    if (!file)
        close(fd);
    return file;
}
} // namespace

namespace CompareCommand
{
int Run(const std::string& older, const std::string& newer, const std::string& jsonPath,
        const ComparisonOptions& options)
{
    HostPage pages[2];
    const std::string* paths[2] = {&older, &newer};
    bool readable = true;
    for (int i = 0; i < 2; ++i)
        if (!PageReader::ReadFile(*paths[i], pages[i]))
        {
            TerminalText::Complain(*paths[i] + ": " + pages[i].Problem);
            readable = false;
        }
    if (!readable)
        return kExitTrouble;
    HostChanges changes = PageComparison::Compare(pages[0], pages[1], options);
    if (jsonPath.empty())
        fputs(ChangeText::Report(changes).c_str(), stdout);
    else
    {
        FILE* out = OpenJson(jsonPath);
        bool ok = out && ChangeJson::WriteDocument(changes, out);
        if (out && out != stdout)
            ok = fclose(out) == 0 && ok;
        if (!ok)
        {
            TerminalText::Complain(jsonPath + ": " + (errno ? std::strerror(errno) : "cannot be written"));
            return kExitTrouble;
        }
    }
    if (fflush(stdout) != 0)
        return kExitTrouble;
    return changes.Any() ? 1 : 0;
}
} // namespace CompareCommand
