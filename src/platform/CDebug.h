#pragma once

#include "CDebugTraceConfig.h"

#include <cstdarg>
#include <cstddef>

#define HC_PRINTF_LIKE(fmt, args) __attribute__((format(printf, fmt, args)))

// The process-wide trace facility. One object, g_Debug, is built during static initialisation
// with the application name "HostCapture"; it reads its configuration from ini files and
// environment variables and writes lines to a log file or a memory-mapped ring buffer.
//
// Levels: 1 errors, 2 main progress, 3 warnings and retries, 4 detail, 5 verbose dumps. A line is
// written when its level is at most the configured level; level 0 switches tracing off.
// Leading newlines of a format are dropped and a trailing newline is added.
class CDebug : public CDebugTraceConfig
{
public:
    explicit CDebug(const char* applicationName);
    virtual ~CDebug();
    CDebug(const CDebug&) = delete;
    CDebug& operator=(const CDebug&) = delete;

    virtual bool IsAvailable() const;
    virtual bool Init(const char* applicationName);
    virtual void Print(unsigned level, const char* format, ...) HC_PRINTF_LIKE(3, 4);
    virtual void PrintAlways(const char* format, ...) HC_PRINTF_LIKE(2, 3);
    virtual void PrintAlways(unsigned level, const char* format, ...) HC_PRINTF_LIKE(3, 4);
    virtual void VPrintAlways(const char* format, va_list args, const char* tag);
    virtual void VPrint(const char* format, va_list args, const char* tag);

    void SetCommandLine(int argc, char** argv);
    void AppInitDone();
    bool InitRingBuffer(const char* path, size_t length);

    // True when the current level is not 0 (callers skip building trace arguments otherwise).
    bool IsTraceEnabled() const;
    unsigned GetLevel() const;
};

extern CDebug g_Debug;
