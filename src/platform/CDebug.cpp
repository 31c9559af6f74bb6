// Provisional trace implementation: level from TM_LOG_DEBUG_LEVEL, lines to stderr.
// The full facility (ini configuration, log file, ring buffer) replaces this file.
#include "CDebug.h"

#include <cstdio>
#include <cstdlib>

CDebug g_Debug("HostCapture");

CDebug::CDebug(const char* applicationName)
{
    if (applicationName != nullptr && *applicationName != '\0')
        Init(applicationName);
}

CDebug::~CDebug() = default;

bool CDebug::IsAvailable() const
{
    return true;
}

bool CDebug::Init(const char*)
{
    const char* level = std::getenv("TM_LOG_DEBUG_LEVEL");
    m_CurrentLevel = level != nullptr ? static_cast<unsigned>(std::strtol(level, nullptr, 10)) : 0;
    m_SavedLevel = m_CurrentLevel;
    m_TraceEnabled = m_CurrentLevel != 0;
    return true;
}

void CDebug::Print(unsigned level, const char* format, ...)
{
    if (format == nullptr || level > m_CurrentLevel)
        return;
    va_list args;
    va_start(args, format);
    VPrint(format, args, nullptr);
    va_end(args);
}

void CDebug::PrintAlways(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    VPrintAlways(format, args, nullptr);
    va_end(args);
}

void CDebug::PrintAlways(unsigned, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    VPrintAlways(format, args, nullptr);
    va_end(args);
}

void CDebug::VPrintAlways(const char* format, va_list args, const char* tag)
{
    VPrint(format, args, tag);
}

void CDebug::VPrint(const char* format, va_list args, const char*)
{
    if (m_CurrentLevel == 0)
        return;
    while (*format == '\n')
        ++format;
    std::vfprintf(stderr, format, args);
    std::fputc('\n', stderr);
}

void CDebug::SetCommandLine(int, char**) {}
void CDebug::AppInitDone() {}
bool CDebug::InitRingBuffer(const char*, size_t)
{
    return false;
}

bool CDebug::IsTraceEnabled() const
{
    return m_TraceEnabled;
}

unsigned CDebug::GetLevel() const
{
    return m_CurrentLevel;
}
