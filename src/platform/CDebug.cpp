#include "CDebug.h"

#include "Clock.h"
#include "SafeOpen.h"
#include "SysPath.h"
#include "SysRootTrust.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

// Built during static initialisation. Its constructor relies only on things that are ready before
// any dynamic initialisation (the environment, the C library and the constant-initialised clock
// seam), and nothing else is expected to trace from a static constructor: calls that arrive before
// construction or after destruction find m_Alive false and do nothing.
CDebug g_Debug("HostCapture");

namespace
{
const char kTrailer[] = "## TRACE-END ##\n";

// Why SafeOpen::ForWriting refused an existing log; empty for ordinary failures (no permission,
// no such folder), which only the system log hears of, as before.
std::string RefusalText(int error)
{
    switch (error)
    {
    case ELOOP:
        return "the log is a symbolic link";
    case EINVAL:
        return "the log is not a regular file";
    case EMLINK:
        return "the log has more than one name";
    case EPERM:
        return "the log belongs to another user";
    default:
        return std::string();
    }
}

bool IsBelowSysRoot(const std::string& path)
{
    const std::string root = SysRoot();
    return !root.empty() && path.compare(0, root.size(), root) == 0 &&
           (path.size() == root.size() || path[root.size()] == '/' || root == "/");
}
} // namespace

CDebug::CDebug(const char* applicationName)
{
    m_ProcessId = getpid();
    time_t now = CClock::Get().Now();
    struct tm local;
    if (localtime_r(&now, &local) != nullptr)
        asctime_r(&local, m_StartTimeText);
    std::memcpy(m_Trailer, kTrailer, sizeof(kTrailer));
    m_TrailerLength = sizeof(kTrailer) - 1;
    m_Alive.store(true, std::memory_order_release);

    if (applicationName != nullptr && *applicationName != '\0' && !Init(applicationName))
        syslog(LOG_ERR, "ERROR: Error during initialization of the CDebug instance.\n");
}

CDebug::~CDebug()
{
    {
        CRecursiveLockGuard guard(m_Lock);
        m_Alive.store(false, std::memory_order_release);
        m_Target = TargetNone;
        m_CurrentLevel.store(0, std::memory_order_relaxed);
        m_SavedLevel = 0;
        m_TraceEnabled.store(false, std::memory_order_relaxed);
        CloseOutputs();
    }
    std::free(m_ApplicationName);
    m_ApplicationName = nullptr;
}

bool CDebug::IsAvailable() const
{
    return true;
}

bool CDebug::Init(const char* applicationName)
{
    CRecursiveLockGuard guard(m_Lock);
    CloseOutputs();
    std::free(m_ApplicationName);
    m_ApplicationName = strdup(applicationName != nullptr ? applicationName : "");
    const char* name = m_ApplicationName != nullptr ? m_ApplicationName : "";

    LoadConfiguration(name);
    m_LastCheckTime.store(CClock::Get().Now(), std::memory_order_relaxed);
    OpenLogFile();

    if (m_TraceEnabled.load(std::memory_order_relaxed))
    {
        m_Target = TargetLogFile;
    }
    else
    {
        m_Target = TargetNone;
        m_CurrentLevel.store(0, std::memory_order_relaxed);
        m_SavedLevel = 0;
    }
    return true;
}

void CDebug::OpenLogFile()
{
    char lowerName[kPathLength];
    std::snprintf(lowerName, sizeof(lowerName), "%s", m_ApplicationName != nullptr ? m_ApplicationName : "");
    for (char* p = lowerName; *p != '\0'; ++p)
        *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));

    // An empty trace directory puts the file at the top of the file system, which under a
    // system root is the top of that root.
    std::string folder = m_TraceDirectory;
    if (folder.empty())
        folder = SysPath("/");
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    const std::string name = std::string("log.") + lowerName;
    std::string path = folder == "/" ? "/" + name : folder + "/" + name;
    std::snprintf(m_LogFilePath, sizeof(m_LogFilePath), "%s", path.c_str());

    m_ByteCount = 0;
    m_InitEndFilePosition = 0;
    m_InitEndByteCount = 0;
    m_WrapCycle = 0;
    m_LogFile = OpenLogStream(folder, name);
    if (m_LogFile == nullptr)
        syslog(LOG_ERR, "ERROR: Error during opening %s --> proceed without it\n", m_LogFilePath);
}

FILE* CDebug::OpenLogStream(const std::string& folder, const std::string& name)
{
    // The folder is held open while the file is checked and created in it, so it cannot be
    // exchanged in between.
    const int folderFd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd < 0)
        return nullptr;
    struct stat status
    {
    };
    std::string concern = fstat(folderFd, &status) != 0 ? std::strerror(errno) : std::string();
    // Root writes the log: in a folder that someone else can write, that someone could put any
    // of root's files under the log's name between two runs.
    if (concern.empty() && geteuid() == 0)
        concern = SafeOpen::FolderConcern(status);
    if (concern.empty() && IsBelowSysRoot(folder) && !SysRootTrust::IsUsable())
        concern = "below a refused system root";
    int fd = -1;
    if (concern.empty())
    {
        // Not through a link and only a regular file of our own; readable by us alone, as a
        // detailed trace holds every reply of the daemon. Emptied once accepted.
        fd = SafeOpen::ForWriting(folderFd, name, 0600, false);
        if (fd < 0)
            concern = RefusalText(errno);
        if (fd >= 0 && ftruncate(fd, 0) != 0)
        {
            close(fd);
            fd = -1;
        }
    }
    close(folderFd);
    if (!concern.empty() && !m_LogRefusalReported)
    {
        m_LogRefusalReported = true;
        std::fprintf(stderr,
                     "%s: trace log folder \"%s\" not used (%s) - tracing goes on without a log file\n",
                     m_ApplicationName != nullptr ? m_ApplicationName : "", folder.c_str(), concern.c_str());
        std::fflush(stderr);
    }
    if (fd < 0)
        return nullptr;
    FILE* stream = fdopen(fd, "w+");
    if (stream == nullptr)
        close(fd);
    return stream;
}

void CDebug::CloseOutputs()
{
    CloseRingBuffer();
    if (m_LogFile != nullptr)
    {
        std::fclose(m_LogFile);
        m_LogFile = nullptr;
    }
    m_Target = TargetNone;
}

void CDebug::CheckDynamicUpdate()
{
    if (m_DynamicUpdate.load(std::memory_order_relaxed) == 0)
        return;
    time_t now = CClock::Get().Now();
    if (!IsReReadDue(now))
        return;
    time_t seenCheck = m_LastCheckTime.load(std::memory_order_relaxed);
    CRecursiveLockGuard guard(m_Lock);
    // Another thread may have done the check while this one waited for the lock.
    if (!m_Alive.load(std::memory_order_relaxed) ||
        m_LastCheckTime.load(std::memory_order_relaxed) != seenCheck)
        return;
    bool levelSet = ReReadChangedFiles(now, m_ApplicationName != nullptr ? m_ApplicationName : "");
    // A program started with tracing off has no target; a level raised at run time must reach
    // the log file all the same.
    if (levelSet && m_Target == TargetNone && m_LogFile != nullptr &&
        m_CurrentLevel.load(std::memory_order_relaxed) != 0)
        m_Target = TargetLogFile;
}

void CDebug::Print(unsigned level, const char* format, ...)
{
    if (format == nullptr)
        return;
    CheckDynamicUpdate();
    if (level > m_CurrentLevel.load(std::memory_order_relaxed))
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

unsigned CDebug::DestinationsForAlways() const
{
    unsigned destinations = 0;
    if (m_Target == TargetRingBuffer)
        destinations |= ToRingBuffer;
    if (m_LogFile != nullptr)
        destinations |= ToLogFile;
    return destinations;
}

void CDebug::VPrintAlways(const char* format, va_list args, const char* tag)
{
    if (format == nullptr || !m_Alive.load(std::memory_order_acquire))
        return;
    CRecursiveLockGuard guard(m_Lock);
    WriteLine(DestinationsForAlways(), format, args, tag);
}

void CDebug::VPrint(const char* format, va_list args, const char* tag)
{
    if (format == nullptr || !m_Alive.load(std::memory_order_acquire))
        return;
    CRecursiveLockGuard guard(m_Lock);
    if (m_Target == TargetLogFile)
        WriteLine(ToLogFile, format, args, tag);
    else if (m_Target == TargetRingBuffer)
        WriteLine(ToRingBuffer, format, args, tag);
}

void CDebug::SetCommandLine(int argc, char** argv)
{
    CRecursiveLockGuard guard(m_Lock);
    m_Argc = argc;
    m_Argv = argv;
    unsigned destinations = DestinationsForAlways();
    WriteFormatted(destinations,
                   "\n%s Command Line Options:", m_ApplicationName != nullptr ? m_ApplicationName : "");
    for (int i = 0; argv != nullptr && i < argc; ++i)
        WriteFormatted(destinations, "\nargv[%d] = \"%s\"", i, argv[i] != nullptr ? argv[i] : "");
}

void CDebug::AppInitDone()
{
    CRecursiveLockGuard guard(m_Lock);
    long position = m_LogFile != nullptr ? std::ftell(m_LogFile) : 0;
    if (position < 0)
        position = 0;
    m_InitEndFilePosition = position;
    m_InitEndByteCount = static_cast<unsigned>(position);

    if (m_Target == TargetRingBuffer && m_RingWrapCount == 0 && m_RingSize - m_RingOffset > 0x100000)
    {
        WriteFormatted(ToRingBuffer, "\n### End of initialization. ###");
        m_RingInitEndOffset = m_RingOffset;
        m_AppInitDone = true;
    }
}

bool CDebug::IsTraceEnabled() const
{
    return m_TraceEnabled.load(std::memory_order_relaxed);
}

unsigned CDebug::GetLevel() const
{
    return m_CurrentLevel.load(std::memory_order_relaxed);
}
