#include "CDebug.h"

#include "TraceTestEnv.h"

#include <gtest/gtest.h>

namespace
{
const std::string kTrailer = "## TRACE-END ##\n";

class RingBufferTest : public ::testing::Test
{
protected:
    RingBufferTest()
    {
        m_Env.UseLogDir();
        m_Env.Set("TM_LOG_DEBUG_LEVEL", "3");
        m_Env.Set("AgentShut", "7");
    }
    std::string RingPath() const { return m_Env.Root() + "/ring.buf"; }
    std::string Ring() const { return ReadFile(RingPath()); }

    TraceTestEnv m_Env;
};

// The newest line: what stands between the previous newline and the only trailer.
std::string NewestLine(const std::string& ring)
{
    size_t trailer = ring.find(kTrailer);
    if (trailer == std::string::npos || trailer < 2 || ring.find(kTrailer, trailer + 1) != std::string::npos)
        return "<not one trailer>";
    size_t start = ring.rfind('\n', trailer - 2);
    return MessageOf(ring.substr(start + 1, trailer - start - 2));
}
} // namespace

TEST_F(RingBufferTest, HeaderThenLinesOnAFreshKilobyteWithTheTrailerBehindTheNewest)
{
    CDebug debug("HostCapture");
    char program[] = "HostCapture";
    char option[] = "-autostart";
    char* argv[] = {program, option, nullptr};
    debug.SetCommandLine(2, argv);
    ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 16 * 1024));
    EXPECT_EQ(debug.GetTarget(), CDebug::TargetRingBuffer);
    std::string ring = Ring();
    ASSERT_EQ(ring.size(), 16u * 1024u);
    EXPECT_EQ(ring.rfind(
                  "\nHostCapture Command Line Options:\nargv[0] = \"HostCapture\"\nargv[1] = \"-autostart\"\n"
                  "Tessmark Environment:\nLD_LIBRARY_PATH=",
                  0),
              0u);
    for (const char* part : {"\nTM_LOG_RINGBUF_WEIGHT_HOSTCAPTURE=NotSet\nTessmark Configuration File:\n"
                             "AgentPermission=NotSet\nAgentShut=7\n",
                             "\nTrace Target               : 2\n", "\nRing Buffer Size           : 16384\n"})
        EXPECT_NE(ring.find(part), std::string::npos) << part;
    size_t headerEnd = ring.find("\n# End of header.") + 17;
    EXPECT_EQ(MessageOf(ring.substr((headerEnd + 2048) / 1024 * 1024, 83)),
              "### Start of initialization. ###");
    EXPECT_EQ(NewestLine(ring), "### Start of initialization. ###");
    EXPECT_EQ(ring.substr(ring.size() - 8), "_______\n"); // the rest is still pre-filled

    debug.Print(2, "\nsecond");
    debug.Print(4, "above the level");
    EXPECT_EQ(NewestLine(Ring()), "second");
    debug.PrintAlways("to both");
    EXPECT_EQ(NewestLine(Ring()), "to both");
    EXPECT_EQ(Messages(debug.GetLogFilePath()),
              (Lines{"HostCapture Command Line Options:", "argv[0] = \"HostCapture\"",
                     "argv[1] = \"-autostart\"", "to both"}));
}

TEST_F(RingBufferTest, FullBufferIsDottedOutAndGoesOnBehindTheStartUpPart)
{
    CDebug debug("HostCapture");
    ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 0x100000 + 64 * 1024));
    debug.Print(1, "start-up detail");
    debug.AppInitDone();
    int line = 100000;
    while (debug.GetRingBufferWrapCount() == 0)
        debug.Print(2, "%d %s", line++, std::string(1000, 'p').c_str());
    std::string lastBeforeWrap = std::to_string(line - 2) + " " + std::string(1000, 'p') + "\n";
    std::string firstAfterWrap = std::to_string(line - 1) + " " + std::string(1000, 'p');
    debug.Print(2, "after the wrap");

    std::string ring = Ring();
    EXPECT_EQ(ring.rfind("\nTessmark Environment:", 0), 0u); // header written again
    EXPECT_NE(ring.find("\nApplication Init Done      : 1\n"), std::string::npos);
    EXPECT_NE(ring.find("start-up detail\n"), std::string::npos);
    std::string endMark = "### End of initialization. ###\n";
    size_t behindMark = ring.find(endMark) + endMark.size();
    EXPECT_EQ(MessageOf(ring.substr(behindMark, sizeof(kPrefixShape) - 1 + firstAfterWrap.size())),
              firstAfterWrap);
    EXPECT_EQ(NewestLine(ring), "after the wrap");
    // What did not fit at the end was filled with dots.
    size_t dots = ring.find(lastBeforeWrap) + lastBeforeWrap.size();
    ASSERT_LT(dots, ring.size());
    EXPECT_EQ(ring.find_first_not_of('.', dots), std::string::npos);
}

TEST_F(RingBufferTest, LongMessagesAreKeptWholeOnlyWhenSmallAgainstTheBuffer)
{
    std::string longText(3000, 'L');
    {
        CDebug debug("HostCapture");
        ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 64 * 1024));
        debug.Print(1, "%s|", longText.c_str());
        EXPECT_EQ(NewestLine(Ring()), longText + "|");
    }
    CDebug debug("HostCapture");
    ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 16 * 1024));
    debug.Print(1, "%s|", longText.c_str());
    EXPECT_NE(Ring().find(std::string(1024, 'L') + "\n## WARNING: TRACE-SIZE TOO BIG: Output Truncated!\n" +
                          kTrailer),
              std::string::npos);
    // A buffer hardly larger than its header: lines are cut to what fits, never beyond the end.
    ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 5 * 1024));
    debug.Print(1, "%s", std::string(1024, 'S').c_str());
    EXPECT_EQ(Ring().size(), 5u * 1024u);
}

TEST_F(RingBufferTest, FailuresAreNotedInTheLogFileAndLeaveTheTargetAlone)
{
    CDebug debug("HostCapture");
    std::string missing = m_Env.Root() + "/no/such/dir/ring";
    EXPECT_FALSE(debug.InitRingBuffer(missing.c_str(), 4096));
    EXPECT_FALSE(debug.InitRingBuffer(RingPath().c_str(), 0)); // nothing to map
    EXPECT_FALSE(debug.InitRingBuffer("/dev/full", 4096));     // a device is no ring buffer
    EXPECT_EQ(debug.GetTarget(), CDebug::TargetLogFile);
    debug.Print(1, "still tracing");
    EXPECT_EQ(
        Messages(debug.GetLogFilePath()),
        (Lines{"### InitRingBuffer(): open of " + missing +
                   " failed (errno=2; No such file or directory) ###",
               "### InitRingBuffer(): mmap of " + RingPath() + " failed (errno=22; Invalid argument) ###",
               "### InitRingBuffer(): open of /dev/full failed (errno=22; Invalid argument) ###",
               "still tracing"}));
}
