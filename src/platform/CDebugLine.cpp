// CDebug: building one trace line and writing it to the log file.
#include "CDebug.h"

#include "ProcInfo.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/time.h>
#include <syslog.h>

namespace
{
// Trace lines conventionally start with "\n"; the file gets one line per message, so leading
// newlines go. A format made only of newlines is kept: it asks for an empty line on purpose.
const char* SkipLeadingNewlines(const char* format)
{
    const char* p = format;
    while (*p == '\n')
        ++p;
    return *p == '\0' ? format : p;
}
} // namespace

size_t CDebug::FormatPrefix(char* buffer, const char* tag)
{
    // The wall-clock time of the line, as a reader of the log expects it; nothing waits on it.
    struct timeval now;
    gettimeofday(&now, nullptr);
    struct tm local;
    char seconds[40];
    char stamp[48];
    if (localtime_r(&now.tv_sec, &local) != nullptr &&
        std::strftime(seconds, sizeof(seconds), "%F %H:%M:%S", &local) > 0)
        std::snprintf(stamp, sizeof(stamp), "%s.%03d", seconds, static_cast<int>(now.tv_usec / 1000));
    else
        std::snprintf(stamp, sizeof(stamp), "%s", "yyyy-mm-dd hh:mm:ss.mmm");

    const char* name = tag != nullptr ? tag : (m_ApplicationName != nullptr ? m_ApplicationName : "");
    int length;
    if (HasMemoryColumn())
    {
        unsigned long long residentKb = 0;
        GetProcessStatusValue(m_ProcessId, residentKb, "VmRSS:", 1);
        length = std::snprintf(buffer, kPrefixLength, "%s [%010d] %8zu %s !%-13s ", stamp,
                               static_cast<int>(m_ProcessId), static_cast<size_t>(residentKb), "KB", name);
    }
    else
    {
        length = std::snprintf(buffer, kPrefixLength, "%s [%010d] %-13s ", stamp,
                               static_cast<int>(m_ProcessId), name);
    }
    if (length < 0)
    {
        buffer[0] = '\0';
        return 0;
    }
    return static_cast<size_t>(length) < kPrefixLength ? static_cast<size_t>(length) : kPrefixLength - 1;
}

int CDebug::FormatLine(const char* format, va_list args, const char* tag)
{
    m_PrefixSize = FormatPrefix(m_LineBuffer, tag);
    char* text = m_LineBuffer + m_PrefixSize;
    int fullLength = std::vsnprintf(text, kMessageLength, format, args);
    size_t length = 0;
    if (fullLength > 0)
        length = static_cast<size_t>(fullLength) < kMessageLength ? static_cast<size_t>(fullLength)
                                                                  : kMessageLength - 1;
    if (length == 0 || text[length - 1] != '\n')
        text[length++] = '\n';
    text[length] = '\0';
    m_LineSize = m_PrefixSize + length;
    return fullLength;
}

void CDebug::WriteLine(unsigned destinations, const char* format, va_list args, const char* tag)
{
    if (destinations == 0 || format == nullptr)
        return;
    const char* message = SkipLeadingNewlines(format);
    // The ring buffer may need the arguments a second time for a message over the line limit.
    va_list again;
    va_copy(again, args);
    int fullLength = FormatLine(message, args, tag);
    // The file first: the ring buffer may append a truncation note to the line buffer.
    if ((destinations & ToLogFile) != 0)
        WriteLogFileLine();
    if ((destinations & ToRingBuffer) != 0)
        WriteRingLine(message, again, fullLength);
    va_end(again);
}

void CDebug::WriteFormatted(unsigned destinations, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    WriteLine(destinations, format, args, nullptr);
    va_end(args);
}

void CDebug::WriteLogFileLine()
{
    if (m_LogFile == nullptr)
        return;
    // One call per line, so that the stream never holds half a line when another thread writes.
    int written = std::fprintf(m_LogFile, "%s", m_LineBuffer);
    std::fflush(m_LogFile);
    if (written > 0)
        m_ByteCount += static_cast<unsigned>(written);
    if (m_ByteCount > m_LogFileMaxSize)
        WrapLogFile();
}

void CDebug::WrapLogFile()
{
    // Back to the end of start-up; older text behind the new position stays until overwritten,
    // so the file keeps its size and a reader finds the newest lines just before the WRAP line.
    if (std::fseek(m_LogFile, m_InitEndFilePosition, SEEK_SET) != 0)
    {
        syslog(LOG_ERR, "ERROR: fseek failed for %s (errno=%d) --> rewind it\n", m_LogFilePath, errno);
        std::rewind(m_LogFile);
    }
    ++m_WrapCycle;
    m_ByteCount = m_InitEndByteCount;
    int written = std::fprintf(
        m_LogFile, "%.*s------ WRAP ----- Cycle=%d, CntInitEnd=%u, CurrentByteCnt=%u (MaxCnt=%u)\n",
        static_cast<int>(m_PrefixSize), m_LineBuffer, static_cast<int>(m_WrapCycle), m_InitEndByteCount,
        m_InitEndByteCount, m_LogFileMaxSize);
    std::fflush(m_LogFile);
    if (written > 0)
        m_ByteCount += static_cast<unsigned>(written);
}
