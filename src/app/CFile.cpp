#include "CFile.h"

#include "CDebug.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

CFile::CFile(const char* path)
{
    strncpy(m_Path, path != nullptr ? path : "", MaxPath);
    m_Path[MaxPath] = '\0';
}

CFile::~CFile()
{
    if (m_Open)
    {
        // Keep the caller's errno: it may still be about to report an earlier failure.
        int saved = errno;
        Close();
        errno = saved;
    }
}

bool CFile::Fail()
{
    m_LastError = errno;
    return false;
}

bool CFile::Open(int flags, mode_t mode)
{
    if (m_Open)
        return true;
    m_Fd = open(m_Path, flags, mode);
    if (m_Fd < 0)
        return Fail();
    m_Open = true;
    m_Closed = false;
    return true;
}

bool CFile::Lock()
{
    if (!m_Open || flock(m_Fd, LOCK_EX) != 0)
        return Fail();
    m_Locked = true;
    return true;
}

bool CFile::Sync()
{
    if (!m_Open || fsync(m_Fd) != 0)
        return Fail();
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
    if (!m_Open)
        return true;
    Unlock();
    int result = close(m_Fd);
    m_Fd = -1;
    m_Open = false;
    m_Closed = true;
    if (result != 0)
        return Fail();
    return true;
}

bool CFile::WriteTextFile(const std::string& name, const std::string& text)
{
    FILE* file = fopen(name.c_str(), "w");
    if (file == nullptr)
    {
        int error = errno;
        if (g_Debug.IsTraceEnabled())
            g_Debug.Print(1, "\nCFile               : ERROR 0x%X! Failed to write text file \"%s\"", error,
                          name.c_str());
        errno = error;
        return false;
    }
    // A short write shows up as a short report; the run has nothing better to offer then.
    fputs(text.c_str(), file);
    fclose(file);
    return true;
}
