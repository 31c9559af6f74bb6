// A page that does not reach the disk whole is a failure: on a full file system the run says so
// with the system's reason and exits with 255, never "Successfuly write".
#include "SecurityTest.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

namespace
{
class WriteErrorsTest : public SecurityTest
{
protected:
    void TearDown() override
    {
        if (m_Mounted)
            umount2(m_Mount.Path().c_str(), MNT_DETACH);
    }

    // Mounts a 64 KiB tmpfs and fills it to the last byte. False with the reason when this
    // machine does not let the test mount (an unprivileged container).
    bool MountFullFileSystem(std::string& reason)
    {
        if (mount("tmpfs", m_Mount.Path().c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "size=64k,mode=0755") != 0)
        {
            reason = std::string("cannot mount a tmpfs here: ") + std::strerror(errno);
            return false;
        }
        m_Mounted = true;
        const int fd = open((m_Mount.Path() + "/filler").c_str(), O_WRONLY | O_CREAT, 0600);
        const std::string block(4096, 'f');
        while (fd >= 0 && write(fd, block.data(), block.size()) > 0)
        {
        }
        while (fd >= 0 && write(fd, block.data(), 1) > 0)
        {
        }
        if (fd >= 0)
            close(fd);
        return true;
    }

    TempDir m_Mount;
    bool m_Mounted = false;
};
} // namespace

TEST_F(WriteErrorsTest, AFullFileSystemFailsTheRun)
{
    std::string reason;
    if (!MountFullFileSystem(reason))
        GTEST_SKIP() << reason;
    const std::string name = m_Mount.Path() + "/page.html";
    const Result run = Run({"-output", name}, m_Secret.Path());
    EXPECT_EQ(255, run.exitStatus);
    EXPECT_EQ(0u, run.output.find("\nGenerating HTML report...")) << run.output;
    const std::string failure = WriteFailure(name, ENOSPC);
    ASSERT_GE(run.output.size(), failure.size());
    EXPECT_EQ(failure, run.output.substr(run.output.size() - failure.size())) << run.output;
    EXPECT_EQ(std::string::npos, run.output.find("Successfuly"));
}
