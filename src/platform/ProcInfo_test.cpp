#include "ProcInfo.h"

#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace
{
// Gives the test process a name of its own while it lives, so that a search by name cannot
// stop at another process (such as a second copy of this test binary).
class ScopedProcessName
{
public:
    explicit ScopedProcessName(const std::string& name)
    {
        prctl(PR_GET_NAME, m_Old, 0, 0, 0);
        prctl(PR_SET_NAME, name.c_str(), 0, 0, 0);
    }
    ~ScopedProcessName() { prctl(PR_SET_NAME, m_Old, 0, 0, 0); }

private:
    char m_Old[17] = {};
};
} // namespace

TEST(ProcInfo, FindsItselfByTheWholeCommandName)
{
    std::string name = "hcp" + std::to_string(getpid());
    ScopedProcessName rename(name);
    std::string comm;
    ASSERT_TRUE(ReadProcessFileLine(getpid(), "comm", comm));
    ASSERT_EQ(comm, name);

    pid_t found = 0;
    ASSERT_TRUE(FindProcessByName(name, found));
    EXPECT_EQ(found, getpid());
    // Shorter and longer names do not match.
    EXPECT_FALSE(FindProcessByName(name.substr(0, name.size() - 1), found));
    EXPECT_FALSE(FindProcessByName(name + "x", found));
    EXPECT_FALSE(FindProcessByName("", found));
}

TEST(ProcInfo, ReadsFirstLinesOfProcessFiles)
{
    std::string line;
    ASSERT_TRUE(ReadProcessFileLine(getpid(), "status", line));
    EXPECT_EQ(line.rfind("Name:", 0), 0u);
    EXPECT_FALSE(ReadProcessFileLine(getpid(), "no-such-file", line));
    EXPECT_FALSE(ReadProcessFileLine(0, "comm", line));
}

TEST(ProcInfo, StatusValuesAreScaledToBytesThenShifted)
{
    const std::string status = "Name:\tx\nVmPeak:\t  3 MB\nVmRSS:\t    2048 kB\nVmHWM:\t2048 kB\n"
                               "Big:\t2 GB\nCount:\t77\nThreads:\t5 pages\n";
    auto parse = [&status](const char* label, unsigned shift)
    {
        std::istringstream in(status);
        return ParseProcessStatusValue(in, label, shift);
    };
    EXPECT_EQ(parse("VmRSS:", 0), 2097152u);
    EXPECT_EQ(parse("VmRSS:", 1), 2048u);
    EXPECT_EQ(parse("VmRSS:", 2), 2u);
    EXPECT_EQ(parse("VmPeak:", 0), 3u * 1048576u);
    EXPECT_EQ(parse("Big:", 2), 2048u);
    EXPECT_EQ(parse("Count:", 0), 77u);
    EXPECT_EQ(parse("Threads:", 0), 5u); // unknown unit: unscaled
    EXPECT_EQ(parse("VmRSS", 0), 0u);    // the label must include its colon
    EXPECT_EQ(parse("VmSwap:", 0), 0u);
}

TEST(ProcInfo, ReadsTheMemoryOfTheLiveProcess)
{
    unsigned long long residentKb = 99;
    EXPECT_GT(GetProcessStatusValue(getpid(), residentKb, "VmRSS:", 1), 0u);
    EXPECT_GT(residentKb, 0u);
    unsigned long long missing = 99;
    EXPECT_EQ(GetProcessStatusValue(getpid(), missing, "NoSuchLabel:", 0), 0u);
    EXPECT_EQ(missing, 0u);
    EXPECT_EQ(GetProcessStatusValue(-1, missing, "VmRSS:", 0), 0u);

    unsigned long long size, peak, swap, libraries, resident;
    ASSERT_TRUE(GetProcessMemoryUsage(getpid(), size, peak, swap, libraries, resident));
    EXPECT_GE(peak, size);
    EXPECT_GT(resident, 0u);
    EXPECT_EQ(resident % 1024, 0u); // kilobytes turned into bytes
    EXPECT_FALSE(GetProcessMemoryUsage(-1, size, peak, swap, libraries, resident));
    EXPECT_EQ(size + peak + swap + libraries + resident, 0u);
}

TEST(ProcInfo, ExecutablePathIsTheTargetOfTheExeLink)
{
    char expected[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", expected, sizeof(expected) - 1);
    ASSERT_GT(length, 0);
    std::string path;
    ASSERT_TRUE(GetProcessExecutablePath(getpid(), path));
    EXPECT_EQ(path, std::string(expected, static_cast<size_t>(length)));
    EXPECT_FALSE(GetProcessExecutablePath(-1, path));
}
