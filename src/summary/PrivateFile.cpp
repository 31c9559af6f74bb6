#include "PrivateFile.h"

#include "SafeOpen.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace PrivateFile
{
bool Write(const std::string& path, const std::string& text, std::string& error)
{
    std::filesystem::path parent = std::filesystem::path(path).parent_path();
    std::error_code ec;
    if (!parent.empty() && !std::filesystem::exists(parent, ec))
    {
        std::filesystem::create_directories(parent, ec);
        std::filesystem::permissions(parent, std::filesystem::perms::owner_all, ec);
    }
    int fd = SafeOpen::ForWriting(AT_FDCWD, path, 0600, false);
    if (fd < 0)
    {
        error =
            path + ": " +
            (errno == EINVAL || errno == EMLINK || errno == EPERM ? "not a plain file of our own; left alone"
                                                                  : std::strerror(errno));
        return false;
    }
    // A file that already says the same (a summary run again over the same pages) is left as it
    // is: rewriting it would cost the file system a block freed and allocated for nothing.
    struct stat st;
    if (fstat(fd, &st) == 0 && static_cast<size_t>(st.st_size) == text.size() &&
        (st.st_mode & 0777) == 0600 && !text.empty())
    {
        std::string present(text.size(), '\0');
        size_t done = 0;
        for (ssize_t n; done < present.size(); done += static_cast<size_t>(n))
        {
            n = read(fd, &present[done], present.size() - done);
            if (n < 0 && errno == EINTR)
                n = 0;
            else if (n <= 0)
                break;
        }
        if (done == present.size() && present == text)
            return close(fd) == 0;
        lseek(fd, 0, SEEK_SET);
    }
    bool ok = ftruncate(fd, 0) == 0 && fchmod(fd, 0600) == 0;
    for (size_t done = 0; ok && done < text.size();)
    {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        ok = n > 0;
        done += n > 0 ? static_cast<size_t>(n) : 0;
    }
    int saved = errno;
    if (close(fd) != 0 && ok)
    {
        ok = false;
        saved = errno;
    }
    if (!ok)
        error = path + ": " + std::strerror(saved);
    return ok;
}
} // namespace PrivateFile
