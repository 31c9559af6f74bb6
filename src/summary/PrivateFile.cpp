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
