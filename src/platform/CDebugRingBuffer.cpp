// CDebug: the memory-mapped ring buffer. A fixed-size file that always holds the newest trace
// lines, marked at their end by the trailer, with a header describing the process at its start.
#include "CDebug.h"
#include "SafeOpen.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{
const size_t kBlockLength = 1024;
const char kNoMemoryNote[] = "\n## ERROR: No memory: Output Truncated!\n";
const char kTooBigNote[] = "\n## WARNING: TRACE-SIZE TOO BIG: Output Truncated!\n";
// Room for prefix, newline and terminating zero beside the message in a heap-built line.
const size_t kHeapLineExtra = 145;
} // namespace

bool CDebug::InitRingBuffer(const char* path, size_t length)
{
    if (path == nullptr)
        return false;
    CRecursiveLockGuard guard(m_Lock);
    if (m_Target == TargetRingBuffer)
        m_Target = m_TraceEnabled.load(std::memory_order_relaxed) ? TargetLogFile : TargetNone;
    CloseRingBuffer();

    // Like the log file: never through a link, only a regular file of our own, readable by us
    // alone (every reply of the daemon may pass through it), emptied once accepted.
    int fd = SafeOpen::ForWriting(AT_FDCWD, path, 0600, false);
    if (fd >= 0 && ftruncate(fd, 0) != 0)
    {
        const int error = errno;
        close(fd);
        fd = -1;
        errno = error;
    }
    if (fd < 0)
    {
        int error = errno;
        WriteFormatted(ToLogFile, "\n### InitRingBuffer(): open of %s failed (errno=%d; %s) ###", path, error,
                       std::strerror(error));
        return false;
    }
    if (!FillRingBufferFile(fd, length))
    {
        close(fd);
        WriteFormatted(ToLogFile, "\n### InitRingBuffer(): (2) write m_InternalDebugBuffer to %s failed ###",
                       path);
        return false;
    }
    void* map = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map == MAP_FAILED)
    {
        int error = errno;
        close(fd);
        WriteFormatted(ToLogFile, "\n### InitRingBuffer(): mmap of %s failed (errno=%d; %s) ###", path, error,
                       std::strerror(error));
        return false;
    }

    m_RingFd = fd;
    m_RingMap = static_cast<char*>(map);
    m_RingSize = length;
    m_RingOffset = 0;
    m_RingInitEndOffset = 0;
    m_RingWrapCount = 0;
    std::snprintf(m_RingPath, sizeof(m_RingPath), "%s", path);
    m_Target = TargetRingBuffer;

    WriteRingHeader();
    m_RingOffset = HeaderEndOffset();
    WriteFormatted(ToRingBuffer, "\n### Start of initialization. ###");
    return true;
}

bool CDebug::FillRingBufferFile(int fd, size_t length)
{
    // Pre-filling allocates the file's blocks now, so that writing through the mapping cannot
    // fail later for want of space; each block is a readable line of its own.
    char block[kBlockLength];
    size_t blocks = (length + kBlockLength - 1) / kBlockLength;
    for (size_t i = 0; i < blocks; ++i)
    {
        size_t prefix = FormatPrefix(block, nullptr);
        std::memset(block + prefix, '_', kBlockLength - 1 - prefix);
        block[kBlockLength - 1] = '\n';
        if (write(fd, block, kBlockLength) != static_cast<ssize_t>(kBlockLength))
            return false;
    }
    return true;
}

void CDebug::CloseRingBuffer()
{
    if (m_RingMap != nullptr)
        munmap(m_RingMap, m_RingSize);
    if (m_RingFd >= 0)
        close(m_RingFd);
    m_RingMap = nullptr;
    m_RingFd = -1;
    m_RingSize = 0;
    m_RingOffset = 0;
    m_RingInitEndOffset = 0;
    m_RingWrapCount = 0;
    m_AppInitDone = false;
}

size_t CDebug::HeaderEndOffset() const
{
    // Lines start on a fresh kilobyte at least one kilobyte behind the header.
    size_t offset = (m_RingOffset + 2 * kBlockLength) / kBlockLength * kBlockLength;
    return offset < m_RingSize ? offset : m_RingSize;
}

void CDebug::CopyIntoRing(const char* text, size_t length)
{
    size_t room = m_RingSize - m_RingOffset;
    size_t count = length < room ? length : room;
    std::memcpy(m_RingMap + m_RingOffset, text, count);
    m_RingOffset += count;
}

void CDebug::AppendRingText(const char* text)
{
    CopyIntoRing(text, std::strlen(text));
}

void CDebug::AppendRingFormat(const char* format, ...)
{
    char text[512];
    va_list args;
    va_start(args, format);
    int length = std::vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    if (length > 0)
        AppendRingText(text);
}

void CDebug::WriteRingLine(const char* message, va_list args, int fullLength)
{
    if (m_RingMap == nullptr)
        return;
    const char* line = m_LineBuffer;
    size_t lineSize = m_LineSize;
    char* heapLine = nullptr;

    if (fullLength > static_cast<int>(kMessageLength - 1))
    {
        const char* note = nullptr;
        size_t messageLength = static_cast<size_t>(fullLength);
        if (messageLength <= m_RingSize / 10)
        {
            heapLine = static_cast<char*>(std::malloc(messageLength + kHeapLineExtra));
            if (heapLine == nullptr)
                note = kNoMemoryNote;
        }
        else
        {
            note = kTooBigNote;
        }

        if (heapLine != nullptr)
        {
            std::memcpy(heapLine, m_LineBuffer, m_PrefixSize);
            char* text = heapLine + m_PrefixSize;
            int length = std::vsnprintf(text, messageLength + 1, message, args);
            size_t used = length > 0 ? static_cast<size_t>(length) : 0;
            if (used > messageLength)
                used = messageLength;
            if (used == 0 || text[used - 1] != '\n')
                text[used++] = '\n';
            text[used] = '\0';
            line = heapLine;
            lineSize = m_PrefixSize + used;
        }
        else
        {
            // The line buffer holds the first 1024 characters (and maybe an added newline);
            // the note replaces that newline and ends the line itself.
            size_t noteLength = std::strlen(note);
            lineSize = m_PrefixSize + kMessageLength - 1;
            std::memcpy(m_LineBuffer + lineSize, note, noteLength + 1);
            lineSize += noteLength;
        }
    }

    if (m_RingOffset + m_TrailerLength + lineSize > m_RingSize)
    {
        std::memset(m_RingMap + m_RingOffset, '.', m_RingSize - m_RingOffset);
        ++m_RingWrapCount;
        m_RingOffset = 0;
        WriteRingHeader();
        size_t headerEnd = HeaderEndOffset();
        m_RingOffset = m_RingInitEndOffset > headerEnd ? m_RingInitEndOffset : headerEnd;
    }

    // A line longer than the whole buffer behind the header is cut to what fits.
    size_t room = m_RingSize - m_RingOffset;
    room = room > m_TrailerLength ? room - m_TrailerLength : 0;
    CopyIntoRing(line, lineSize < room ? lineSize : room);
    size_t trailerRoom = m_RingSize - m_RingOffset;
    std::memcpy(m_RingMap + m_RingOffset, m_Trailer,
                m_TrailerLength < trailerRoom ? m_TrailerLength : trailerRoom);
    std::free(heapLine);
}

void CDebug::WriteRingHeader()
{
    const char* name = m_ApplicationName != nullptr ? m_ApplicationName : "";
    if (m_Argv != nullptr)
    {
        AppendRingFormat("\n%s Command Line Options:", name);
        for (int i = 0; i < m_Argc; ++i)
        {
            AppendRingFormat("\nargv[%d] = \"", i);
            AppendRingText(m_Argv[i] != nullptr ? m_Argv[i] : "");
            AppendRingText("\"");
        }
    }

    AppendRingText("\nTessmark Environment:");
    for (const auto& variable : m_EnvironmentSnapshot)
    {
        AppendRingText("\n");
        AppendRingText(variable.first.c_str());
        AppendRingText("=");
        AppendRingText(variable.second.c_str());
    }
    AppendRingText("\nTessmark Configuration File:");
    for (const auto& setting : m_ConfigurationSnapshot)
    {
        AppendRingText("\n");
        AppendRingText(setting.first.c_str());
        AppendRingText("=");
        AppendRingText(setting.second.c_str());
    }

    AppendRingText("\nDebug values from ini file :");
    AppendRingFormat("\nDynamicUpdate              : %d", static_cast<int>(m_IniDynamicUpdate));
    AppendRingFormat("\nDebugLevel                 : %d", static_cast<int>(m_FileDebugLevel));
    AppendRingFormat("\nRingBufferSizeFactor       : %d", static_cast<int>(m_RingBufferSizeFactor));
    AppendRingFormat("\nRingBufferSizeWeight       : %d", static_cast<int>(m_RingBufferSizeWeight));
    AppendRingFormat("\nRingBufferDirectory        : %s", m_RingBufferDirectory);
    AppendRingFormat("\nNo Header to LogFile       : %d", static_cast<int>(m_IniNoHeaderToStderr));

    AppendRingText("\nInternal Debug values      :");
    AppendRingFormat("\nProcess PID                : %d", static_cast<int>(m_ProcessId));
    AppendRingFormat("\nTrace Target               : %d", static_cast<int>(m_Target));
    AppendRingFormat("\nTrace Level                : %d", static_cast<int>(m_CurrentLevel.load()));
    AppendRingFormat("\nTrace Level Saved          : %d", static_cast<int>(m_SavedLevel));
    AppendRingFormat("\nApplication Init Done      : %d", m_AppInitDone ? 1 : 0);
    AppendRingFormat("\nLogFile Path               : %s", m_LogFilePath);
    AppendRingFormat("\nLogFile Max Size           : %d", static_cast<int>(m_LogFileMaxSize));
    AppendRingFormat("\nRing Buffer FD             : %d", m_RingFd);
    AppendRingFormat("\nRing Buffer Factor         : %d", static_cast<int>(m_RingBufferFactor));
    AppendRingFormat("\nRing Buffer Weight         : %d", static_cast<int>(m_RingBufferWeight));
    AppendRingFormat("\nRing Buffer Size           : %d", static_cast<int>(m_RingSize));
    AppendRingFormat("\nRing Buffer Directory      : %s", m_TraceDirectory);
    AppendRingFormat("\nRing Buffer Path           : %s", m_RingPath);
    AppendRingFormat("\nNo Header to LogFile       : %d", static_cast<int>(m_NoHeaderToStderr));
    AppendRingText("\n# End of header.");
}
