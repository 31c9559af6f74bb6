#include "CDebug.h"

#include "TraceTestEnv.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
const std::string kTrailer = "## TRACE-END ##\n";

// A trace object with tracing on and its log file under a private root.
class RingBufferTest : public ::testing::Test
{
protected:
    RingBufferTest()
    {
        m_Env.UseLogDir();
        m_Env.Set("TM_LOG_DEBUG_LEVEL", "3");
        m_Env.Set("TM_VENDOR", "acme");
        m_Env.Set("AgentShut", "7");
    }
    std::string RingPath() const { return m_Env.Root() + "/ring.buf"; }
    std::string Ring() const { return ReadFile(RingPath()); }

    TraceTestEnv m_Env;
};

// The text of the newest line: what stands between the previous newline and the trailer.
std::string NewestLine(const std::string& ring)
{
    size_t trailer = ring.find(kTrailer);
    if (trailer == std::string::npos || trailer == 0)
        return "<no trailer>";
    size_t start = ring.rfind('\n', trailer - 2);
    return MessageOf(ring.substr(start + 1, trailer - start - 2));
}
} // namespace

TEST_F(RingBufferTest, StartsWithHeaderThenInitialisationMarkOnAFreshKilobyte)
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
    EXPECT_EQ(ring.rfind("\nHostCapture Command Line Options:\nargv[0] = \"HostCapture\"\n"
                         "argv[1] = \"-autostart\"\nTessmark Environment:\nLD_LIBRARY_PATH=",
                         0),
              0u);
    for (const char* part : {"\nTM_VENDOR=acme\n", "\nTM_RAID_EXISTS=NotSet\n",
                             "\nKBA_SYSLOG_FIFO=NotSet\nTM_LOG_RINGBUF_WEIGHT_HOSTCAPTURE=NotSet\nTessmark "
                             "Configuration File:\nAgentPermission=NotSet\nAgentShut=7\n",
                             "\nInvAgtPollNetUtilization=NotSet\nDebug values from ini file :\n",
                             "\nTrace Target               : 2\n", "\nTrace Level                : 3\n",
                             "\nRing Buffer Size           : 16384\n"})
        EXPECT_NE(ring.find(part), std::string::npos) << part;
    EXPECT_NE(ring.find("\nRing Buffer Path           : " + RingPath() + "\n"), std::string::npos);

    size_t headerEnd = ring.find("\n# End of header.");
    ASSERT_NE(headerEnd, std::string::npos);
    size_t lineStart = (headerEnd + std::string("\n# End of header.").size() + 2048) / 1024 * 1024;
    size_t lineEnd = ring.find('\n', lineStart);
    EXPECT_EQ(MessageOf(ring.substr(lineStart, lineEnd - lineStart)), "### Start of initialization. ###");
    EXPECT_EQ(ring.substr(lineEnd + 1, kTrailer.size()), kTrailer);
    // The rest is still the pre-fill: whole kilobyte lines of "_".
    EXPECT_EQ(ring.substr(ring.size() - 24), std::string(23, '_') + "\n");
    // The command line went to the log file as well.
    EXPECT_NE(ReadFile(debug.GetLogFilePath()).find("argv[1] = \"-autostart\"\n"), std::string::npos);
}

TEST_F(RingBufferTest, TrailerAlwaysFollowsTheNewestLine)
{
    CDebug debug("HostCapture");
    ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 16 * 1024));
    debug.Print(1, "\nfirst");
    debug.Print(4, "above the level");
    debug.Print(2, "second");
    std::string ring = Ring();
    EXPECT_EQ(CountOf(ring, kTrailer), 1u);
    EXPECT_EQ(NewestLine(ring), "second");
    EXPECT_NE(ring.find("first\n"), std::string::npos);
    EXPECT_EQ(ring.find("above the level"), std::string::npos);
    // Print goes to the ring buffer only; PrintAlways to both.
    EXPECT_EQ(ReadFile(debug.GetLogFilePath()).find("second"), std::string::npos);
    debug.PrintAlways("to both");
    EXPECT_EQ(NewestLine(Ring()), "to both");
    EXPECT_NE(ReadFile(debug.GetLogFilePath()).find("to both\n"), std::string::npos);
}

TEST_F(RingBufferTest, FullBufferIsDottedOutAndStartsAgainBehindTheHeader)
{
    CDebug debug("HostCapture");
    ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 16 * 1024));
    int line = 0;
    while (debug.GetRingBufferWrapCount() == 0 && line < 1000)
        debug.Print(2, "ring line %04d", line++);
    ASSERT_EQ(debug.GetRingBufferWrapCount(), 1u);
    int lastBeforeWrap = line - 2;
    for (int i = 0; i < 3; ++i)
        debug.Print(2, "ring line %04d", line++);

    std::string ring = Ring();
    EXPECT_EQ(ring.rfind("\nTessmark Environment:", 0), 0u);
    EXPECT_EQ(CountOf(ring, kTrailer), 1u);
    char text[32];
    std::snprintf(text, sizeof(text), "ring line %04d", line - 1);
    EXPECT_EQ(NewestLine(ring), text);
    // The lines after the wrap went to the first line position behind the header.
    EXPECT_EQ(ring.find("### Start of initialization. ###"), std::string::npos);
    EXPECT_EQ(ring.find("ring line 0000\n"), std::string::npos);
    // What did not fit at the end was filled with dots; the lines before it remain.
    EXPECT_EQ(ring.back(), '.');
    std::snprintf(text, sizeof(text), "ring line %04d\n.", lastBeforeWrap);
    EXPECT_NE(ring.find(text), std::string::npos);
}

TEST_F(RingBufferTest, WrapKeepsTheStartUpPartOfALargeBuffer)
{
    CDebug debug("HostCapture");
    const size_t size = 0x100000 + 64 * 1024;
    ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), size));
    debug.Print(1, "start-up detail");
    debug.AppInitDone();
    std::string payload(1000, 'p');
    while (debug.GetRingBufferWrapCount() == 0)
        debug.Print(2, "%s", payload.c_str());
    debug.Print(2, "after the wrap");

    std::string ring = Ring();
    ASSERT_EQ(ring.size(), size);
    EXPECT_NE(ring.find("### Start of initialization. ###\n"), std::string::npos);
    EXPECT_NE(ring.find("start-up detail\n"), std::string::npos);
    std::string endMark = "### End of initialization. ###\n";
    size_t end = ring.find(endMark);
    ASSERT_NE(end, std::string::npos);
    // The first lines after the wrap sit right behind the end-of-initialisation line.
    size_t next = ring.find('\n', end + endMark.size());
    EXPECT_NE(MessageOf(ring.substr(end + endMark.size(), next - end - endMark.size())), "<no prefix>");
    EXPECT_EQ(NewestLine(ring), "after the wrap");
    EXPECT_NE(ring.find("\nApplication Init Done      : 1\n"), std::string::npos);
}

TEST_F(RingBufferTest, LongMessagesAreKeptWholeOnlyWhenSmallAgainstTheBuffer)
{
    std::string longText(3000, 'L');
    {
        CDebug debug("HostCapture");
        ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 64 * 1024));
        debug.PrintAlways("%s|", longText.c_str());
        EXPECT_EQ(NewestLine(Ring()), longText + "|");
        // The log file keeps its 1024-character limit.
        EXPECT_NE(ReadFile(debug.GetLogFilePath()).find(std::string(1024, 'L') + "\n"), std::string::npos);
    }
    CDebug debug("HostCapture");
    ASSERT_TRUE(debug.InitRingBuffer(RingPath().c_str(), 16 * 1024));
    debug.Print(1, "%s|", longText.c_str());
    std::string ring = Ring();
    EXPECT_NE(ring.find(std::string(1024, 'L') + "\n## WARNING: TRACE-SIZE TOO BIG: Output Truncated!\n" +
                        kTrailer),
              std::string::npos);
    EXPECT_EQ(ring.find(std::string(1025, 'L')), std::string::npos);
    // A message longer than the whole buffer is cut to what fits, without overflow.
    CDebug small("HostCapture");
    ASSERT_TRUE(small.InitRingBuffer(RingPath().c_str(), 5 * 1024));
    small.Print(1, "%s", std::string(1024, 'S').c_str());
    small.Print(1, "%s", longText.c_str());
    EXPECT_EQ(Ring().size(), 5u * 1024u);
}

TEST_F(RingBufferTest, FailuresAreNotedInTheLogFileAndLeaveTheTargetAlone)
{
    CDebug debug("HostCapture");
    std::string missing = m_Env.Root() + "/no/such/dir/ring";
    EXPECT_FALSE(debug.InitRingBuffer(missing.c_str(), 4096));
    EXPECT_FALSE(debug.InitRingBuffer(RingPath().c_str(), 0)); // nothing to map
    EXPECT_FALSE(debug.InitRingBuffer("/dev/full", 4096));     // every write fails
    EXPECT_EQ(debug.GetTarget(), CDebug::TargetLogFile);
    debug.Print(1, "still tracing");

    std::vector<std::string> messages;
    for (const std::string& line : ReadLines(debug.GetLogFilePath()))
        messages.push_back(MessageOf(line));
    EXPECT_EQ(
        messages,
        (std::vector<std::string>{
            "### InitRingBuffer(): open of " + missing + " failed (errno=2; No such file or directory) ###",
            "### InitRingBuffer(): mmap of " + RingPath() + " failed (errno=22; Invalid argument) ###",
            "### InitRingBuffer(): (2) write m_InternalDebugBuffer to /dev/full failed ###",
            "still tracing"}));
}
