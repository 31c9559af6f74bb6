#include "OutputFile.h"

#include "ReadFully.h"
#include "SafeOpen.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// True when path is already a private file of ours holding exactly text.
bool AlreadyHolds(const std::string& path, const std::string& text)
{
    int fd = SafeOpen::ForReading(path, false);
    if (fd < 0)
        return false;
    struct stat st;
    bool same = fstat(fd, &st) == 0 && st.st_uid == geteuid() && st.st_nlink == 1 &&
                (st.st_mode & 07777) == 0600 && static_cast<size_t>(st.st_size) == text.size() &&
                !text.empty();
    if (same)
    {
        std::string present(text.size(), '\0');
        same = ReadFully(fd, &present[0], present.size()) == present.size() && present == text;
    }
    close(fd);
    return same;
}
} // namespace

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

bool OutputFile::Create(const std::string& path, mode_t mode, Durability durability)
{
    Discard();
    m_Path = path;
    m_Mode = mode;
    m_Durability = durability;
    m_Failed = false;
    m_Error.clear();
    std::filesystem::path target(path);
    m_Folder = target.parent_path().empty() ? "." : target.parent_path().string();
    struct stat st;
    if (stat(m_Folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
    {
        m_Error = path + ": the folder " + m_Folder + " does not exist";
        return false;
    }
    // A leading dot and an added ending: nothing that picks files up by name (a metrics
    // collector, a web server's index) takes the unfinished file for the real one.
    std::string temporary = m_Folder + "/." + target.filename().string() + ".XXXXXX";
    int fd = mkostemp(&temporary[0], O_CLOEXEC);
    if (fd < 0)
    {
        m_Error = path + ": " + std::strerror(errno);
        return false;
    }
    m_Fd = fd;
    m_Temporary = temporary;
    // mkostemp creates 0600; fchmod sets the mode asked for whatever the umask was.
    if (fchmod(fd, mode) != 0)
    {
        m_Error = path + ": " + std::strerror(errno);
        Discard();
        return false;
    }
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

// The rename itself lasts across a crash only once the folder is on disk too.
bool OutputFile::SyncFolder()
{
    int dir = open(m_Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0)
        return false;
    bool ok = fsync(dir) == 0;
    close(dir);
    return ok;
}

bool OutputFile::Commit(bool ok)
{
    if (m_Temporary.empty())
        return false;
    ok = ok && !m_Failed;
    if (m_Fd >= 0)
    {
        if (ok && m_Durability == Durability::Synced && fsync(m_Fd) != 0)
        {
            m_Error = m_Path + ": " + std::strerror(errno);
            ok = false;
        }
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
    {
        m_Temporary.clear();
        // The file is in place either way; a folder that cannot be synced only weakens the promise.
        if (m_Durability == Durability::Synced)
            SyncFolder();
    }
    else if (m_Error.empty())
        m_Error = m_Path + ": could not be written completely";
    Discard();
    return ok;
}

bool OutputFile::WriteText(const std::string& path, const std::string& text, std::string& error)
{
    if (AlreadyHolds(path, text))
        return true;
    OutputFile out;
    if (!out.Create(path) || !out.Write(text) || !out.Commit())
    {
        error = out.Error();
        return false;
    }
    return true;
}
