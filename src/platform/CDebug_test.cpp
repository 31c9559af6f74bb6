#include "CDebug.h"

#include "Clock.h"
#include "TraceTestEnv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <unistd.h>

namespace
{
void TaggedAlways(CDebug& debug, const char* tag, const char* format, ...) HC_PRINTF_LIKE(3, 4);
void TaggedAlways(CDebug& debug, const char* tag, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    debug.VPrintAlways(format, args, tag);
    va_end(args);
}

std::string LineLabel(int number)
{
    char label[24];
    std::snprintf(label, sizeof(label), "line %02d", number);
    return label;
}

std::vector<std::string> Messages(const std::string& path)
{
    std::vector<std::string> messages;
    for (const std::string& line : ReadLines(path))
        messages.push_back(MessageOf(line));
    return messages;
}
} // namespace

TEST(CDebug, EnvironmentLevelWritesLevelsUpToItAndDropsTheRest)
{
    TraceTestEnv env;
    std::string logDir = env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "4");
    CDebug debug("HostCapture");
    EXPECT_EQ(debug.GetLevel(), 4u);
    EXPECT_EQ(debug.GetSavedLevel(), 4u);
    EXPECT_TRUE(debug.IsTraceEnabled());
    EXPECT_EQ(debug.GetTarget(), CDebug::TargetLogFile);
    EXPECT_STREQ(debug.GetLogFilePath(), (logDir + "/log.hostcapture").c_str());

    for (unsigned level = 1; level <= 5; ++level)
        debug.Print(level, "\nlevel %u", level);
    debug.Print(1, nullptr);
    EXPECT_EQ(Messages(debug.GetLogFilePath()),
              (std::vector<std::string>{"level 1", "level 2", "level 3", "level 4"}));
}

TEST(CDebug, LinesCarryPrefixOneNewlineAndAtMost1024Characters)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "2");
    CDebug debug("HostCapture");
    debug.Print(1, "\n\nleading newlines go");
    debug.Print(1, "a final newline is kept once\n");
    debug.Print(1, "\n");
    debug.Print(2, "%s|", std::string(2000, 'x').c_str());
    TaggedAlways(debug, "Tagger", "tagged %d", 7);
    TaggedAlways(debug, "AVeryLongTagThatIsWiderThanItsColumn", "wide");

    std::vector<std::string> lines = ReadLines(debug.GetLogFilePath());
    ASSERT_EQ(lines.size(), 6u);
    char pid[16];
    std::snprintf(pid, sizeof(pid), "[%010d]", static_cast<int>(getpid()));
    EXPECT_TRUE(StartsWithShape(lines[0], kPrefixShape)) << lines[0];
    EXPECT_EQ(lines[0].substr(24, 12), pid);
    EXPECT_EQ(MessageOf(lines[0]), "leading newlines go");
    EXPECT_EQ(MessageOf(lines[1]), "a final newline is kept once");
    // A format made only of newlines is written as it is (here: one empty message).
    EXPECT_EQ(MessageOf(lines[2]), "");
    EXPECT_EQ(MessageOf(lines[3]), std::string(1024, 'x')); // cut before the "|"
    EXPECT_NE(lines[4].find("] Tagger        tagged 7"), std::string::npos) << lines[4];
    EXPECT_NE(lines[5].find("] AVeryLongTagThatIsWiderThanItsColumn wide"), std::string::npos);
}

TEST(CDebug, MemoryColumnShowsResidentKilobytes)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=1\nMemoryTracesFlag=1\n[EndOfFile]\n");
    CDebug debug("HostCapture");
    debug.Print(1, "with memory");
    std::vector<std::string> lines = ReadLines(debug.GetLogFilePath());
    ASSERT_EQ(lines.size(), 1u);
    // Behind the process id: the resident size right-aligned in eight columns, then the tag.
    ASSERT_TRUE(StartsWithShape(lines[0], "9999-99-99 99:99:99.999 [9999999999] ")) << lines[0];
    std::string rest = lines[0].substr(37);
    ASSERT_GT(rest.size(), 8u);
    EXPECT_EQ(rest.substr(8), " KB !HostCapture   with memory");
    EXPECT_GT(std::strtoul(rest.substr(0, 8).c_str(), nullptr, 10), 0ul) << lines[0];
}

TEST(CDebug, TheRingBufferDirectoryVariableDecidesWhereTheLogGoes)
{
    TraceTestEnv env;
    std::string fileDir = env.Root() + "/filedir";
    std::string ringDir = env.Root() + "/ringdir";
    std::string defaultDir = env.Root() + "/var/log/plinthd";
    MakeDirs(fileDir);
    MakeDirs(ringDir);
    MakeDirs(defaultDir);
    env.Set("TM_LOG_DEBUG_LEVEL", "1");
    env.Set("TM_LOG_FILE_DIR", fileDir.c_str());
    {
        CDebug debug("HostCapture");
        EXPECT_STREQ(debug.GetTraceDirectory(), defaultDir.c_str());
        EXPECT_TRUE(debug.HasLogFile());
    }
    env.WriteIni("hostcapture.ini", "[HostCapture]\nRingBufferDirectory= " + ringDir + "\n[EndOfFile]\n");
    {
        CDebug debug("HostCapture");
        EXPECT_STREQ(debug.GetTraceDirectory(), ringDir.c_str());
    }
    std::string otherDir = env.Root() + "/otherdir";
    MakeDirs(otherDir);
    env.Set("TM_LOG_RINGBUF_DIR", otherDir.c_str());
    CDebug debug("HostCapture");
    EXPECT_STREQ(debug.GetLogFilePath(), (otherDir + "/log.hostcapture").c_str());
    debug.Print(1, "here");
    EXPECT_EQ(Messages(otherDir + "/log.hostcapture"), std::vector<std::string>{"here"});
    EXPECT_EQ(access((fileDir + "/log.hostcapture").c_str(), F_OK), -1);
}

TEST(CDebug, MissingConfigurationDirectoryLeavesTracingOffButCreatesTheLog)
{
    TraceTestEnv env;
    std::string defaultLog = env.Root() + "/var/log/plinthd/log.hostcapture";
    MakeDirs(env.Root() + "/var/log/plinthd");
    env.Write("var/log/plinthd/log.hostcapture", "old content");
    CDebug debug("HostCapture");
    EXPECT_EQ(debug.GetLevel(), 0u);
    EXPECT_FALSE(debug.IsTraceEnabled());
    EXPECT_EQ(debug.GetTarget(), CDebug::TargetNone);
    EXPECT_EQ(debug.GetNoHeaderToStderr(), 1u);
    EXPECT_EQ(debug.GetLogFileMaxSize(), 20971520u);
    EXPECT_STREQ(debug.GetLogFilePath(), defaultLog.c_str());
    EXPECT_EQ(ReadFile(defaultLog), ""); // truncated on open

    debug.Print(1, "dropped");
    debug.PrintAlways("always written");
    debug.PrintAlways(9, "level ignored");
    EXPECT_EQ(Messages(defaultLog), (std::vector<std::string>{"always written", "level ignored"}));
}

TEST(CDebug, ConfigurationDirectoryWithoutIniFilesIgnoresTheEnvironment)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "4");
    env.Set("TM_LOG_DYNAMIC_UPDATE", "5");
    env.WriteIni("notes.txt", "[HostCapture]\nFileDebugLevel=3\n[EndOfFile]\n");
    env.WriteIni(".#hostcapture.ini", "[HostCapture]\nFileDebugLevel=3\n[EndOfFile]\n");
    CDebug debug("HostCapture");
    EXPECT_EQ(debug.GetLevel(), 0u);
    EXPECT_EQ(debug.GetDynamicUpdateInterval(), 0u);
    EXPECT_STREQ(debug.GetTraceDirectory(), "");
    // The empty trace directory puts the log at the top of the system root.
    EXPECT_STREQ(debug.GetLogFilePath(), (env.Root() + "/log.hostcapture").c_str());
    EXPECT_TRUE(debug.HasLogFile());
}

TEST(CDebug, IniFilesAreTakenInNameOrderAndTheEnvironmentOverridesThem)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.WriteIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=0x3c\n[EndOfFile]\n");
    env.WriteIni("a_other.ini", "[SomeDaemon]\nFileDebugLevel=5\n[EndOfFile]\n");
    env.WriteIni("b_capture.ini",
                 "[HOSTCAPTURE]\nFileDebugLevel=0x3\nTraceFlags=010\nRingBufferSizeFactor=7\n"
                 "RingBufferSizeWeight=9\nNoHeaderToStderr=0\n[EndOfFile]\n");
    env.WriteIni("c_capture.ini", "[HostCapture]\nFileDebugLevel=5\n[EndOfFile]\n");
    {
        CDebug debug("HostCapture");
        EXPECT_EQ(debug.GetLevel(), 3u);
        EXPECT_EQ(debug.GetFileDebugLevel(), 3u);
        EXPECT_EQ(debug.GetDynamicUpdateInterval(), 60u);
        EXPECT_EQ(debug.GetRingBufferFactor(), 7u);
        EXPECT_EQ(debug.GetRingBufferWeight(), 9u);
        EXPECT_EQ(debug.GetNoHeaderToStderr(), 0u);
        EXPECT_FALSE(debug.HasMemoryColumn());
    }
    env.Set("TM_LOG_DEBUG_LEVEL", "2");
    env.Set("TM_LOG_DYNAMIC_UPDATE", "0x10"); // base 10: the digits before the "x"
    env.Set("TraceFileLimit", "11");
    env.Set("TM_LOG_RINGBUF_WEIGHT", "12");
    env.Set("TM_LOG_NOHDR_TOSDTERR", "3");
    env.Set("TM_LOG_FILE_MAX_SIZE", "4096");
    CDebug debug("HostCapture");
    EXPECT_EQ(debug.GetLevel(), 2u);
    EXPECT_EQ(debug.GetFileDebugLevel(), 3u);
    EXPECT_EQ(debug.GetDynamicUpdateInterval(), 0u);
    EXPECT_EQ(debug.GetRingBufferFactor(), 11u);
    EXPECT_EQ(debug.GetRingBufferWeight(), 12u);
    EXPECT_EQ(debug.GetNoHeaderToStderr(), 3u);
    EXPECT_EQ(debug.GetLogFileMaxSize(), 4096u);
}

TEST(CDebug, IniFileWithoutEndOfFileMarkerIsIgnored)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=3\n");
    CDebug debug("HostCapture");
    EXPECT_EQ(debug.GetLevel(), 0u);
    EXPECT_EQ(debug.GetTarget(), CDebug::TargetNone);
}

TEST(CDebug, FullLogWrapsBackToTheEndOfStartUp)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "2");
    env.Set("TM_LOG_FILE_MAX_SIZE", "1500");
    {
        CDebug debug("HostCapture");
        for (int i = 0; i < 20; ++i)
            debug.Print(2, "line %02d %s", i, std::string(50, '-').c_str());
        std::vector<std::string> messages = Messages(debug.GetLogFilePath());
        ASSERT_GE(messages.size(), 3u);
        EXPECT_EQ(messages[0], "------ WRAP ----- Cycle=1, CntInitEnd=0, CurrentByteCnt=0 (MaxCnt=1500)");
        // The lines after the wrap follow the WRAP line; the older text behind them is left in
        // place, so the file still ends with the line that made it wrap.
        int firstAfterWrap = std::stoi(messages[1].substr(5, 2));
        ASSERT_GT(firstAfterWrap, 5);
        for (int i = firstAfterWrap; i < 20; ++i)
            EXPECT_EQ(messages[1 + i - firstAfterWrap].substr(0, 7), LineLabel(i));
        EXPECT_EQ(messages.back().substr(0, 7), LineLabel(firstAfterWrap - 1));
        EXPECT_LE(ReadFile(debug.GetLogFilePath()).size(), 1500u + 200u);
    }
    CDebug debug("HostCapture");
    debug.Print(1, "start-up");
    debug.AppInitDone();
    std::string firstLine = ReadLines(debug.GetLogFilePath())[0] + "\n";
    for (int i = 0; i < 40; ++i)
        debug.Print(2, "line %02d %s", i, std::string(50, '-').c_str());
    std::vector<std::string> messages = Messages(debug.GetLogFilePath());
    EXPECT_EQ(messages[0], "start-up");
    std::string count = std::to_string(firstLine.size());
    std::string wrapStart = "------ WRAP ----- Cycle=";
    std::string wrapEnd = ", CntInitEnd=" + count + ", CurrentByteCnt=" + count + " (MaxCnt=1500)";
    ASSERT_GT(messages[1].size(), wrapStart.size() + wrapEnd.size()) << messages[1];
    EXPECT_EQ(messages[1].substr(0, wrapStart.size()), wrapStart);
    EXPECT_EQ(messages[1].substr(messages[1].size() - wrapEnd.size()), wrapEnd);
}

TEST(CDebug, ChangedIniFilesAreReReadAfterTheInterval)
{
    TraceTestEnv env;
    env.UseLogDir();
    std::string global =
        env.WriteIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=5\n[EndOfFile]\n");
    std::string app = env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=2\n[EndOfFile]\n");
    CFakeClock clock;
    CScopedClock useClock(clock);
    CDebug debug("HostCapture");
    ASSERT_EQ(debug.GetLevel(), 2u);
    ASSERT_EQ(debug.GetDynamicUpdateInterval(), 5u);

    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=4\nMemoryTracesFlag=1\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(app, 10));
    clock.AdvanceMs(4000);
    debug.Print(3, "too early");
    EXPECT_EQ(debug.GetLevel(), 2u);
    clock.AdvanceMs(1000);
    debug.Print(3, "after the interval");
    EXPECT_EQ(debug.GetLevel(), 4u);
    EXPECT_EQ(debug.GetSavedLevel(), 4u);
    EXPECT_EQ(debug.GetFileDebugLevel(), 4u);
    EXPECT_TRUE(debug.HasMemoryColumn());
    std::string log = ReadFile(debug.GetLogFilePath());
    EXPECT_EQ(log.find("too early"), std::string::npos);
    EXPECT_NE(log.find("KB !HostCapture   after the interval"), std::string::npos);

    // A clock that goes backwards triggers the check at once.
    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=1\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(app, 20));
    {
        CFakeClock earlier(1600000000);
        CScopedClock useEarlier(earlier);
        debug.Print(2, "dropped after the level fell");
    }
    EXPECT_EQ(debug.GetLevel(), 1u);

    // The global file sets the interval itself; 0 ends re-reading.
    env.WriteIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=0\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(global, 30));
    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=5\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(app, 40));
    debug.Print(1, "check");
    EXPECT_EQ(debug.GetDynamicUpdateInterval(), 0u);
    EXPECT_EQ(debug.GetLevel(), 5u);
    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=2\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(app, 50));
    clock.AdvanceMs(100000);
    debug.Print(1, "no more checks");
    EXPECT_EQ(debug.GetLevel(), 5u);
    EXPECT_EQ(ReadFile(debug.GetLogFilePath()).find("dropped after"), std::string::npos);
}

TEST(CDebug, LevelRaisedAtRunTimeStartsTracingThatWasOff)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.WriteIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=1\n[EndOfFile]\n");
    std::string app = env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=0\n[EndOfFile]\n");
    CFakeClock clock;
    CScopedClock useClock(clock);
    CDebug debug("HostCapture");
    ASSERT_EQ(debug.GetTarget(), CDebug::TargetNone);
    // An unchanged file is not read again, and an ini file that lost its marker is not taken.
    clock.AdvanceMs(1000);
    debug.Print(1, "still off");
    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=3\n");
    ASSERT_TRUE(ShiftMtime(app, 10));
    clock.AdvanceMs(1000);
    debug.Print(1, "still off");
    EXPECT_EQ(debug.GetLevel(), 0u);

    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=3\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(app, 20));
    clock.AdvanceMs(1000);
    debug.Print(3, "now on");
    EXPECT_EQ(debug.GetTarget(), CDebug::TargetLogFile);
    EXPECT_EQ(Messages(debug.GetLogFilePath()), std::vector<std::string>{"now on"});
}

TEST(CDebug, ConcurrentThreadsNeverMixTheirLines)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "3");
    CDebug debug("HostCapture");
    const int linesPerThread = 2000;
    auto writer = [&debug](char letter)
    {
        std::string payload(300, letter);
        for (int i = 0; i < linesPerThread; ++i)
            debug.Print(2, "\n%s %d", payload.c_str(), i);
    };
    std::thread first(writer, 'a');
    std::thread second(writer, 'b');
    first.join();
    second.join();

    // Every line whole, and every line of each thread there exactly once (a shared line buffer
    // without the lock loses some lines and writes others twice).
    std::vector<std::string> messages = Messages(debug.GetLogFilePath());
    EXPECT_EQ(messages.size(), 2u * linesPerThread);
    std::vector<int> seen(2 * linesPerThread, 0);
    int bad = 0;
    for (const std::string& message : messages)
    {
        char letter = message.empty() ? '?' : message[0];
        bool whole = (letter == 'a' || letter == 'b') && message.size() > 301 &&
                     message.compare(0, 300, std::string(300, letter)) == 0 && message[300] == ' ' &&
                     message.find_first_not_of("0123456789", 301) == std::string::npos;
        if (!whole)
            ++bad;
        else
            ++seen[(letter == 'a' ? 0 : linesPerThread) + std::stoi(message.substr(301)) % linesPerThread];
    }
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), 2 * linesPerThread);
}

namespace
{
// Traces again while holding the facility's lock, as a derived facility or a callback inside
// the writing path would.
class ReentrantDebug : public CDebug
{
public:
    using CDebug::CDebug;
    void PrintWhileLocked()
    {
        CRecursiveLockGuard guard(m_Lock);
        Print(1, "inside the lock");
        PrintAlways("always inside the lock");
    }
    void VPrint(const char* format, va_list args, const char* tag) override
    {
        CRecursiveLockGuard guard(m_Lock);
        CDebug::VPrint(format, args, tag);
        if (!m_Echoing)
        {
            m_Echoing = true;
            Print(1, "echo");
            m_Echoing = false;
        }
    }

private:
    bool m_Echoing = false;
};
} // namespace

TEST(CDebug, TracingAgainFromTheLockingThreadDoesNotDeadlock)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "1");
    ReentrantDebug debug("HostCapture");
    debug.PrintWhileLocked();
    // The lock is free again: another thread can trace.
    std::thread other([&debug] { debug.PrintAlways("from another thread"); });
    other.join();
    EXPECT_EQ(Messages(debug.GetLogFilePath()),
              (std::vector<std::string>{"inside the lock", "echo", "always inside the lock",
                                        "from another thread"}));
}

TEST(CDebug, CommandLineIsTracedWithTheApplicationName)
{
    TraceTestEnv env;
    env.UseLogDir();
    CDebug debug("HostCapture");
    char program[] = "HostCapture";
    char option[] = "-output";
    char file[] = "with space.html";
    char* argv[] = {program, option, file, nullptr};
    debug.SetCommandLine(3, argv);
    EXPECT_EQ(Messages(debug.GetLogFilePath()),
              (std::vector<std::string>{"HostCapture Command Line Options:", "argv[0] = \"HostCapture\"",
                                        "argv[1] = \"-output\"", "argv[2] = \"with space.html\""}));
}

TEST(CDebug, UnusableLogFileLeavesTheProgramRunning)
{
    TraceTestEnv env;
    env.Set("TM_LOG_DEBUG_LEVEL", "3");
    env.Set("TM_LOG_RINGBUF_DIR", (env.Root() + "/no/such/dir").c_str());
    {
        CDebug debug("HostCapture");
        EXPECT_FALSE(debug.HasLogFile());
        EXPECT_EQ(debug.GetTarget(), CDebug::TargetLogFile);
        debug.Print(1, "nowhere");
        debug.PrintAlways("nowhere either");
        debug.AppInitDone();
        EXPECT_FALSE(debug.InitRingBuffer((env.Root() + "/no/ring").c_str(), 4096));
    }
    // A log path that cannot be written (here a directory stands in its way).
    std::string logDir = env.UseLogDir();
    MakeDirs(logDir + "/log.hostcapture");
    CDebug debug("HostCapture");
    EXPECT_FALSE(debug.HasLogFile());
    debug.Print(1, "nowhere");

    CDebug unnamed("");
    EXPECT_EQ(unnamed.GetTarget(), CDebug::TargetNone);
    unnamed.PrintAlways("nothing configured");
    EXPECT_TRUE(unnamed.IsAvailable());
}
