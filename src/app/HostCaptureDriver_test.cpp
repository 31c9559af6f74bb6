// Runs the real HostCapture program as a child process, in a scratch working directory and
// against an empty system root (so no management daemon), and checks what it prints and writes.
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

std::vector<std::string> ListDir(const std::string& path)
{
    std::vector<std::string> names;
    if (DIR* dir = opendir(path.c_str()))
    {
        while (dirent* entry = readdir(dir))
        {
            if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
                names.push_back(entry->d_name);
        }
        closedir(dir);
    }
    return names;
}

bool IsCompletePage(const std::string& text)
{
    return text.rfind("<!DOCTYPE html>", 0) == 0 && text.size() > 7 &&
           text.compare(text.size() - 7, 7, "</html>") == 0;
}

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string WriteFailure(const std::string& name, int error)
{
    return "\n!! Failed to write HTML file \"" + name + "\"! (Error " + strerror(error) + ")\n";
}

class HostCaptureDriverTest : public ::testing::Test
{
protected:
    // Runs the program in the scratch directory with standard output captured; standard error
    // (trace output) is discarded. PATH may be replaced for the child.
    ProcessResult Run(const std::vector<std::string>& args, const std::string& path = "")
    {
        ProcessResult result;
        int fds[2];
        if (pipe(fds) != 0)
            return result;
        pid_t child = fork();
        if (child == 0)
        {
            dup2(fds[1], STDOUT_FILENO);
            close(fds[0]);
            close(fds[1]);
            dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
            setenv("HOSTCAPTURE_SYSROOT", m_SysRoot.Path().c_str(), 1);
            if (!path.empty())
                setenv("PATH", path.c_str(), 1);
            if (chdir(m_WorkDir.Path().c_str()) != 0)
                _exit(120);
            std::vector<char*> argv = {const_cast<char*>(HOSTCAPTURE_EXECUTABLE)};
            for (const std::string& arg : args)
                argv.push_back(const_cast<char*>(arg.c_str()));
            argv.push_back(nullptr);
            execv(HOSTCAPTURE_EXECUTABLE, argv.data());
            _exit(121);
        }
        close(fds[1]);
        char buffer[4096];
        ssize_t count;
        while ((count = read(fds[0], buffer, sizeof(buffer))) > 0 || (count < 0 && errno == EINTR))
            result.Output.append(buffer, count > 0 ? static_cast<size_t>(count) : 0);
        close(fds[0]);
        int status = 0;
        if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status))
            result.ExitStatus = WEXITSTATUS(status);
        return result;
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
    };
    for (const auto& args : commandLines)
    {
        ProcessResult result = Run(args);
        EXPECT_EQ(0, result.ExitStatus) << args[0];
        EXPECT_EQ(kHelp, result.Output) << args[0];
    }
    EXPECT_TRUE(ListDir(m_WorkDir.Path()).empty()) << "a bad command line must not create a file";
}

TEST_F(HostCaptureDriverTest, WithoutArgumentsWritesTimeStampedReportIntoWorkingDirectory)
{
    auto stamp = []
    {
        time_t now = time(nullptr);
        struct tm local = {};
        char text[32];
        strftime(text, sizeof(text), "%Y%m%d%H%M%S", localtime_r(&now, &local));
        return std::string(text);
    };
    std::string before = stamp();
    ProcessResult result = Run({});
    std::string after = stamp();
    ASSERT_EQ(0, result.ExitStatus) << result.Output;

    std::smatch match;
    ASSERT_TRUE(std::regex_search(result.Output, match,
                                  std::regex("^\nGenerating HTML report\\.\\.\\.[\\s\\S]*\nSuccessfuly write "
                                             "HTML file \"(HostCapture_([0-9]{14})\\.html)\"\n$")))
        << result.Output;
    EXPECT_LE(before, match[2].str());
    EXPECT_GE(after, match[2].str());
    EXPECT_EQ(std::vector<std::string>{match[1].str()}, ListDir(m_WorkDir.Path()));
    EXPECT_TRUE(IsCompletePage(ReadFile(m_WorkDir.Path() + "/" + match[1].str())));
}

TEST_F(HostCaptureDriverTest, OutputOptionIsMatchedWithoutRegardToCaseAndReplacesOldContent)
{
    for (const char* option : {"-output", "-OUTPUT", "-Output"})
    {
        std::string name = std::string("report") + option + ".html";
        m_WorkDir.Write(name, std::string(1 << 20, 'x'));
        ProcessResult result = Run({option, name});
        EXPECT_EQ(0, result.ExitStatus) << option;
        EXPECT_TRUE(EndsWith(result.Output, "\nSuccessfuly write HTML file \"" + name + "\"\n"))
            << result.Output;
        std::string page = ReadFile(m_WorkDir.Path() + "/" + name);
        EXPECT_TRUE(IsCompletePage(page)) << option;
        EXPECT_EQ(std::string::npos, page.find("xxxx")) << option;
    }
}

TEST_F(HostCaptureDriverTest, UnwritableOutputStopsBeforeClearingOrRendering)
{
    std::string missing = m_WorkDir.Path() + "/no-such-dir/report.html";
    ProcessResult result = Run({"-clearstatus", "-output", missing});
    EXPECT_EQ(255, result.ExitStatus);
    EXPECT_EQ(WriteFailure(missing, ENOENT), result.Output);
}

TEST_F(HostCaptureDriverTest, FailedFinalWriteExitsWith255AfterThePreflightEmptiedTheFile)
{
    // The pre-flight works on the first 260 characters of the name, the final write on all of it.
    // With the short name an existing file, the long name lies "inside" a file and cannot open.
    std::string folder = m_WorkDir.Path() + "/" + std::string(120, 'd');
    MakeDirs(folder);
    std::string existing = folder + "/" + std::string(260 - folder.size() - 1, 'f');
    m_WorkDir.Write(existing.substr(m_WorkDir.Path().size() + 1), "previous report");
    std::string name = existing + "/report.html";

    ProcessResult result = Run({"-output", name});
    EXPECT_EQ(255, result.ExitStatus);
    EXPECT_EQ("", ReadFile(existing));
    EXPECT_EQ(0u, result.Output.find("\nGenerating HTML report...")) << result.Output;
    EXPECT_TRUE(EndsWith(result.Output, WriteFailure(name, ENOTDIR))) << result.Output;

    // An empty name skips the pre-flight but cannot be written either.
    result = Run({"-output", ""});
    EXPECT_EQ(255, result.ExitStatus);
    EXPECT_EQ(0u, result.Output.find("\nGenerating HTML report...")) << result.Output;
    EXPECT_NE(std::string::npos, result.Output.find("\n!! Failed to write HTML file \"\"! (Error "));
}

TEST_F(HostCaptureDriverTest, AutostartOpensTheWrittenReportWithXdgOpen)
{
    TempDir tools;
    std::string record = tools.Path() + "/record";
    // Records its arguments and the first bytes of the file it is asked to open.
    tools.Write("bin/xdg-open", "#!/bin/sh\n{ echo \"$#\"; echo \"[$1]\"; head -c 15 \"$1\"; } > '" + record +
                                    "'\necho opened-by-fake-xdg-open\n");
    ASSERT_EQ(0, chmod((tools.Path() + "/bin/xdg-open").c_str(), 0755));
    const char* path = getenv("PATH");
    std::string searchPath = tools.Path() + "/bin:" + (path != nullptr ? path : "/usr/bin:/bin");

    ProcessResult result = Run({"-autostart", "-output", "my report.html"}, searchPath);
    EXPECT_EQ(0, result.ExitStatus);
    EXPECT_EQ("1\n[my report.html]\n<!DOCTYPE html>", ReadFile(record));
    EXPECT_TRUE(EndsWith(result.Output,
                         "\nSuccessfuly write HTML file \"my report.html\"\nopened-by-fake-xdg-open\n"))
        << result.Output;

    remove(record.c_str());
    EXPECT_EQ(0, Run({"-output", "quiet.html"}, searchPath).ExitStatus);
    EXPECT_EQ("", ReadFile(record)) << "the browser must only start with -autostart";
}

TEST_F(HostCaptureDriverTest, ClearStatusWithoutDaemonFailsAndTheReportIsStillWritten)
{
    ProcessResult result = Run({"-clearstatus", "-output", "cleared.html"});
    EXPECT_EQ(0, result.ExitStatus);
    size_t failed = result.Output.find("\nStatus clear failed.");
    EXPECT_EQ(0u, result.Output.find("\nClearing Device Watch status for all components..."))
        << result.Output;
    ASSERT_NE(std::string::npos, failed) << result.Output;
    EXPECT_LT(failed, result.Output.find("\nGenerating HTML report..."));
    EXPECT_TRUE(IsCompletePage(ReadFile(m_WorkDir.Path() + "/cleared.html")));
}
