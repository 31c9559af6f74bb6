#include "SimRequestLog.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

SimRequestLog::~SimRequestLog()
{
    if (m_Fd >= 0)
        close(m_Fd);
}

bool SimRequestLog::Open(const std::string& path, std::string& error)
{
    // O_APPEND: a test may truncate the file while the daemon runs; later lines start at the new end.
    m_Fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (m_Fd < 0)
    {
        error = "cannot open request log " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

void SimRequestLog::Append(const std::string& line)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    ++m_Count;
    if (m_Fd < 0)
        return;
    std::string text = line + "\n";
    // One write per line keeps lines whole even when another process reads concurrently.
    if (write(m_Fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    {
        // A full disk only loses log lines; the daemon goes on answering.
    }
}

unsigned long SimRequestLog::Count() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Count;
}
