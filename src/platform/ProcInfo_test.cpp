#include "ProcInfo.h"

#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <sys/prctl.h>
#include <unistd.h>

TEST(ProcInfo, FindsItselfByTheWholeCommandName)
{
    // A name of its own, so that the search cannot stop at another copy of this test binary.
    char oldName[17] = {};
    prctl(PR_GET_NAME, oldName, 0, 0, 0);
    std::string name = "hcp" + std::to_string(getpid());
    prctl(PR_SET_NAME, name.c_str(), 0, 0, 0);
    pid_t found = 0;
    EXPECT_TRUE(FindProcessByName(name, found));
    EXPECT_EQ(found, getpid());
    EXPECT_FALSE(FindProcessByName(name.substr(0, name.size() - 1), found));
    EXPECT_FALSE(FindProcessByName(name + "x", found));
    prctl(PR_SET_NAME, oldName, 0, 0, 0);
    std::string line;
    EXPECT_TRUE(ReadProcessFileLine(getpid(), "comm", line));
    EXPECT_EQ(line, oldName);
    EXPECT_FALSE(ReadProcessFileLine(getpid(), "no-such-file", line));
}

TEST(ProcInfo, StatusValuesAreScaledToBytesThenShifted)
{
    auto parse = [](const char* label, unsigned shift)
    {
        std::istringstream in(
            "Name:\tx\nVmPeak:\t  3 MB\nVmRSS:\t    2048 kB\nBig:\t2 GB\nThreads:\t5 pages\n");
        return ParseProcessStatusValue(in, label, shift);
    };
    EXPECT_EQ(parse("VmRSS:", 0), 2097152u);
    EXPECT_EQ(parse("VmRSS:", 1), 2048u);
    EXPECT_EQ(parse("Big:", 2), 2048u);
    EXPECT_EQ(parse("Threads:", 0), 5u); // unknown unit: unscaled
    EXPECT_EQ(parse("VmRSS", 0), 0u);    // the label includes its colon
}

TEST(ProcInfo, ReadsMemoryAndExecutableOfTheLiveProcess)
{
    unsigned long long residentKb = 0, size, peak, swap, libraries, resident;
    EXPECT_GT(GetProcessStatusValue(getpid(), residentKb, "VmRSS:", 1), 0u);
    ASSERT_TRUE(GetProcessMemoryUsage(getpid(), size, peak, swap, libraries, resident));
    EXPECT_EQ(resident % 1024, 0u); // kilobytes turned into bytes
    EXPECT_GE(peak, size);
    EXPECT_FALSE(GetProcessMemoryUsage(-1, size, peak, swap, libraries, resident));

    char expected[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", expected, sizeof(expected) - 1);
    ASSERT_GT(length, 0);
    std::string path;
    ASSERT_TRUE(GetProcessExecutablePath(getpid(), path));
    EXPECT_EQ(path, std::string(expected, static_cast<size_t>(length)));
    EXPECT_FALSE(GetProcessExecutablePath(-1, path));
}
