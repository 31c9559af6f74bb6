#include "SafeOpen.h"

#include "TestEnv.h"
#include "Unprivileged.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// The errno of a refused open, 0 when a descriptor came back (it is closed again).
int Outcome(int fd)
{
    if (fd < 0)
        return errno;
    close(fd);
    return 0;
}
} // namespace

// What may stand at a name that root writes: only a regular file of its own with one link, and
// with exclusive only a new file. Nothing is created through a dangling link, nothing waits on a
// FIFO, and an accepted file is not emptied here.
TEST(SafeOpen, ForWritingAcceptsOnlyOwnRegularFilesWithOneName)
{
    TempDir dir;
    const std::string own = dir.Write("own", "kept");
    const std::string target = dir.Path() + "/not-yet";
    ASSERT_EQ(0, symlink(own.c_str(), dir.File("link").c_str()));
    ASSERT_EQ(0, symlink(target.c_str(), dir.File("dangling").c_str()));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    dir.Write("twice", "x");
    ASSERT_EQ(0, link(dir.File("twice").c_str(), dir.File("twice-2").c_str()));
    const std::string others = dir.Write("others", "x");
    const bool asRoot = geteuid() == 0;
    if (asRoot)
    {
        ASSERT_EQ(0, chown(others.c_str(), kNobodyUid, kNobodyGid));
    }

    const struct
    {
        const char* name;
        bool exclusive;
        int error;
    } cases[] = {
        {"own", false, 0},       {"new", false, 0},        {"new-exclusive", true, 0},
        {"own", true, EEXIST},   {"link", false, ELOOP},   {"dangling", false, ELOOP},
        {"fifo", false, EINVAL}, {"twice", false, EMLINK}, {"others", false, asRoot ? EPERM : 0},
    };
    for (const auto& test : cases)
    {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(test.error,
                  Outcome(SafeOpen::ForWriting(AT_FDCWD, dir.File(test.name), 0600, test.exclusive)));
    }
    EXPECT_EQ("kept", ReadFile(own));
    EXPECT_NE(0, access(target.c_str(), F_OK));
    struct stat status
    {
    };
    ASSERT_EQ(0, stat(dir.File("new").c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777);
}

// Reading: a link is followed only on request, and a FIFO is refused at once instead of waiting
// for a writer; what comes back reads normally.
TEST(SafeOpen, ForReadingTakesRegularFilesWithoutWaiting)
{
    TempDir dir;
    const std::string file = dir.Write("file", "text");
    ASSERT_EQ(0, symlink(file.c_str(), dir.File("link").c_str()));
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0600));
    EXPECT_EQ(ELOOP, Outcome(SafeOpen::ForReading(dir.File("link"), false)));
    EXPECT_EQ(EINVAL, Outcome(SafeOpen::ForReading(dir.File("fifo"), true)));
    EXPECT_EQ(EINVAL, Outcome(SafeOpen::ForReading(dir.Path(), true)));
    const int fd = SafeOpen::ForReading(dir.File("link"), true);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(0, fcntl(fd, F_GETFL) & O_NONBLOCK);
    char buffer[8] = {};
    EXPECT_EQ(4, read(fd, buffer, sizeof buffer));
    close(fd);
}
