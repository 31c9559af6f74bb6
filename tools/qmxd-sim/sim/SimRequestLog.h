#pragma once

#include <mutex>
#include <string>

// Appends one line per received request document to a file, written through at once so that a
// test can read the file while the daemon runs.
class SimRequestLog
{
public:
    SimRequestLog() = default;
    ~SimRequestLog();
    SimRequestLog(const SimRequestLog&) = delete;
    SimRequestLog& operator=(const SimRequestLog&) = delete;

    bool Open(const std::string& path, std::string& error);
    void Append(const std::string& line);
    unsigned long Count() const;

private:
    mutable std::mutex m_Mutex;
    int m_Fd = -1;
    unsigned long m_Count = 0;
};
