#include "ProcInfo.h"

#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <limits.h>
#include <sstream>
#include <unistd.h>

namespace
{
std::string ProcessFilePath(pid_t pid, const std::string& fileName)
{
    std::ostringstream path;
    path << "/proc/" << pid << "/" << fileName;
    return path.str();
}
} // namespace

bool FindProcessByName(const std::string& name, pid_t& pid)
{
    DIR* proc = opendir("/proc");
    if (proc == nullptr)
        return false;
    bool found = false;
    while (struct dirent* entry = readdir(proc))
    {
        // Entries that are not process ids ("self", "meminfo", ...) convert to 0.
        long candidate = std::strtol(entry->d_name, nullptr, 10);
        if (candidate <= 0)
            continue;
        std::string comm;
        if (ReadProcessFileLine(static_cast<pid_t>(candidate), "comm", comm) && comm == name)
        {
            pid = static_cast<pid_t>(candidate);
            found = true;
            break;
        }
    }
    closedir(proc);
    return found;
}

bool ReadProcessFileLine(pid_t pid, const std::string& fileName, std::string& line)
{
    std::ifstream file(ProcessFilePath(pid, fileName));
    return file.is_open() && static_cast<bool>(std::getline(file, line));
}

unsigned long long ParseProcessStatusValue(std::istream& status, const std::string& label, unsigned unitShift)
{
    unsigned long long value = 0;
    std::string line;
    while (std::getline(status, line))
    {
        std::istringstream fields(line);
        std::string word;
        if (!(fields >> word) || word != label)
            continue;
        unsigned long long number = 0;
        std::string unit;
        fields >> number >> unit;
        if (unit == "kB")
            number *= 1024ULL;
        else if (unit == "MB")
            number *= 1024ULL * 1024ULL;
        else if (unit == "GB")
            number *= 1024ULL * 1024ULL * 1024ULL;
        value = number;
        break;
    }
    for (unsigned i = 0; i < unitShift; ++i)
        value >>= 10;
    return value;
}

unsigned long long GetProcessStatusValue(pid_t pid, unsigned long long& value, const std::string& label,
                                         unsigned unitShift)
{
    value = 0;
    std::ifstream status(ProcessFilePath(pid, "status"));
    if (status.is_open())
        value = ParseProcessStatusValue(status, label, unitShift);
    return value;
}

bool GetProcessMemoryUsage(pid_t pid, unsigned long long& size, unsigned long long& peak,
                           unsigned long long& swap, unsigned long long& librarySize,
                           unsigned long long& resident)
{
    size = peak = swap = librarySize = resident = 0;
    GetProcessStatusValue(pid, peak, "VmPeak:", 0);
    GetProcessStatusValue(pid, size, "VmSize:", 0);
    GetProcessStatusValue(pid, swap, "VmSwap:", 0);
    GetProcessStatusValue(pid, librarySize, "VmLib:", 0);
    GetProcessStatusValue(pid, resident, "VmRSS:", 0);
    return size != 0 && peak != 0;
}

bool GetProcessExecutablePath(pid_t pid, std::string& path)
{
    char target[PATH_MAX];
    ssize_t length = readlink(ProcessFilePath(pid, "exe").c_str(), target, sizeof(target) - 1);
    if (length < 0)
        return false;
    path.assign(target, static_cast<size_t>(length));
    return true;
}
