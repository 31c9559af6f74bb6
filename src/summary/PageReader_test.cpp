#include "HostStatus.h"
#include "PageReader.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// A page HostCapture wrote (the golden run's, checked in), so these tests run no program.
std::string RealPage()
{
    return ReadFile(std::string(HOSTCAPTURE_SOURCE_DIR) + "/testdata/golden/report.html");
}
} // namespace

// Bytes that are not a whole HostCapture page are refused with a reason, and crash nothing.
TEST(PageReader, RefusesPagesThatAreNotWholeReports)
{
    std::string real = RealPage();
    ASSERT_FALSE(real.empty());
    std::string deep = "<!DOCTYPE html><html><body><div class=\"title-app\"><h2>Host Capture</h2></div>";
    for (int i = 0; i < 5000; ++i)
        deep += "<button class=\"collapsible\">x</button><div class=\"content\">";
    deep += "</body></html>";
    std::string renamed = real;
    renamed.replace(renamed.find("<h2>Host Capture"), 16, "<h2>Host Kapture");
    std::string noHealth =
        real.substr(0, real.find("<button type=\"button\" class=\"title-text title-line\">System "
                                 "Health")) +
        "</body></html>";
    struct Case
    {
        const char* Name;
        std::string Bytes;
        const char* Reason;
    };
    const Case cases[] = {
        {"empty", "", "empty"},
        {"plain text", "hello, world\n", "does not begin"},
        {"cut in the middle", real.substr(0, real.size() / 2), "cut off"},
        {"cut before the last tag", real.substr(0, real.size() - 3), "cut off"},
        {"other title", renamed, "title"},
        {"no health block", noHealth, "missing"},
        {"deeply nested sections", deep, "missing"},
        {"binary", std::string("<!DOCTYPE html>\0\xff\xfe<html>\x01</html>", 32), "not a HostCapture page"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        HostPage page;
        EXPECT_FALSE(PageReader::ReadPage(c.Bytes, page));
        EXPECT_NE(page.Problem.find(c.Reason), std::string::npos) << page.Problem;
        EXPECT_TRUE(page.Sections.empty());
        EXPECT_EQ(HostStatusRules::PageWorst(page), HostStatus::Unreadable);
    }
    HostPage page;
    EXPECT_TRUE(PageReader::ReadPage(real + "\n", page)) << "a trailing newline is harmless";
}

TEST(PageReader, StatusClassWords)
{
    struct Case
    {
        const char* Class;
        ReportStatus Status;
    } cases[] = {{"collapsible title-text status-error", StatusError},
                 {" status-unknown icon status", StatusUnknown},
                 {"status-major icon status", StatusMajor},
                 {"status-not-present icon status", StatusNotPresent},
                 {"collapsible title-text", StatusNotPresent},
                 {"collapsible title-text status-errors", StatusNotPresent}};
    for (const auto& c : cases)
        EXPECT_EQ(PageReader::StatusOfClass(c.Class), c.Status) << c.Class;
}

namespace
{
bool ReadPath(const std::string& path, HostPage& page, bool followLinks = true)
{
    return PageReader::ReadFile(path, page, nullptr, followLinks);
}
} // namespace

// Only regular files of a page's size are read; anything else is refused at once with a reason.
TEST(PageReader, ReadsOnlyRegularFilesOfAPagesSize)
{
    TempDir dir;
    std::string fifo = dir.File("fifo.html");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string huge = dir.File("huge.html");
    {
        // Sparse: 65 MiB of nothing costs no disk; the reader must not even try it.
        std::string opening = RealPage().substr(0, 200);
        int fd = open(huge.c_str(), O_WRONLY | O_CREAT, 0600);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(write(fd, opening.data(), opening.size()), static_cast<ssize_t>(opening.size()));
        ASSERT_EQ(ftruncate(fd, (64 << 20) + 1), 0);
        close(fd);
    }
    std::string page = dir.Write("page.html", RealPage());
    std::string link = dir.File("link.html");
    ASSERT_EQ(symlink(page.c_str(), link.c_str()), 0);
    struct Case
    {
        const char* Name;
        std::string Path;
        bool FollowLinks;
        bool Readable;
        const char* Reason;
    } cases[] = {
        {"a FIFO", fifo, true, false, "not a regular file"},
        {"a device", "/dev/zero", true, false, "not a regular file"},
        {"a folder", dir.Path(), true, false, "not a regular file"},
        {"over 64 MiB", huge, true, false, "larger than 64 MiB"},
        {"missing", dir.File("missing.html"), true, false, "cannot be opened"},
        {"a page", page, true, true, ""},
        {"a named link", link, true, true, ""},
        {"a link found in a folder", link, false, false, "cannot be opened"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        HostPage read;
        EXPECT_EQ(ReadPath(c.Path, read, c.FollowLinks), c.Readable);
        EXPECT_NE(read.Problem.find(c.Reason), std::string::npos) << read.Problem;
        EXPECT_FALSE(read.Foreign);
    }
}

// Other HTML is foreign (passed over); a page cut anywhere, even in its first bytes, is not.
TEST(PageReader, TellsForeignHtmlFromCutPages)
{
    std::string real = RealPage();
    struct Case
    {
        const char* Name;
        std::string Bytes;
        bool Foreign;
    } cases[] = {
        {"a whole page", real, false},
        {"cut after 10 bytes", real.substr(0, 10), false},
        {"cut after the opening", real.substr(0, PageReader::PageOpening().size() + 5), false},
        {"empty", "", false},
        {"an overview",
         "<!DOCTYPE html>\n<html lang=\"en\">\n<head><title>HostCapture fleet overview</title>", true},
        {"plain text", "hello", true},
        {"a saved web page", "<html><body>Host Capture</body></html>", true},
    };
    for (const Case& c : cases)
        EXPECT_EQ(PageReader::IsForeign(c.Bytes.substr(0, PageReader::PageOpening().size())), c.Foreign)
            << c.Name;
}

TEST(PageReader, MarkerReasonsLoseTheirControlCharacters)
{
    TempDir dir;
    std::string marker =
        dir.Write("h1/20260101T000000Z.failed", "host: h1\x1b]0;owned\x07\nreason: boom \x1b[2J\x1b[H\x9b"
                                                "1m done\n");
    HostPage page;
    EXPECT_FALSE(ReadPath(marker, page));
    EXPECT_TRUE(page.RunFailed);
    EXPECT_EQ(page.Problem.find('\x1b'), std::string::npos) << page.Problem;
    EXPECT_EQ(page.Identity.HostName.find('\x07'), std::string::npos);
    EXPECT_NE(page.Problem.find("collection run failed: boom"), std::string::npos);
    EXPECT_NE(page.Problem.find("done"), std::string::npos);
}
