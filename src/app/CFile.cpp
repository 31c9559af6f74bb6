#include "CFile.h"

#include "CDebug.h"
#include "SafeOpen.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace
{
// A page holds serial numbers and network addresses: readable by its owner only.
constexpr mode_t kPageMode = 0600;
} // namespace

CFile::CFile(std::string path) : m_Path(std::move(path)) {}

CFile::~CFile()
{
    if (IsOpen())
    {
        // Keep the caller's errno: it may still be about to report an earlier failure.
        int saved = errno;
        Close();
        errno = saved;
    }
}

bool CFile::Fail()
{
    return Fail(errno);
}

bool CFile::Fail(int error)
{
    m_LastError = error;
    errno = error;
    return false;
}

bool CFile::OpenForOutput(bool exclusive)
{
    if (IsOpen())
        return true;
    m_Fd = SafeOpen::ForWriting(AT_FDCWD, m_Path, kPageMode, exclusive);
    if (m_Fd < 0)
    {
        const int error = errno;
        g_Debug.Print(1, "\nCFile               : ERROR 0x%X! File \"%s\" refused: %s", error, m_Path.c_str(),
                      strerror(error));
        return Fail(error);
    }
    // Emptied only now that it is known to be ours.
    if (ftruncate(m_Fd, 0) != 0)
    {
        const int error = errno;
        Close();
        return Fail(error);
    }
    return true;
}

bool CFile::TryLock()
{
    if (!IsOpen())
        return Fail(EBADF);
    if (flock(m_Fd, LOCK_EX | LOCK_NB) != 0)
        return Fail();
    m_Locked = true;
    return true;
}

bool CFile::WriteAll(const std::string& text)
{
    if (!IsOpen())
        return Fail(EBADF);
    if (ftruncate(m_Fd, 0) != 0)
        return Fail();
    size_t done = 0;
    while (done < text.size())
    {
        const ssize_t written =
            pwrite(m_Fd, text.data() + done, text.size() - done, static_cast<off_t>(done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return Fail();
        if (written == 0)
            return Fail(ENOSPC);
        done += static_cast<size_t>(written);
    }
    return true;
}

bool CFile::Sync()
{
    if (!IsOpen() || fsync(m_Fd) != 0)
        return Fail(IsOpen() ? errno : EBADF);
    return true;
}

bool CFile::Unlock()
{
    if (!m_Locked)
        return true;
    m_Locked = false;
    if (flock(m_Fd, LOCK_UN) != 0)
        return Fail();
    return true;
}

bool CFile::Close()
{
    if (!IsOpen())
        return true;
    Unlock();
    const int result = close(m_Fd);
    m_Fd = -1;
    if (result != 0)
        return Fail();
    return true;
}
