#pragma once

#include "TestEnv.h"

#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <vector>

using Lines = std::vector<std::string>;

// A private system root for one trace test with every trace variable cleared, so that a CDebug
// built inside the test sees only what the test sets up.
class TraceTestEnv
{
public:
    TraceTestEnv() : m_Root(new ScopedEnv("HOSTCAPTURE_SYSROOT", m_Dir.Path().c_str()))
    {
        for (const char* name :
             {"TM_LOG_DYNAMIC_UPDATE", "TM_LOG_FILE_DIR", "TM_LOG_FILE_MAX_SIZE", "TM_LOG_RINGBUF_DIR",
              "TM_LOG_DEBUG_LEVEL", "TraceFileLimit", "TM_LOG_RINGBUF_WEIGHT", "TM_LOG_NOHDR_TOSDTERR"})
            Set(name, nullptr);
    }
    void Set(const char* name, const char* value) { m_Vars.emplace_back(new ScopedEnv(name, value)); }
    const std::string& Root() const { return m_Dir.Path(); }
    std::string Write(const std::string& relative, const std::string& text) const
    {
        return m_Dir.Write(relative, text);
    }
    std::string WriteIni(const std::string& name, const std::string& text) const
    {
        return Write("opt/TessmarkQDX/vital/etc/TessmarkSuite/TraceConfig/" + name, text);
    }
    // A log directory under the root, chosen through TM_LOG_RINGBUF_DIR.
    std::string UseLogDir()
    {
        std::string dir = Root() + "/logs";
        MakeDirs(dir);
        Set("TM_LOG_RINGBUF_DIR", dir.c_str());
        return dir;
    }

private:
    TempDir m_Dir;
    std::unique_ptr<ScopedEnv> m_Root;
    std::vector<std::unique_ptr<ScopedEnv>> m_Vars;
};

// True when text starts with shape, where each '9' of shape stands for any digit.
inline bool StartsWithShape(const std::string& text, const std::string& shape)
{
    if (text.size() < shape.size())
        return false;
    for (size_t i = 0; i < shape.size(); ++i)
    {
        bool digit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == '9' ? !digit : text[i] != shape[i])
            return false;
    }
    return true;
}

// A line prefix with the default tag: time, process id, tag.
const char kPrefixShape[] = "9999-99-99 99:99:99.999 [9999999999] HostCapture   ";

inline std::string MessageOf(const std::string& line)
{
    return StartsWithShape(line, kPrefixShape) ? line.substr(sizeof(kPrefixShape) - 1) : "<no prefix>";
}

// The messages of a log file, one per line.
inline std::vector<std::string> Messages(const std::string& path)
{
    std::vector<std::string> messages;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);)
        messages.push_back(MessageOf(line));
    return messages;
}

// Moves a file's modification time by some seconds, instead of waiting for the clock.
inline bool ShiftMtime(const std::string& path, int seconds)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0)
        return false;
    struct timeval times[2] = {{info.st_atim.tv_sec, 0}, {info.st_mtim.tv_sec + seconds, 0}};
    return utimes(path.c_str(), times) == 0;
}
