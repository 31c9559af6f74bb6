#include "CDebug.h"

#include "Clock.h"
#include "TraceTestEnv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <unistd.h>

TEST(CDebug, LevelFiltersLinesAndEachMessageBecomesOnePrefixedLine)
{
    TraceTestEnv env;
    std::string logDir = env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "4");
    CDebug debug("HostCapture");
    EXPECT_EQ(debug.GetTarget(), CDebug::TargetLogFile);
    EXPECT_STREQ(debug.GetLogFilePath(), (logDir + "/log.hostcapture").c_str());
    for (unsigned level = 1; level <= 5; ++level)
        debug.Print(level, "\n\nlevel %u", level);
    debug.Print(1, "kept once\n");
    debug.Print(1, "\n"); // only newlines: written as it is
    debug.Print(1, "%s|", std::string(2000, 'x').c_str());
    EXPECT_EQ(Messages(debug.GetLogFilePath()),
              (Lines{"level 1", "level 2", "level 3", "level 4", "kept once", "", std::string(1024, 'x')}));
}

TEST(CDebug, TheRingBufferDirectoryVariableDecidesWhereTheLogGoes)
{
    TraceTestEnv env;
    std::string fileDir = env.Root() + "/filedir";
    MakeDirs(fileDir);
    MakeDirs(env.Root() + "/var/log/plinthd");
    env.Set("TM_LOG_DEBUG_LEVEL", "1");
    env.Set("TM_LOG_FILE_DIR", fileDir.c_str());
    {
        CDebug debug("HostCapture");
        EXPECT_STREQ(debug.GetTraceDirectory(), (env.Root() + "/var/log/plinthd").c_str());
        EXPECT_TRUE(debug.HasLogFile());
    }
    env.WriteIni("hostcapture.ini", "[HostCapture]\nRingBufferDirectory= /from/ini\n[EndOfFile]\n");
    {
        CDebug debug("HostCapture");
        EXPECT_STREQ(debug.GetTraceDirectory(), "/from/ini");
    }
    std::string ringDir = env.UseLogDir();
    CDebug debug("HostCapture");
    debug.Print(1, "here");
    EXPECT_EQ(Messages(ringDir + "/log.hostcapture"), Lines{"here"});
    EXPECT_EQ(access((fileDir + "/log.hostcapture").c_str(), F_OK), -1);
}

TEST(CDebug, WithoutConfigurationTracingIsOffAndAnEmptyDirectoryIgnoresTheEnvironment)
{
    TraceTestEnv env;
    std::string defaultLog = env.Write("var/log/plinthd/log.hostcapture", "old content");
    {
        CDebug debug("HostCapture");
        EXPECT_EQ(debug.GetLevel(), 0u);
        EXPECT_EQ(debug.GetTarget(), CDebug::TargetNone);
        EXPECT_EQ(debug.GetLogFileMaxSize(), 20971520u);
        EXPECT_EQ(ReadFile(defaultLog), ""); // opened and truncated all the same
        debug.Print(1, "dropped");
        debug.PrintAlways(9, "always written");
        EXPECT_EQ(Messages(defaultLog), Lines{"always written"});
    }
    env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "4");
    env.WriteIni("notes.txt", "[HostCapture]\nFileDebugLevel=3\n[EndOfFile]\n");
    env.WriteIni(".#hostcapture.ini", "[HostCapture]\nFileDebugLevel=3\n[EndOfFile]\n");
    CDebug debug("HostCapture");
    EXPECT_EQ(debug.GetLevel(), 0u);
    EXPECT_STREQ(debug.GetTraceDirectory(), "");
    EXPECT_STREQ(debug.GetLogFilePath(), (env.Root() + "/log.hostcapture").c_str());
    EXPECT_TRUE(debug.HasLogFile());
}

TEST(CDebug, IniFilesAreTakenInNameOrderAndTheEnvironmentOverridesThem)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.WriteIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=0x3c\n[EndOfFile]\n");
    env.WriteIni("a_broken.ini", "[HostCapture]\nFileDebugLevel=1\n");
    env.WriteIni("b_other.ini", "[SomeDaemon]\nFileDebugLevel=5\n[EndOfFile]\n");
    env.WriteIni("c_capture.ini",
                 "[HOSTCAPTURE]\nFileDebugLevel=0x3\nRingBufferSizeFactor=010\n[EndOfFile]\n");
    env.WriteIni("d_capture.ini", "[HostCapture]\nFileDebugLevel=5\n[EndOfFile]\n");
    {
        CDebug debug("HostCapture");
        EXPECT_EQ(debug.GetLevel(), 3u);
        EXPECT_EQ(debug.GetDynamicUpdateInterval(), 60u);
        EXPECT_EQ(debug.GetRingBufferFactor(), 8u);
        EXPECT_EQ(debug.GetNoHeaderToStderr(), 1u);
    }
    env.Set("TM_LOG_DEBUG_LEVEL", "2");
    env.Set("TM_LOG_DYNAMIC_UPDATE", "0x10"); // base 10: only the "0" counts
    env.Set("TraceFileLimit", "11");
    env.Set("TM_LOG_NOHDR_TOSDTERR", "0");
    CDebug debug("HostCapture");
    EXPECT_EQ(debug.GetLevel(), 2u);
    EXPECT_EQ(debug.GetFileDebugLevel(), 3u);
    EXPECT_EQ(debug.GetDynamicUpdateInterval(), 0u);
    EXPECT_EQ(debug.GetRingBufferFactor(), 11u);
    EXPECT_EQ(debug.GetNoHeaderToStderr(), 0u);
}

TEST(CDebug, FullLogWrapsBackToTheEndOfStartUp)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "2");
    env.Set("TM_LOG_FILE_MAX_SIZE", "1500");
    CDebug debug("HostCapture");
    debug.Print(1, "start-up");
    debug.AppInitDone();
    std::string startUp = std::to_string(ReadFile(debug.GetLogFilePath()).size());
    for (int i = 10; i < 30; ++i)
        debug.Print(2, "line %d %s", i, std::string(50, '-').c_str());

    Lines messages = Messages(debug.GetLogFilePath());
    ASSERT_GE(messages.size(), 4u);
    EXPECT_EQ(messages[0], "start-up");
    EXPECT_EQ(messages[1], "------ WRAP ----- Cycle=1, CntInitEnd=" + startUp +
                               ", CurrentByteCnt=" + startUp + " (MaxCnt=1500)");
    // Newer lines follow the WRAP line; the older text behind them stays, so the file still ends
    // with the line that made it wrap.
    int firstAfterWrap = std::atoi(messages[2].c_str() + 5);
    for (int i = firstAfterWrap; i < 30; ++i)
        EXPECT_EQ(messages[2 + i - firstAfterWrap].substr(0, 7), "line " + std::to_string(i));
    EXPECT_EQ(messages.back().substr(0, 7), "line " + std::to_string(firstAfterWrap - 1));
    EXPECT_LE(ReadFile(debug.GetLogFilePath()).size(), 1700u);
}

TEST(CDebug, ChangedIniFilesAreReReadAfterTheIntervalOrWhenTheClockGoesBack)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.WriteIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=5\n[EndOfFile]\n");
    std::string app = env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=0\n[EndOfFile]\n");
    CFakeClock clock;
    CScopedClock useClock(clock);
    CDebug debug("HostCapture");
    ASSERT_EQ(debug.GetTarget(), CDebug::TargetNone);

    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=4\nMemoryTracesFlag=1\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(app, 10));
    clock.AdvanceMs(4000);
    debug.Print(3, "too early");
    EXPECT_EQ(debug.GetLevel(), 0u);
    clock.AdvanceMs(1000);
    debug.Print(3, "after the interval");
    EXPECT_EQ(debug.GetLevel(), 4u);
    EXPECT_EQ(debug.GetSavedLevel(), 4u);
    // Tracing that was off starts; the memory column shows the resident size in eight columns.
    std::string line = ReadFile(debug.GetLogFilePath());
    ASSERT_TRUE(StartsWithShape(line, "9999-99-99 99:99:99.999 [9999999999] ")) << line;
    EXPECT_EQ(line.substr(45), " KB !HostCapture   after the interval\n");
    EXPECT_GT(std::atoi(line.substr(37, 8).c_str()), 0);

    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=1\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(app, 20));
    {
        CFakeClock earlier(1600000000);
        CScopedClock useEarlier(earlier);
        debug.Print(5, "checks at once");
    }
    EXPECT_EQ(debug.GetLevel(), 1u);
}

// A re-read takes a level only from a whole file that names one: a broken, level-less or removed
// file leaves the level as it was, and a file that comes back counts as changed. A changed global
// file sets the interval for the checks that follow.
TEST(CDebug, ReReadsKeepTheLevelUnlessAWholeFileNamesANewOne)
{
    TraceTestEnv env;
    env.UseLogDir();
    const std::string global =
        env.WriteIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=5\n[EndOfFile]\n");
    const std::string app = env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=4\n[EndOfFile]\n");
    CFakeClock clock;
    CScopedClock useClock(clock);
    CDebug debug("HostCapture");
    ASSERT_EQ(debug.GetLevel(), 4u);

    struct Step
    {
        const char* Name;
        const char* AppText; // nullptr: the file is removed
        unsigned Level;
    };
    const Step steps[] = {
        {"no EndOfFile marker", "[HostCapture]\nFileDebugLevel=1\n", 4},
        {"no level", "[HostCapture]\nTraceFlags=1\n[EndOfFile]\n", 4},
        {"other section", "[Other]\nFileDebugLevel=1\n[EndOfFile]\n", 4},
        {"removed", nullptr, 4},
        {"back again", "[HostCapture]\nFileDebugLevel=2\n[EndOfFile]\n", 2},
        {"zero", "[HostCapture]\nFileDebugLevel=0\n[EndOfFile]\n", 0},
    };
    int shift = 0;
    for (const Step& step : steps)
    {
        SCOPED_TRACE(step.Name);
        if (step.AppText == nullptr)
            ASSERT_EQ(unlink(app.c_str()), 0);
        else
        {
            env.WriteIni("hostcapture.ini", step.AppText);
            ASSERT_TRUE(ShiftMtime(app, shift += 10));
        }
        clock.AdvanceMs(5000);
        debug.Print(5, "check");
        EXPECT_EQ(debug.GetLevel(), step.Level);
    }

    env.WriteIni("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=60\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(global, 10));
    clock.AdvanceMs(5000);
    debug.Print(5, "check");
    EXPECT_EQ(debug.GetDynamicUpdateInterval(), 60u);
    env.WriteIni("hostcapture.ini", "[HostCapture]\nFileDebugLevel=3\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(app, shift += 10));
    clock.AdvanceMs(59000);
    debug.Print(5, "check");
    EXPECT_EQ(debug.GetLevel(), 0u) << "the new interval has not passed";
    clock.AdvanceMs(1000);
    debug.Print(5, "check");
    EXPECT_EQ(debug.GetLevel(), 3u);
}

TEST(CDebug, ConcurrentThreadsNeverMixOrLoseTheirLines)
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

    // A shared line buffer without the lock mixes lines, or writes some twice and loses others.
    std::vector<int> seen(2 * linesPerThread, 0);
    int bad = 0;
    for (const std::string& message : Messages(debug.GetLogFilePath()))
    {
        char letter = message.empty() ? '?' : message[0];
        if ((letter == 'a' || letter == 'b') && message.size() > 301 &&
            message.compare(0, 301, std::string(300, letter) + " ") == 0)
            ++seen[(letter == 'a' ? 0 : linesPerThread) + std::atoi(message.c_str() + 301) % linesPerThread];
        else
            ++bad;
    }
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), 2 * linesPerThread);
}

namespace
{
// Traces while holding the facility's lock, as a derived facility would.
struct LockHoldingDebug : CDebug
{
    using CDebug::CDebug;
    void PrintWhileLocked()
    {
        CRecursiveLockGuard guard(m_Lock);
        Print(1, "inside the lock");
        PrintAlways("again inside");
    }
};
} // namespace

TEST(CDebug, TracingAgainFromTheLockingThreadDoesNotDeadlock)
{
    TraceTestEnv env;
    env.UseLogDir();
    env.Set("TM_LOG_DEBUG_LEVEL", "1");
    LockHoldingDebug debug("HostCapture");
    debug.PrintWhileLocked();
    std::thread other([&debug] { debug.PrintAlways("from another thread"); }); // the lock is free again
    other.join();
    EXPECT_EQ(Messages(debug.GetLogFilePath()),
              (Lines{"inside the lock", "again inside", "from another thread"}));
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
        debug.AppInitDone();
        EXPECT_FALSE(debug.InitRingBuffer((env.Root() + "/no/ring").c_str(), 4096));
    }
    // A log file that cannot be opened for writing (a directory stands in its way; a read-only
    // file would not stop root).
    MakeDirs(env.UseLogDir() + "/log.hostcapture");
    CDebug debug("HostCapture");
    EXPECT_FALSE(debug.HasLogFile());
    debug.PrintAlways("nowhere");
}
