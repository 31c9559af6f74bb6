#include "ReachableCopies.h"

#include <cstdlib>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

ReachableCopies::ReachableCopies()
{
    char pattern[] = "/tmp/hcXXXXXX";
    if (mkdtemp(pattern) != nullptr && chmod(pattern, 0755) == 0)
        m_Path = pattern;
}

ReachableCopies::~ReachableCopies()
{
    if (!m_Path.empty())
    {
        const std::string command = "rm -rf '" + m_Path + "'";
        if (system(command.c_str()) != 0)
        {
            // A leftover folder under /tmp is harmless.
        }
    }
}

std::string ReachableCopies::Copy(const std::string& original)
{
    struct stat status
    {
    };
    if (m_Path.empty() || stat(original.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::string();
    const std::string copy = m_Path + "/" + original.substr(original.rfind('/') + 1);
    {
        std::ifstream in(original, std::ios::binary);
        std::ofstream out(copy, std::ios::binary | std::ios::trunc);
        if (status.st_size > 0)
            out << in.rdbuf();
        out.close();
        if (!in || !out)
            return std::string();
    }
    const mode_t mode = (status.st_mode & S_IXUSR) != 0 ? 0755 : 0644;
    return chmod(copy.c_str(), mode) == 0 ? copy : std::string();
}
