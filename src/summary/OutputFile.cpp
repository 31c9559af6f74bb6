#include "OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

OutputFile::~OutputFile()
{
    Discard();
}

void OutputFile::Discard()
{
    if (m_Fd >= 0)
        close(m_Fd);
    m_Fd = -1;
    if (!m_Temporary.empty())
        unlink(m_Temporary.c_str());
    m_Temporary.clear();
}

bool OutputFile::Create(const std::string& path)
{
    Discard();
    m_Path = path;
    m_Failed = false;
    std::filesystem::path target(path);
    std::string folder = target.parent_path().empty() ? "." : target.parent_path().string();
    struct stat st;
    if (stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
    {
        m_Error = path + ": the folder " + folder + " does not exist";
        return false;
    }
    std::string temporary = folder + "/." + target.filename().string() + ".XXXXXX";
    int fd = mkostemp(&temporary[0], O_CLOEXEC);
    if (fd < 0)
    {
        m_Error = path + ": " + std::strerror(errno);
        return false;
    }
    // mkostemp creates 0600 already; fchmod keeps that true whatever the umask was.
    fchmod(fd, 0600);
    m_Fd = fd;
    m_Temporary = temporary;
    return true;
}

bool OutputFile::Write(const std::string& bytes)
{
    for (size_t done = 0; m_Fd >= 0 && !m_Failed && done < bytes.size();)
    {
        ssize_t n = write(m_Fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
        {
            m_Error = m_Path + ": " + std::strerror(errno);
            m_Failed = true;
        }
        else
            done += static_cast<size_t>(n);
    }
    return !m_Failed && m_Fd >= 0;
}

int OutputFile::Release()
{
    int fd = m_Fd;
    m_Fd = -1;
    return fd;
}

bool OutputFile::Commit(bool ok)
{
    if (m_Temporary.empty())
        return false;
    ok = ok && !m_Failed;
    if (m_Fd >= 0)
    {
        if (close(m_Fd) != 0 && ok)
        {
            m_Error = m_Path + ": " + std::strerror(errno);
            ok = false;
        }
        m_Fd = -1;
    }
    if (ok && rename(m_Temporary.c_str(), m_Path.c_str()) != 0)
    {
        m_Error = m_Path + ": " + std::strerror(errno);
        ok = false;
    }
    if (ok)
        m_Temporary.clear();
    else if (m_Error.empty())
        m_Error = m_Path + ": could not be written completely";
    Discard();
    return ok;
}
