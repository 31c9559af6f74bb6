#include "SimSysroot.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

SimSysroot::SimSysroot(const std::string& root) : m_Root(root)
{
    while (m_Root.size() > 1 && m_Root.back() == '/')
        m_Root.pop_back();
}

bool SimSysroot::CheckSocketPaths(std::string& error) const
{
    for (const std::string& path : {NativeSocket(), RequestSocket(), EventSocket(), ControlSocket()})
    {
        if (path.size() >= sizeof(sockaddr_un::sun_path))
        {
            error = "socket path too long (" + std::to_string(path.size()) + " bytes, at most " +
                    std::to_string(sizeof(sockaddr_un::sun_path) - 1) + "): " + path;
            return false;
        }
    }
    return true;
}

bool SimSysroot::MakeParents(const std::string& path, std::string& error)
{
    for (size_t pos = path.find('/', 1); pos != std::string::npos; pos = path.find('/', pos + 1))
    {
        std::string directory = path.substr(0, pos);
        if (mkdir(directory.c_str(), 0755) == 0)
            m_Directories.push_back(directory);
        else if (errno != EEXIST)
        {
            error = "cannot create directory " + directory + ": " + std::strerror(errno);
            return false;
        }
    }
    return true;
}

bool SimSysroot::CreateFrontEnd(std::string& error)
{
    std::string path = FrontEnd();
    struct stat info;
    if (stat(path.c_str(), &info) == 0)
        return true;
    if (!MakeParents(path, error))
        return false;
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0755);
    if (fd < 0)
    {
        error = "cannot create " + path + ": " + std::strerror(errno);
        return false;
    }
    static const char kText[] = "#!/bin/sh\n# management daemon front-end (simulated)\nexit 0\n";
    bool ok = write(fd, kText, sizeof(kText) - 1) == static_cast<ssize_t>(sizeof(kText) - 1);
    close(fd);
    Remember(path);
    if (!ok)
        error = "cannot write " + path;
    return ok;
}

bool SimSysroot::WritePidFile(std::string& error)
{
    std::string path = PidFile();
    if (!MakeParents(path, error))
        return false;
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
    {
        error = "cannot create " + path + ": " + std::strerror(errno);
        return false;
    }
    std::string text = std::to_string(getpid()) + "\n";
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    m_WrotePidFile = true;
    if (!ok)
        error = "cannot write " + path;
    return ok;
}

void SimSysroot::RemoveCreated()
{
    if (m_WrotePidFile)
        unlink(PidFile().c_str());
    m_WrotePidFile = false;
    for (const std::string& path : m_Files)
        unlink(path.c_str());
    m_Files.clear();
    for (auto it = m_Directories.rbegin(); it != m_Directories.rend(); ++it)
        rmdir(it->c_str());
    m_Directories.clear();
}
