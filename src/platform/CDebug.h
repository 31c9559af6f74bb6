#pragma once

#include "CDebugTraceConfig.h"
#include "RecursiveLock.h"

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string>
#include <sys/types.h>

#define HC_PRINTF_LIKE(fmt, args) __attribute__((format(printf, fmt, args)))

// The process-wide trace facility. One object, g_Debug, is built during static initialisation
// with the application name "HostCapture"; it reads its configuration from ini files and
// environment variables and writes lines to a log file or a memory-mapped ring buffer.
//
// Levels: 1 errors, 2 main progress, 3 warnings and retries, 4 detail, 5 verbose dumps. A line is
// written when its level is at most the configured level; level 0 switches tracing off.
// Leading newlines of a format are dropped and a trailing newline is added.
//
// A Print whose level is above the configured one costs an atomic load (plus a clock read when
// the configuration is re-read at intervals): the caller's arguments are not even formatted.
class CDebug : public CDebugTraceConfig
{
public:
    enum ETarget
    {
        TargetNone = 0,
        TargetLogFile = 1,
        TargetRingBuffer = 2
    };

    // Lengths of the line buffer: prefix, then the message text with its terminating zero.
    static constexpr size_t kPrefixLength = 128;
    static constexpr size_t kMessageLength = 1024 + 1;
    static constexpr size_t kPathLength = 256;

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

    // Stores the command line (argv must outlive the object) and traces it.
    void SetCommandLine(int argc, char** argv);
    // Marks the end of start-up: later wraps of the log file and ring buffer keep what came before.
    void AppInitDone();
    // Switches to a memory-mapped ring buffer of length bytes at path. False (and a note in the
    // log file) when the file cannot be created, filled or mapped; the target is then unchanged.
    bool InitRingBuffer(const char* path, size_t length);

    // True when the current level is not 0 (callers skip building trace arguments otherwise).
    bool IsTraceEnabled() const;
    unsigned GetLevel() const;
    ETarget GetTarget() const { return m_Target; }
    const char* GetLogFilePath() const { return m_LogFilePath; }
    bool HasLogFile() const { return m_LogFile != nullptr; }
    unsigned GetRingBufferWrapCount() const { return m_RingWrapCount; }

protected:
    // Where one line goes.
    enum EDestination : unsigned
    {
        ToLogFile = 1u,
        ToRingBuffer = 2u
    };

    // Taken by every writing operation; a thread that holds it may trace again.
    CRecursiveLock m_Lock;

private:
    void CheckDynamicUpdate();
    void CloseOutputs();
    void OpenLogFile();
    // The log file in folder, or nullptr; a refused folder or file is named once on stderr.
    FILE* OpenLogStream(const std::string& folder, const std::string& name);
    unsigned DestinationsForAlways() const;

    // Line building and the log file (CDebugLine.cpp).
    size_t FormatPrefix(char* buffer, const char* tag);
    // Formats prefix and message into m_LineBuffer; returns the full length the message would
    // have had without the 1024-character limit (negative on a bad format).
    int FormatLine(const char* format, va_list args, const char* tag);
    void WriteLine(unsigned destinations, const char* format, va_list args, const char* tag);
    void WriteFormatted(unsigned destinations, const char* format, ...) HC_PRINTF_LIKE(3, 4);
    void WriteLogFileLine();
    void WrapLogFile();

    // Ring buffer (CDebugRingBuffer.cpp).
    bool FillRingBufferFile(int fd, size_t length);
    void CloseRingBuffer();
    void WriteRingLine(const char* message, va_list args, int fullLength);
    void CopyIntoRing(const char* text, size_t length);
    void AppendRingText(const char* text);
    void AppendRingFormat(const char* format, ...) HC_PRINTF_LIKE(2, 3);
    void WriteRingHeader();
    size_t HeaderEndOffset() const;

    // False before construction finished and after destruction began: calls made by other
    // static objects outside the lifetime of g_Debug then do nothing.
    std::atomic<bool> m_Alive{false};

    char* m_ApplicationName = nullptr;
    int m_Argc = 0;
    char** m_Argv = nullptr;
    pid_t m_ProcessId = 0;
    char m_StartTimeText[32] = {};
    ETarget m_Target = TargetNone;
    bool m_AppInitDone = false;

    // Log file.
    char m_LogFilePath[kPathLength] = {};
    FILE* m_LogFile = nullptr;
    long m_InitEndFilePosition = 0;
    unsigned m_ByteCount = 0;
    unsigned m_InitEndByteCount = 0;
    unsigned m_WrapCycle = 0;
    bool m_LogRefusalReported = false;

    // Ring buffer.
    int m_RingFd = -1;
    char* m_RingMap = nullptr;
    size_t m_RingSize = 0;
    size_t m_RingOffset = 0;
    size_t m_RingInitEndOffset = 0;
    unsigned m_RingWrapCount = 0;
    char m_RingPath[kPathLength] = {};

    // The line being written: prefix, message, a newline that may be added, and room for the
    // note that marks a truncated ring-buffer message.
    static constexpr size_t kNoteLength = 64;
    char m_LineBuffer[kPrefixLength + kMessageLength + 1 + kNoteLength] = {};
    size_t m_PrefixSize = 0;
    size_t m_LineSize = 0;

    // Marks the newest end of the ring buffer; copied behind every line.
    char m_Trailer[17] = {};
    size_t m_TrailerLength = 0;
};

extern CDebug g_Debug;
