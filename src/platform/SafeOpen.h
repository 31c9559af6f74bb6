#pragma once

#include <string>
#include <sys/stat.h>

// Opening files in folders that other users of the server may write. The tool runs as root, so
// a name there may be a symbolic link to one of root's files, a FIFO that never delivers, a hard
// link, or a file that another user prepared. These helpers open once, never block in open, and
// hand back a descriptor only for a plain file of the expected kind; every later step works on
// that descriptor, so the name can no longer be swapped underneath.
//
// Each returns a descriptor (close-on-exec, blocking again for the reads and writes that follow)
// or -1 with errno set: ELOOP for a symbolic link, EINVAL for anything that is not a regular file,
// EMLINK for a file with more than one name, EPERM for a file that belongs to someone else.
namespace SafeOpen
{
// Reads a regular file. Links are followed only when followLinks is true (files in folders that
// only root writes); the open never waits for a writer, as it would on a FIFO.
int ForReading(const std::string& path, bool followLinks);
// The same for a name relative to the folder descriptor (AT_FDCWD for the current folder).
int ForReadingAt(int folderFd, const std::string& path, bool followLinks);

// Opens or creates (mode, before the umask) a file to write, relative to the folder descriptor
// (AT_FDCWD for the current folder). The final name is never followed if it is a link; an existing
// file is used only when it is regular, has one link and belongs to the effective user. With
// exclusive, only a file that this call creates is accepted. Nothing is truncated: the caller
// empties the file once it has accepted it.
int ForWriting(int folderFd, const std::string& path, mode_t mode, bool exclusive);

// Why a folder may not hold files that root writes: a text such as "writable by other users", or
// empty when it is owned by root (or by the effective user) and writable by nobody else.
std::string FolderConcern(const struct stat& folder);
} // namespace SafeOpen
