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
} // namespace

namespace SafeOpen
{
int ForReading(const std::string& path, bool followLinks)
{
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | (followLinks ? 0 : O_NOFOLLOW));
    if (fd < 0)
        return -1;
    struct stat status
    {
    };
    if (fstat(fd, &status) != 0)
        return Refuse(fd, errno);
    if (!S_ISREG(status.st_mode))
        return Refuse(fd, EINVAL);
    return Blocking(fd);
}

int ForWriting(int folderFd, const std::string& path, mode_t mode, bool exclusive)
{
    const int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | (exclusive ? O_EXCL : 0);
    const int fd = openat(folderFd, path.c_str(), flags, mode);
    if (fd < 0)
        return -1;
    struct stat status
    {
    };
    if (fstat(fd, &status) != 0)
        return Refuse(fd, errno);
    if (!S_ISREG(status.st_mode))
        return Refuse(fd, EINVAL);
    if (status.st_nlink != 1)
        return Refuse(fd, EMLINK);
    if (status.st_uid != geteuid())
        return Refuse(fd, EPERM);
    return Blocking(fd);
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
