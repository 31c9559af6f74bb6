// The trace log and the event-message catalogue in folders that another user may write: links
// are not followed, the log is its owner's alone, and a FIFO in the catalogue's place does not
// hold the run.
#include "SecurityTest.h"

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
class TraceLogTest : public SecurityTest
{
protected:
    // A log folder of root's that only root writes.
    std::string RootLogFolder()
    {
        const std::string folder = m_Logs.Path() + "/logs";
        MakeDirs(folder);
        chmod(folder.c_str(), 0755);
        return folder;
    }
    TempDir m_Logs;
};
} // namespace

// The log is opened before anything else, even for the help. A link at its name is not
// followed: not in a folder of another user's (which is not used at all), nor in root's own.
TEST_F(TraceLogTest, LinksAtTheLogAreNotFollowedEvenForTheHelp)
{
    const std::string rootFolder = RootLogFolder();
    const struct
    {
        std::string folder;
        bool byNobody;
        std::string concern;
    } cases[] = {
        {m_Home.Path(), true, "not used (owned by uid 65534)"},
        {rootFolder, false, "not used (the log is a symbolic link)"},
    };
    for (const auto& test : cases)
    {
        SCOPED_TRACE(test.folder);
        const std::string log = test.folder + "/log.hostcapture";
        auto plant = [&] { return symlink(m_Victim.c_str(), log.c_str()) == 0; };
        ASSERT_TRUE(test.byNobody ? AsNobody(plant) : plant());
        const Result run = Run({"-?"}, m_Secret.Path(), {{"TM_LOG_RINGBUF_DIR", test.folder}});
        EXPECT_EQ(0, run.exitStatus);
        EXPECT_EQ(kVictimText, ReadFile(m_Victim));
        EXPECT_NE(std::string::npos, run.errors.find(test.concern)) << run.errors;
        EXPECT_NE(std::string::npos, run.errors.find("tracing goes on without a log file")) << run.errors;
    }
}

// A folder that others may write is not used by root even when the log in it would be a fresh
// file; a new log is readable by its owner only, as a detailed trace holds every daemon reply.
TEST_F(TraceLogTest, RootLogsOnlyIntoItsOwnFoldersAndForItselfAlone)
{
    const std::string shared = m_Logs.Path() + "/shared";
    MakeDirs(shared);
    ASSERT_EQ(0, chmod(shared.c_str(), 01777));
    const std::string own = RootLogFolder();
    const mode_t oldMask = umask(022);
    const Result inShared =
        Run({"-?"}, m_Secret.Path(), {{"TM_LOG_RINGBUF_DIR", shared}, {"TM_LOG_DEBUG_LEVEL", "2"}});
    const Result inOwn =
        Run({"-?"}, m_Secret.Path(), {{"TM_LOG_RINGBUF_DIR", own}, {"TM_LOG_DEBUG_LEVEL", "2"}});
    umask(oldMask);

    EXPECT_NE(0, access((shared + "/log.hostcapture").c_str(), F_OK));
    EXPECT_NE(std::string::npos, inShared.errors.find("not used (writable by other users)"))
        << inShared.errors;
    EXPECT_EQ("", inOwn.errors);
    EXPECT_EQ(0600u, ModeOf(own + "/log.hostcapture"));
    EXPECT_NE(std::string::npos, ReadFile(own + "/log.hostcapture").find("command line args"));
}

// The catalogue is first looked for in the current folder. A FIFO there would block an open
// for reading until someone writes into it; the run neither waits for that nor needs a signal.
TEST_F(TraceLogTest, AFifoInPlaceOfTheCatalogueDoesNotHoldTheRun)
{
    const std::string fifo = m_Home.File("ERRMSG.XML");
    ASSERT_TRUE(AsNobody([&] { return mkfifo(fifo.c_str(), 0666) == 0; }));
    const std::string page = m_Secret.Path() + "/page.html";
    StartedProgram program(HOSTCAPTURE_EXECUTABLE, {"-output", page}, m_Home.Path(),
                           {{"HOSTCAPTURE_SYSROOT", m_Sysroot.Path()}});
    if (!program.Wait(20000))
    {
        program.Signal(SIGTERM);
        FAIL() << "the run is held by the FIFO"
               << (program.Wait(1000) ? "" : ", and SIGTERM does not end it");
    }
    EXPECT_EQ(0, program.ExitStatus()) << program.Output();
    EXPECT_TRUE(IsCompletePage(ReadFile(page)));
}
