// The page file among other users' files: links planted before the run or swapped in during it,
// files that are not root's, a predictable default name, a lock held by a reader, a long name.
#include "SecurityTest.h"

#include "SimProcess.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <sys/file.h>
#include <unistd.h>

namespace
{
class OutputFileTest : public SecurityTest
{
};
} // namespace

// A link at the output name, to one of root's files or to a name in root's folder that does not
// exist yet: neither is written or created; the run fails before it starts.
TEST_F(OutputFileTest, LinksPlantedAtTheOutputNameAreNotFollowed)
{
    const std::string created = m_Secret.Path() + "/created-by-root";
    for (const std::string& target : {m_Victim, created})
    {
        SCOPED_TRACE(target);
        const std::string name = m_Home.File("page.html");
        unlink(name.c_str());
        ASSERT_TRUE(AsNobody([&] { return symlink(target.c_str(), name.c_str()) == 0; }));
        const Result run = Run({"-output", name}, m_Home.Path());
        EXPECT_EQ(255, run.exitStatus);
        EXPECT_EQ(WriteFailure(name, ELOOP), run.output);
        EXPECT_EQ(kVictimText, ReadFile(m_Victim));
        EXPECT_NE(0, access(created.c_str(), F_OK)) << "nothing is created through a link";
    }
}

// The default name is predictable: links planted for every stamp of the coming minute do not make
// the run write through them; only a new file is taken.
TEST_F(OutputFileTest, TheDefaultNameIsOnlyEverANewFile)
{
    const time_t now = time(nullptr);
    ASSERT_TRUE(AsNobody(
        [&]
        {
            for (time_t stamp = now - 1; stamp < now + 60; ++stamp)
            {
                struct tm local = {};
                char text[32];
                strftime(text, sizeof text, "%Y%m%d%H%M%S", localtime_r(&stamp, &local));
                const std::string name = m_Home.File(std::string("HostCapture_") + text + ".html");
                if (symlink(m_Victim.c_str(), name.c_str()) != 0)
                    return false;
            }
            return true;
        }));
    const Result run = Run({}, m_Home.Path());
    EXPECT_EQ(255, run.exitStatus);
    EXPECT_EQ(0u, run.output.find("\n!! Failed to write HTML file \"HostCapture_")) << run.output;
    EXPECT_NE(std::string::npos, run.output.find(std::strerror(EEXIST))) << run.output;
    EXPECT_EQ(kVictimText, ReadFile(m_Victim));
}

// Only a regular file with one name that belongs to the user running the tool is written; the
// others fail at once (a FIFO without waiting for a reader) and keep what they hold.
TEST_F(OutputFileTest, FilesThatAreNotOwnRegularFilesAreRefused)
{
    const std::string othersFile = m_Home.File("others.html");
    const std::string secondName = m_Home.File("second-name.html");
    const std::string fifo = m_Home.File("fifo.html");
    ASSERT_TRUE(AsNobody(
        [&]
        {
            const int fd = open(othersFile.c_str(), O_WRONLY | O_CREAT, 0666);
            return mkfifo(fifo.c_str(), 0666) == 0 && fd >= 0 && write(fd, "nobody's\n", 9) == 9 &&
                   close(fd) == 0;
        }));
    ASSERT_EQ(0, link(m_Victim.c_str(), secondName.c_str()));

    const struct
    {
        std::string name;
        int error;
        std::string keeps; // the file's text afterwards, where it has one
    } cases[] = {
        {othersFile, EPERM, "nobody's\n"},
        {secondName, EMLINK, kVictimText},
        {fifo, EINVAL, ""},
        {"/dev/full", EINVAL, ""},
    };
    for (const auto& test : cases)
    {
        SCOPED_TRACE(test.name);
        const Result run = Run({"-output", test.name}, m_Home.Path());
        EXPECT_EQ(255, run.exitStatus);
        EXPECT_EQ(WriteFailure(test.name, test.error), run.output);
        if (!test.keeps.empty())
        {
            EXPECT_EQ(test.keeps, ReadFile(test.name));
        }
    }
}

// The page holds serial numbers and addresses: a new page file is its owner's alone, whatever
// name it gets.
TEST_F(OutputFileTest, NewPagesAreReadableByTheirOwnerOnly)
{
    const mode_t oldMask = umask(022);
    const Result named = Run({"-output", "named.html"}, m_Secret.Path());
    const Result byDefault = Run({}, m_Home.Path());
    umask(oldMask);
    ASSERT_EQ(0, named.exitStatus) << named.output;
    ASSERT_EQ(0, byDefault.exitStatus) << byDefault.output;
    EXPECT_EQ(0600u, ModeOf(m_Secret.Path() + "/named.html"));
    const size_t quote = byDefault.output.find("\"HostCapture_");
    ASSERT_NE(std::string::npos, quote) << byDefault.output;
    EXPECT_EQ(0600u, ModeOf(m_Home.File(byDefault.output.substr(quote + 1, 31))));
}

// A name of 300 bytes is used whole; the file named by its first 260 bytes is not touched.
TEST_F(OutputFileTest, LongNamesAreUsedWhole)
{
    const std::string folder(200, 'd');
    const std::string shortName = folder + "/" + std::string(59, 'p');
    const std::string longName = folder + "/" + std::string(99, 'p');
    ASSERT_EQ(260u, shortName.size());
    ASSERT_EQ(300u, longName.size());
    m_Secret.Write(shortName, "other page\n");

    const Result run = Run({"-output", longName}, m_Secret.Path());
    EXPECT_EQ(0, run.exitStatus) << run.output;
    EXPECT_EQ("other page\n", ReadFile(m_Secret.Path() + "/" + shortName));
    EXPECT_TRUE(IsCompletePage(ReadFile(m_Secret.Path() + "/" + longName)));
}

// Anyone who can read the old page can hold a shared lock on it. The run does not wait for that
// reader: it writes the page and ends.
TEST_F(OutputFileTest, ALockHeldByAReaderDoesNotStallTheRun)
{
    const std::string name = m_Home.File("page.html");
    {
        const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(9, write(fd, "old page\n", 9));
        close(fd);
    }
    NobodyHolder reader(
        [&]
        {
            const int fd = open(name.c_str(), O_RDONLY);
            return fd >= 0 && flock(fd, LOCK_SH) == 0; // kept until the holder ends
        });
    ASSERT_TRUE(reader.IsReady());
    const Result run = Run({"-output", name}, m_Home.Path());
    EXPECT_EQ(0, run.exitStatus) << "-2: the run waits for a lock that a reader holds\n" << run.output;
    EXPECT_TRUE(IsCompletePage(ReadFile(name)));
}

// While the run waits for the daemon, the other user moves the page file aside and puts a link
// to root's file in its place. The page still goes into the file the run opened, not through
// the link.
TEST_F(OutputFileTest, ALinkSwappedInDuringTheRunIsNotFollowed)
{
    TempDir root;
    SimProcess sim(root.Path());
    ASSERT_TRUE(sim.StartWithProfileText(R"({"answers": {"0x0300": {"DA": 2, "fault": {"stall": true}}}})"))
        << sim.Error();
    const std::string name = m_Home.File("page.html");
    const std::string movedAside = m_Home.File("page.moved");
    StartedProgram program(HOSTCAPTURE_EXECUTABLE, {"-output", name}, m_Home.Path(),
                           {{"HOSTCAPTURE_SYSROOT", root.Path()}});
    ASSERT_EQ("ok 1", sim.Control("wait-stalls 1 20000"));
    ASSERT_TRUE(AsNobody(
        [&] {
            return rename(name.c_str(), movedAside.c_str()) == 0 &&
                   symlink(m_Victim.c_str(), name.c_str()) == 0;
        }));
    ASSERT_TRUE(program.Signal(SIGTERM));
    ASSERT_TRUE(program.Wait(20000));
    EXPECT_EQ(128 + SIGTERM, program.ExitStatus()) << program.Output();
    EXPECT_EQ(kVictimText, ReadFile(m_Victim));
    EXPECT_TRUE(IsCompletePage(ReadFile(movedAside)));
}
