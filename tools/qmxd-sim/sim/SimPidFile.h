#pragma once

#include <string>

// Writes the pid of this process into a file of the caller's choosing and removes it again on
// destruction, when it was written.
class SimPidFile
{
public:
    SimPidFile() = default;
    ~SimPidFile();
    SimPidFile(const SimPidFile&) = delete;
    SimPidFile& operator=(const SimPidFile&) = delete;

    bool Write(const std::string& path, std::string& error);

private:
    std::string m_Path;
};
