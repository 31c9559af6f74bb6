#include "RedactedCopies.h"

#include "ReadFully.h"
#include "SafeOpen.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
std::vector<std::string> Parts(const std::string& relative)
{
    std::vector<std::string> parts;
    for (const auto& part : std::filesystem::path(relative))
    {
        std::string name = part.string();
        if (!name.empty() && name != "/" && name != ".")
            parts.push_back(name);
    }
    return parts;
}

bool WriteAll(int fd, const std::string& bytes)
{
    for (size_t done = 0; done < bytes.size();)
    {
        ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}
} // namespace

RedactedCopies::~RedactedCopies()
{
    if (m_Fd >= 0)
        close(m_Fd);
}

bool RedactedCopies::Open(const std::string& folder, std::string& error)
{
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    m_Folder = folder;
    m_Fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_Fd < 0)
    {
        error = folder + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

int RedactedCopies::OpenParent(const std::vector<std::string>& parts, bool create, std::string& error) const
{
    int fd = dup(m_Fd);
    for (size_t i = 0; fd >= 0 && i + 1 < parts.size(); ++i)
    {
        if (parts[i] == "..")
        {
            error = "a copy must stay inside " + m_Folder;
            close(fd);
            return -1;
        }
        if (create)
            mkdirat(fd, parts[i].c_str(), 0700);
        int next = openat(fd, parts[i].c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        int openError = errno;
        close(fd);
        if (next < 0)
        {
            error = m_Folder + "/" + parts[i] + ": " +
                    (openError == ELOOP || openError == ENOTDIR ? "not a folder (a link or a file)"
                                                                : std::strerror(openError));
            return -1;
        }
        fd = next;
    }
    return fd;
}

bool RedactedCopies::Write(const std::string& relative, const std::string& host, const std::string& bytes,
                           std::string& written, std::string& error)
{
    std::vector<std::string> parts = Parts(relative);
    if (parts.empty() || m_Fd < 0)
    {
        error = relative + ": no file name";
        return false;
    }
    int folder = OpenParent(parts, true, error);
    if (folder < 0)
        return false;
    std::filesystem::path name(parts.back());
    std::vector<std::string> choices = {name.string()};
    if (!host.empty())
        choices.push_back(host + "-" + name.string());
    for (int n = 2; n < 1000; ++n)
        choices.push_back(name.stem().string() + "-" + std::to_string(n) + name.extension().string());
    int fd = -1;
    for (const std::string& choice : choices)
    {
        fd = SafeOpen::ForWriting(folder, choice, 0600, true);
        if (fd >= 0)
        {
            parts.back() = choice;
            break;
        }
        if (errno != EEXIST)
            break;
    }
    int openError = errno;
    close(folder);
    written.clear();
    for (const std::string& part : parts)
        written += (written.empty() ? "" : "/") + part;
    if (fd < 0)
    {
        error = m_Folder + "/" + relative + ": " + std::strerror(openError);
        return false;
    }
    bool ok = fchmod(fd, 0600) == 0 && WriteAll(fd, bytes);
    int writeError = errno;
    ok = close(fd) == 0 && ok;
    if (!ok)
        error = m_Folder + "/" + written + ": " + std::strerror(writeError);
    return ok;
}

bool RedactedCopies::Read(const std::string& written, std::string& bytes, std::string& error) const
{
    std::vector<std::string> parts = Parts(written);
    int folder = parts.empty() ? -1 : OpenParent(parts, false, error);
    if (folder < 0)
        return false;
    int fd = SafeOpen::ForReadingAt(folder, parts.back(), false);
    close(folder);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0)
    {
        error = m_Folder + "/" + written + ": cannot be read back";
        if (fd >= 0)
            close(fd);
        return false;
    }
    bytes.assign(static_cast<size_t>(st.st_size), '\0');
    bool ok = bytes.empty() || ReadFully(fd, &bytes[0], bytes.size()) == bytes.size();
    close(fd);
    if (!ok)
        error = m_Folder + "/" + written + ": cannot be read back";
    return ok;
}
