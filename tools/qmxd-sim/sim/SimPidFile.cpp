#include "SimPidFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

SimPidFile::~SimPidFile()
{
    if (!m_Path.empty())
        unlink(m_Path.c_str());
}

bool SimPidFile::Write(const std::string& path, std::string& error)
{
    FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr)
    {
        error = "cannot write pid file " + path + ": " + std::strerror(errno);
        return false;
    }
    std::fprintf(file, "%d\n", static_cast<int>(getpid()));
    if (std::fclose(file) != 0)
    {
        error = "cannot write pid file " + path + ": " + std::strerror(errno);
        unlink(path.c_str());
        return false;
    }
    m_Path = path;
    return true;
}
