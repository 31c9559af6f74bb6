#include "TestEnv.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

TempDir::TempDir()
{
    char pattern[] = "/tmp/hcXXXXXX";
    if (mkdtemp(pattern) == nullptr)
        throw std::runtime_error("mkdtemp failed");
    m_Path = pattern;
}

TempDir::~TempDir()
{
    std::string command = "rm -rf '" + m_Path + "'";
    if (system(command.c_str()) != 0)
    {
        // Nothing more to do in a destructor; a leftover directory under /tmp is harmless.
    }
}

std::string TempDir::File(const std::string& relative) const
{
    std::string path = m_Path + "/" + relative;
    size_t slash = path.rfind('/');
    MakeDirs(path.substr(0, slash));
    return path;
}

std::string TempDir::Write(const std::string& relative, const std::string& content) const
{
    std::string path = File(relative);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    return path;
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : m_Name(name)
{
    const char* old = std::getenv(name);
    m_Had = old != nullptr;
    if (m_Had)
        m_Old = old;
    if (value != nullptr)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

ScopedEnv::~ScopedEnv()
{
    if (m_Had)
        setenv(m_Name.c_str(), m_Old.c_str(), 1);
    else
        unsetenv(m_Name.c_str());
}

void MakeDirs(const std::string& path)
{
    for (size_t pos = 1; pos <= path.size(); ++pos)
    {
        if (pos == path.size() || path[pos] == '/')
            mkdir(path.substr(0, pos).c_str(), 0755);
    }
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}
