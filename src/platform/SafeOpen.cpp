#include "SafeOpen.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{
// Closes fd and fails with error, keeping errno for the caller.
int Refuse(int fd, int error)
{
    close(fd);
    errno = error;
    return -1;
}

// O_NONBLOCK only kept open() from waiting (a FIFO without a writer, a lease); the reads and
// writes that follow must block as usual.
int Blocking(int fd)
{
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0)
        return Refuse(fd, errno);
    return fd;
}

// Keeps fd only when fstat shows a regular file and, for files we write, one with one name that
// belongs to us; O_NONBLOCK is then dropped again.
int Checked(int fd, bool ownFile)
{
    if (fd < 0)
        return -1;
    struct stat status
    {
    };
    if (fstat(fd, &status) != 0)
        return Refuse(fd, errno);
    if (!S_ISREG(status.st_mode))
        return Refuse(fd, EINVAL);
    if (ownFile && status.st_nlink != 1)
        return Refuse(fd, EMLINK);
    if (ownFile && status.st_uid != geteuid())
        return Refuse(fd, EPERM);
    return Blocking(fd);
}
} // namespace

namespace SafeOpen
{
int ForReading(const std::string& path, bool followLinks)
{
    return ForReadingAt(AT_FDCWD, path, followLinks);
}

int ForReadingAt(int folderFd, const std::string& path, bool followLinks)
{
    const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (followLinks ? 0 : O_NOFOLLOW);
    return Checked(openat(folderFd, path.c_str(), flags), false);
}

int ForWriting(int folderFd, const std::string& path, mode_t mode, bool exclusive)
{
    const int flags =
        O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (exclusive ? O_EXCL : 0);
    return Checked(openat(folderFd, path.c_str(), flags, mode), true);
}

std::string FolderConcern(const struct stat& folder)
{
    if (!S_ISDIR(folder.st_mode))
        return "not a folder";
    if (folder.st_uid != 0 && folder.st_uid != geteuid())
        return "owned by uid " + std::to_string(folder.st_uid);
    if ((folder.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return "writable by other users";
    return std::string();
}
} // namespace SafeOpen
