// Runs the real HostCapture program as a child process, in a scratch working directory and
// against an empty system root (no management daemon), and checks what it prints and writes.
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <regex>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{
const std::string kHelp =
    "\nSyntax:"
    "\nHostCapture"
    "\nHostCapture           generates HTML output file HostCapture_<timestamp>.html"
    "\n"
    "\n   -output [file name]   generates HTML output file [file name]"
    "\n   -clearstatus          clears Device Watch status and generates HTML output file "
    "HostCapture_<timestamp>.html"
    "\n   -autostart             starts default browser after generating the HTML report"
    "\n   -?                    shows this help"
    "\n";

struct ProcessResult
{
    int ExitStatus = -1;
    std::string Output;
};

// Runs the program with the given arguments in the working directory; stderr (the provisional
// trace output) is discarded. Extra environment variables are set in the child only.
ProcessResult RunProgram(const std::vector<std::string>& args, const std::string& workingDir,
                         const std::vector<std::pair<std::string, std::string>>& environment = {})
{
    ProcessResult result;
    int pipeFds[2];
    if (pipe(pipeFds) != 0)
        return result;
    pid_t child = fork();
    if (child == 0)
    {
        dup2(pipeFds[1], STDOUT_FILENO);
        close(pipeFds[0]);
        close(pipeFds[1]);
        int devNull = open("/dev/null", O_WRONLY);
        dup2(devNull, STDERR_FILENO);
        if (chdir(workingDir.c_str()) != 0)
            _exit(120);
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(HOSTCAPTURE_EXECUTABLE));
        for (const std::string& arg : args)
            argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        execv(HOSTCAPTURE_EXECUTABLE, argv.data());
        _exit(121);
    }
    close(pipeFds[1]);
    char buffer[4096];
    ssize_t count;
    while ((count = read(pipeFds[0], buffer, sizeof(buffer))) > 0 || (count < 0 && errno == EINTR))
    {
        if (count > 0)
            result.Output.append(buffer, static_cast<size_t>(count));
    }
    close(pipeFds[0]);
    int status = 0;
    if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.ExitStatus = WEXITSTATUS(status);
    return result;
}

std::vector<std::string> ListDir(const std::string& path)
{
    std::vector<std::string> names;
    if (DIR* dir = opendir(path.c_str()))
    {
        while (dirent* entry = readdir(dir))
        {
            std::string name = entry->d_name;
            if (name != "." && name != "..")
                names.push_back(name);
        }
        closedir(dir);
    }
    return names;
}

bool IsCompletePage(const std::string& text)
{
    const std::string end = "</html>";
    return text.rfind("<!DOCTYPE html>", 0) == 0 && text.size() > end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string LocalStamp()
{
    time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    char stamp[32];
    strftime(stamp, sizeof(stamp), "%Y%m%d%H%M%S", &local);
    return stamp;
}

std::string WriteFailure(const std::string& name, int error)
{
    return "\n!! Failed to write HTML file \"" + name + "\"! (Error " + strerror(error) + ")\n";
}

// Every run gets a scratch working directory and an empty system root of its own.
class HostCaptureDriverTest : public ::testing::Test
{
protected:
    ProcessResult Run(const std::vector<std::string>& args,
                      std::vector<std::pair<std::string, std::string>> environment = {})
    {
        environment.emplace_back("HOSTCAPTURE_SYSROOT", m_SysRoot.Path());
        return RunProgram(args, m_WorkDir.Path(), environment);
    }

    TempDir m_WorkDir;
    TempDir m_SysRoot;
};
} // namespace

TEST_F(HostCaptureDriverTest, BadCommandLinesPrintTheHelpAndExitWithZero)
{
    const std::vector<std::vector<std::string>> commandLines = {
        {"-?"},
        {"-output", "x.html", "-?"},
        {"-unknown"},
        {"report.html"},
        {"-output"},
        {"-autostart", "-autostart"},
        {"-output", "a.html", "b.html"},
        {"-output", "a.html", "-OUTPUT", "b.html"},
        {"-clearstatus", "-5"},
        {"-autostart", "extra"},
    };
    for (const auto& args : commandLines)
    {
        std::string shown;
        for (const std::string& arg : args)
            shown += arg + " ";
        ProcessResult result = Run(args);
        EXPECT_EQ(0, result.ExitStatus) << shown;
        EXPECT_EQ(kHelp, result.Output) << shown;
    }
    EXPECT_TRUE(ListDir(m_WorkDir.Path()).empty()) << "no file may be created for a bad command line";
}

TEST_F(HostCaptureDriverTest, WithoutArgumentsWritesTimeStampedReportIntoWorkingDirectory)
{
    std::string before = LocalStamp();
    ProcessResult result = Run({});
    std::string after = LocalStamp();
    ASSERT_EQ(0, result.ExitStatus) << result.Output;

    std::smatch match;
    ASSERT_TRUE(
        std::regex_search(result.Output, match,
                          std::regex("\nGenerating HTML report\\.\\.\\.(.|\n)*\nSuccessfuly write HTML "
                                     "file \"HostCapture_([0-9]{14})\\.html\"\n$")))
        << result.Output;
    std::string stamp = match[2];
    EXPECT_LE(before, stamp);
    EXPECT_GE(after, stamp);

    std::vector<std::string> files = ListDir(m_WorkDir.Path());
    ASSERT_EQ(1u, files.size());
    EXPECT_EQ("HostCapture_" + stamp + ".html", files[0]);
    EXPECT_TRUE(IsCompletePage(ReadFile(m_WorkDir.Path() + "/" + files[0])));
}

TEST_F(HostCaptureDriverTest, OutputOptionIsMatchedWithoutRegardToCase)
{
    for (const char* option : {"-output", "-OUTPUT", "-Output"})
    {
        std::string name = std::string("report") + option + ".html";
        ProcessResult result = Run({option, name});
        EXPECT_EQ(0, result.ExitStatus) << option;
        EXPECT_NE(std::string::npos, result.Output.find("\nSuccessfuly write HTML file \"" + name + "\"\n"))
            << result.Output;
        EXPECT_TRUE(IsCompletePage(ReadFile(m_WorkDir.Path() + "/" + name))) << option;
    }
    EXPECT_EQ(3u, ListDir(m_WorkDir.Path()).size());
}

TEST_F(HostCaptureDriverTest, ExistingReportIsReplacedWhole)
{
    std::string path = m_WorkDir.Write("old.html", std::string(1 << 20, 'x'));
    ProcessResult result = Run({"-output", path});
    EXPECT_EQ(0, result.ExitStatus);
    std::string page = ReadFile(path);
    EXPECT_TRUE(IsCompletePage(page));
    EXPECT_EQ(std::string::npos, page.find("xxxx"));
}

TEST_F(HostCaptureDriverTest, UnwritableOutputStopsBeforeAnythingElseWithStatus255)
{
    std::string missing = m_WorkDir.Path() + "/no-such-dir/report.html";
    ProcessResult result = Run({"-clearstatus", "-output", missing});
    EXPECT_EQ(255, result.ExitStatus);
    // Neither the clear nor the report may start when the file cannot be written.
    EXPECT_EQ(WriteFailure(missing, ENOENT), result.Output);
    EXPECT_TRUE(ListDir(m_WorkDir.Path()).empty());
}

TEST_F(HostCaptureDriverTest, PreflightEmptiesAnExistingFileEvenWhenTheFinalWriteFails)
{
    // The pre-flight works on the first 260 characters of the name; the final write uses all of
    // it. Let the short name be an existing file, so that the long name lies "inside" a file.
    std::string folder = m_WorkDir.Path() + "/" + std::string(120, 'd');
    MakeDirs(folder);
    std::string existing = folder + "/" + std::string(260 - folder.size() - 1, 'f');
    ASSERT_EQ(260u, existing.size());
    m_WorkDir.Write(existing.substr(m_WorkDir.Path().size() + 1), "previous report");
    std::string name = existing + "/report.html";

    ProcessResult result = Run({"-output", name});
    EXPECT_EQ(255, result.ExitStatus);
    EXPECT_EQ("", ReadFile(existing));
    EXPECT_EQ(0u, result.Output.find("\nGenerating HTML report...")) << result.Output;
    std::string failure = WriteFailure(name, ENOTDIR);
    ASSERT_GE(result.Output.size(), failure.size());
    EXPECT_EQ(failure, result.Output.substr(result.Output.size() - failure.size()));
}

TEST_F(HostCaptureDriverTest, EmptyOutputNameRendersButFailsToWrite)
{
    ProcessResult result = Run({"-output", ""});
    EXPECT_EQ(255, result.ExitStatus);
    EXPECT_EQ(0u, result.Output.find("\nGenerating HTML report...")) << result.Output;
    EXPECT_NE(std::string::npos, result.Output.find("\n!! Failed to write HTML file \"\"! (Error "));
    EXPECT_EQ(std::string::npos, result.Output.find("Successfuly"));
}

TEST_F(HostCaptureDriverTest, AutostartOpensTheWrittenReportWithXdgOpen)
{
    TempDir tools;
    std::string record = tools.Path() + "/record";
    // Records its arguments and the first bytes of the file it is asked to open.
    tools.Write("bin/xdg-open",
                "#!/bin/sh\n"
                "{ echo \"$#\"; for a in \"$@\"; do echo \"[$a]\"; done; head -c 15 \"$1\"; } > '" +
                    record +
                    "'\n"
                    "echo opened-by-fake-xdg-open\n");
    ASSERT_EQ(0, chmod((tools.Path() + "/bin/xdg-open").c_str(), 0755));
    const char* path = getenv("PATH");
    std::string searchPath = tools.Path() + "/bin:" + (path != nullptr ? path : "/usr/bin:/bin");

    ProcessResult result = Run({"-autostart", "-output", "my report.html"}, {{"PATH", searchPath}});
    EXPECT_EQ(0, result.ExitStatus);
    EXPECT_EQ("1\n[my report.html]\n<!DOCTYPE html>", ReadFile(record));
    const std::string tail = "\nSuccessfuly write HTML file \"my report.html\"\nopened-by-fake-xdg-open\n";
    ASSERT_GE(result.Output.size(), tail.size());
    EXPECT_EQ(tail, result.Output.substr(result.Output.size() - tail.size())) << result.Output;

    // Without the option the browser is left alone.
    remove(record.c_str());
    result = Run({"-output", "quiet.html"}, {{"PATH", searchPath}});
    EXPECT_EQ(0, result.ExitStatus);
    EXPECT_EQ("", ReadFile(record));
}

TEST_F(HostCaptureDriverTest, ClearStatusWithoutDaemonFailsAndReportIsStillWritten)
{
    ProcessResult result = Run({"-clearstatus", "-output", "cleared.html"});
    EXPECT_EQ(0, result.ExitStatus);
    size_t clearing = result.Output.find("\nClearing Device Watch status for all components...");
    size_t failed = result.Output.find("\nStatus clear failed.");
    size_t generating = result.Output.find("\nGenerating HTML report...");
    ASSERT_EQ(0u, clearing) << result.Output;
    ASSERT_NE(std::string::npos, failed) << result.Output;
    ASSERT_NE(std::string::npos, generating) << result.Output;
    EXPECT_LT(clearing, failed);
    EXPECT_LT(failed, generating);
    EXPECT_EQ(std::string::npos, result.Output.find("Status clear success."));
    EXPECT_TRUE(IsCompletePage(ReadFile(m_WorkDir.Path() + "/cleared.html")));
}
