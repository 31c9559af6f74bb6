// Runs the real HostCapture program as a child process, in a scratch working directory and
// against an empty system root (so no management daemon), and checks what it prints and writes.
#include "ProgramRun.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>
#include <sys/stat.h>
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
const std::string kGenerating = "\nGenerating HTML report...";

std::vector<std::string> ListDir(const std::string& path)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path))
        names.push_back(entry.path().filename().string());
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

std::string Written(const std::string& name)
{
    return "\nSuccessfuly write HTML file \"" + name + "\"\n";
}

std::string WriteFailure(const std::string& name, int error)
{
    return "\n!! Failed to write HTML file \"" + name + "\"! (Error " + strerror(error) + ")\n";
}

class HostCaptureDriverTest : public ::testing::Test
{
protected:
    // Standard output of the program; trace output on standard error is not looked at.
    ProgramRun Run(const std::vector<std::string>& args, const std::string& searchPath = "")
    {
        std::vector<std::pair<std::string, std::string>> environment = {
            {"HOSTCAPTURE_SYSROOT", m_SysRoot.Path()}};
        if (!searchPath.empty())
            environment.emplace_back("PATH", searchPath);
        return RunProgram(HOSTCAPTURE_EXECUTABLE, args, m_WorkDir.Path(), environment);
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
        ProgramRun result = Run(args);
        EXPECT_EQ(0, result.exitStatus) << args[0];
        EXPECT_EQ(kHelp, result.output) << args[0];
    }
    EXPECT_TRUE(ListDir(m_WorkDir.Path()).empty()) << "a bad command line must not create a file";
}

TEST_F(HostCaptureDriverTest, WritesATimeStampedReportOrTheNamedOneReplacingWhatItHeld)
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
    ProgramRun result = Run({});
    std::string after = stamp();
    ASSERT_EQ(0, result.exitStatus) << result.output;

    std::smatch match;
    ASSERT_TRUE(std::regex_search(result.output, match,
                                  std::regex("^\nGenerating HTML report\\.\\.\\.[\\s\\S]*\nSuccessfuly write "
                                             "HTML file \"(HostCapture_([0-9]{14})\\.html)\"\n$")))
        << result.output;
    EXPECT_LE(before, match[2].str());
    EXPECT_GE(after, match[2].str());
    EXPECT_EQ(std::vector<std::string>{match[1].str()}, ListDir(m_WorkDir.Path()));
    EXPECT_TRUE(IsCompletePage(ReadFile(m_WorkDir.Path() + "/" + match[1].str())));

    const std::string name = "named.html";
    m_WorkDir.Write(name, std::string(1 << 20, 'x'));
    result = Run({"-Output", name});
    EXPECT_EQ(0, result.exitStatus);
    EXPECT_TRUE(EndsWith(result.output, Written(name))) << result.output;
    const std::string page = ReadFile(m_WorkDir.Path() + "/" + name);
    EXPECT_TRUE(IsCompletePage(page));
    EXPECT_EQ(std::string::npos, page.find("xxxx"));
}

TEST_F(HostCaptureDriverTest, WriteFailuresExitWith255)
{
    // Before clearing or rendering: the pre-flight cannot create the file.
    std::string missing = m_WorkDir.Path() + "/no-such-dir/report.html";
    ProgramRun result = Run({"-clearstatus", "-output", missing});
    EXPECT_EQ(255, result.exitStatus);
    EXPECT_EQ(WriteFailure(missing, ENOENT), result.output);

    // The whole name is used, however long: a name that runs through an existing file fails
    // before the run with the system's reason and leaves the file named by its first 260
    // characters alone.
    std::string folder = m_WorkDir.Path() + "/" + std::string(120, 'd');
    MakeDirs(folder);
    std::string existing = folder + "/" + std::string(260 - folder.size() - 1, 'f');
    m_WorkDir.Write(existing.substr(m_WorkDir.Path().size() + 1), "previous report");
    std::string name = existing + "/report.html";
    result = Run({"-output", name});
    EXPECT_EQ(255, result.exitStatus);
    EXPECT_EQ(WriteFailure(name, ENOTDIR), result.output);
    EXPECT_EQ("previous report", ReadFile(existing));

    // An empty name skips the pre-flight and fails at the end.
    result = Run({"-output", ""});
    EXPECT_EQ(255, result.exitStatus);
    EXPECT_EQ(0u, result.output.find(kGenerating)) << result.output;
    EXPECT_TRUE(EndsWith(result.output, WriteFailure("", ENOENT))) << result.output;
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

    // The name reaches xdg-open as its one argument, exactly as given: no shell sees it.
    for (const std::string name :
         {"my report.html", "a\"b$(touch ran-1).html", "x'; touch ran-2; '.html", "c`touch ran-3`;d&&e.html"})
    {
        SCOPED_TRACE(name);
        remove(record.c_str());
        ProgramRun result = Run({"-autostart", "-output", name}, searchPath);
        EXPECT_EQ(0, result.exitStatus);
        EXPECT_EQ("1\n[" + name + "]\n<!DOCTYPE html>", ReadFile(record));
        EXPECT_TRUE(EndsWith(result.output, Written(name) + "opened-by-fake-xdg-open\n")) << result.output;
    }
    for (const char* ran : {"ran-1", "ran-2", "ran-3"})
        EXPECT_FALSE(std::filesystem::exists(m_WorkDir.Path() + "/" + ran)) << ran;

    remove(record.c_str());
    EXPECT_EQ(0, Run({"-output", "quiet.html"}, searchPath).exitStatus);
    EXPECT_EQ("", ReadFile(record)) << "the browser must only start with -autostart";
}

TEST_F(HostCaptureDriverTest, ClearStatusWithoutDaemonFailsAndTheReportIsStillWritten)
{
    ProgramRun result = Run({"-clearstatus", "-output", "cleared.html"});
    EXPECT_EQ(0, result.exitStatus);
    EXPECT_EQ(0u, result.output.find("\nClearing Device Watch status for all components..."))
        << result.output;
    size_t failed = result.output.find("\nStatus clear failed.");
    ASSERT_NE(std::string::npos, failed) << result.output;
    EXPECT_LT(failed, result.output.find(kGenerating));
    EXPECT_TRUE(IsCompletePage(ReadFile(m_WorkDir.Path() + "/cleared.html")));
}
