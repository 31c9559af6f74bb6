// The trace lines a user reads when attaching fails (retries, time-out, the missing JSON socket),
// compared with testdata/golden/attach-trace.txt. The waits run on the fake clock.
#include "CDebug.h"
#include "CSwitchClient.h"
#include "ClientTestSupport.h"
#include "GoldenFile.h"
#include "JsonTransport.h"
#include "TraceCapture.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>

namespace
{
// Folds a block of up to eight lines that repeats at least three times in a row into one copy
// and a count, so that 600 attempts read as one.
std::string FoldRepeats(const Lines& lines)
{
    std::string text;
    size_t i = 0;
    while (i < lines.size())
    {
        size_t period = 0;
        size_t repeats = 0;
        for (size_t p = 1; p <= 8 && period == 0; ++p)
        {
            size_t r = 1;
            while (i + (r + 1) * p <= lines.size() &&
                   std::equal(lines.begin() + i, lines.begin() + i + p, lines.begin() + i + r * p))
                ++r;
            if (r >= 3)
            {
                period = p;
                repeats = r;
            }
        }
        if (period == 0)
        {
            text += lines[i++] + "\n";
            continue;
        }
        for (size_t k = 0; k < period; ++k)
            text += lines[i + k] + "\n";
        text += (period == 1 ? "(the line above" : "(the " + std::to_string(period) + " lines above") +
                std::string(" ") + std::to_string(repeats) + " times in a row)\n";
        i += period * repeats;
    }
    return text;
}

} // namespace

TEST(GoldenAttachTrace, RetryAndTimeoutLinesMatchTheCheckedInTrace)
{
    TempDir root;
    ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
    CFakeClock clock;
    Lines messages;
    {
        // Level 3: errors, warnings and retries, in a log file of the test's own.
        TraceCapture trace(root.Path() + "/logs", "3");
        CScopedClock scoped(clock);
        CSwitchClient client;
        EXPECT_FALSE(client.Attach(nullptr)); // no front-end
        root.Write("opt/TessmarkQDX/bin/tmqdx", "#!/bin/sh\n");
        EXPECT_FALSE(client.Attach(nullptr)); // installed, not running
        root.Write("var/run/tmqdx.pid", "4242\n");
        EXPECT_FALSE(client.Attach(nullptr)); // running, its socket never comes
        int native = clienttest::Listen(root.File("opt/TessmarkQDX/vital/qmxds"));
        ASSERT_GE(native, 0);
        EXPECT_FALSE(client.Attach(nullptr)); // ready, but no JSON socket
        close(native);
        messages = trace.All();
    }
    static const std::regex threadId("thrId=0x[0-9A-F]{8}");
    for (std::string& message : messages)
    {
        for (size_t at = message.find(root.Path()); at != std::string::npos; at = message.find(root.Path()))
            message.replace(at, root.Path().size(), "<root>");
        message = std::regex_replace(message, threadId, "thrId=0x????????");
    }
    EXPECT_EQ(CompareWithGolden(FoldRepeats(messages), "attach-trace.txt"), "");
    EXPECT_EQ(clock.ElapsedMs(), 1000u + 600000u + 1000u);
}
