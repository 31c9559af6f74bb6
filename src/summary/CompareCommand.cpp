#include "CompareCommand.h"

#include "ChangeJson.h"
#include "ChangeText.h"
#include "OutputFile.h"
#include "PageReader.h"
#include "TerminalText.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace
{
const int kExitTrouble = 3;
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
        // The JSON holds serial numbers and addresses: a file goes out as a private OutputFile.
        OutputFile target;
        FILE* out = stdout;
        if (jsonPath != "-")
        {
            if (!target.Create(jsonPath))
            {
                TerminalText::Complain(target.Error());
                return kExitTrouble;
            }
            const int fd = target.Release();
            out = fdopen(fd, "wb");
            if (!out)
                close(fd);
        }
        errno = 0;
        bool ok = out && ChangeJson::WriteDocument(changes, out);
        const int writeError = errno;
        if (out && out != stdout)
            ok = fclose(out) == 0 && ok;
        if (jsonPath != "-")
            ok = target.Commit(ok) && ok;
        if (!ok)
        {
            TerminalText::Complain(writeError || target.Error().empty()
                                       ? jsonPath + ": " +
                                             (writeError ? std::strerror(writeError) : "cannot be written")
                                       : target.Error());
            return kExitTrouble;
        }
    }
    if (fflush(stdout) != 0)
        return kExitTrouble;
    return changes.Any() ? 1 : 0;
}
} // namespace CompareCommand
