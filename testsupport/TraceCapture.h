#pragma once

#include "CDebug.h"
#include "TraceTestEnv.h"

#include <algorithm>
#include <optional>
#include <string>

// Sends the process-wide trace to a log file in dir at the given level while the object lives,
// and puts the trace back as the environment had it afterwards.
class TraceCapture
{
public:
    explicit TraceCapture(const std::string& dir, const char* level = "5")
    {
        MakeDirs(dir);
        m_Level.emplace("TM_LOG_DEBUG_LEVEL", level);
        m_Dir.emplace("TM_LOG_RINGBUF_DIR", dir.c_str());
        g_Debug.Init("HostCapture");
    }
    ~TraceCapture()
    {
        m_Dir.reset();
        m_Level.reset();
        g_Debug.Init("HostCapture");
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::string LogFile() const { return g_Debug.GetLogFilePath(); }
    Lines All() const { return Messages(LogFile()); }
    size_t Count(const std::string& message) const
    {
        Lines lines = All();
        return static_cast<size_t>(std::count(lines.begin(), lines.end(), message));
    }

private:
    std::optional<ScopedEnv> m_Level, m_Dir;
};
