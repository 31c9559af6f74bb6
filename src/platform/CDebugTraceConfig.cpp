#include "CDebugTraceConfig.h"

#include "SysPath.h"
#include "SysRootTrust.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>

namespace
{
const char kConfigDirectory[] = "/opt/TessmarkQDX/vital/etc/TessmarkSuite/TraceConfig";
const char kGlobalIniFile[] = "global_trace.ini";
const char kGlobalSection[] = "GlobalDebugSettings";
const char kDefaultTraceDirectory[] = "/var/log/plinthd";
const unsigned kDefaultLogFileMaxSize = 0x1400000;

// Variables of the management stack shown in the ring-buffer header, so that a trace taken on a
// customer's machine tells how the stack was set up.
const char* const kEnvironmentNames[] = {"LD_LIBRARY_PATH",
                                         "TM_SYSTEM",
                                         "TM_OS",
                                         "TM_OS_MAJOR",
                                         "TM_OS_MINOR",
                                         "TM_VVOS",
                                         "TM_RELEASE",
                                         "TM_VENDOR",
                                         "TM_HOSTNAME",
                                         "TM_HOSTOSREVMAJOR",
                                         "TM_HOSTOSREVMINOR",
                                         "TM_SYSNAME",
                                         "TM_VERSION",
                                         "TM_NICKNAME",
                                         "TM_HWPLATFORM",
                                         "TM_RUNNINGONVM",
                                         "TM_RUNNINGONPAN",
                                         "TM_VMREL",
                                         "TM_ARCH",
                                         "TM_REPO",
                                         "TM_RAID_EXISTS",
                                         "TM_RAID_READY",
                                         "TM_RAID_VERSION",
                                         "TM_INSTALL_DATE",
                                         "TM_USE_SG_IO_HDR_T",
                                         "TM_AGENT_X_SOCKET",
                                         "TM_QMXD_REPLY_TIME",
                                         "TM_DAEMON_COREFILE_LIMIT",
                                         "TM_VME_WAIT_TIME_FOR_VMSERVER",
                                         "TM_SCS_PROVIDER_TRACE",
                                         "TM_SCS_NOSIGNAL",
                                         "TM_LOG_DYNAMIC_UPDATE",
                                         "TM_SCS_DEBUG_LEVEL",
                                         "TM_LOG_FILE_DIR",
                                         "TM_LOG_FILE_MAX_SIZE",
                                         "TM_LOG_RINGBUF_DIR",
                                         "TM_LOG_DEBUG_LEVEL",
                                         "TM_LOG_RINGBUF_WEIGHT",
                                         "TM_LOG_NOHDR_TOSDTERR",
                                         "KBA_TM_HOME",
                                         "KBA_SYSLOG_FIFO"};

const char* const kConfigurationNames[] = {
    "AgentPermission",    "AgentShut",       "ShutdownDelay",           "UserGroup",      "ScanTapeDevices",
    "TraceFileLimit",     "NoAccountCheck",  "InventoryRescan",         "CDPollInterval", "AgentsToBeStarted",
    "WaitForQmxdSockets", "WaitForQmxdTerm", "InvAgtPollNetUtilization"};

// scandir filter: ini files, but not the lock files that editors leave beside them.
int IsTraceIniFile(const struct dirent* entry)
{
    return std::strncmp(entry->d_name, ".#", 2) != 0 && std::strstr(entry->d_name, ".ini") != nullptr;
}

std::string EnvironmentValue(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "NotSet";
}

// An environment variable, converted in base 10, wins; else the ini value when the file set one.
unsigned NumberSetting(const char* variable, unsigned iniValue, unsigned fallback)
{
    const char* value = std::getenv(variable);
    if (value != nullptr)
        return static_cast<unsigned>(std::strtol(value, nullptr, 10));
    return iniValue != CDebugTraceConfig::kUnset ? iniValue : fallback;
}
} // namespace

CDebugTraceConfig::CDebugTraceConfig() : m_LogFileMaxSize(kDefaultLogFileMaxSize) {}

bool CDebugTraceConfig::HasMemoryColumn() const
{
    // A file that does not mention the flag leaves it unset; only an explicit non-zero value
    // switches the column on.
    return m_MemoryTracesFlag != 0 && m_MemoryTracesFlag != kUnset;
}

void CDebugTraceConfig::ResetConfiguration()
{
    m_CurrentLevel.store(0, std::memory_order_relaxed);
    m_SavedLevel = 0;
    m_FileDebugLevel = kUnset;
    m_TraceFlags = 0;
    m_TraceEnabled.store(false, std::memory_order_relaxed);
    m_DynamicUpdate.store(0, std::memory_order_relaxed);
    m_LastCheckTime.store(0, std::memory_order_relaxed);
    m_IniDynamicUpdate = 0;
    m_RingBufferDirectory[0] = '\0';
    m_RingBufferSizeFactor = 0;
    m_RingBufferSizeWeight = 0;
    m_IniNoHeaderToStderr = 0;
    m_MemoryTracesFlag = 0;
    m_TraceDirectory[0] = '\0';
    m_LogFileMaxSize = kDefaultLogFileMaxSize;
    m_RingBufferFactor = 0;
    m_RingBufferWeight = 0;
    m_NoHeaderToStderr = 0;
    m_GlobalIni.Unbind();
    m_ApplicationIni.Unbind();
    m_EnvironmentSnapshot.clear();
    m_ConfigurationSnapshot.clear();
}

void CDebugTraceConfig::TakeEnvironmentSnapshot(const char* applicationName)
{
    for (const char* name : kEnvironmentNames)
        m_EnvironmentSnapshot.emplace_back(name, EnvironmentValue(name));

    char upperName[48];
    int length = std::snprintf(upperName, sizeof(upperName), "TM_LOG_RINGBUF_WEIGHT_%s", applicationName);
    for (int i = 0; i < length && upperName[i] != '\0'; ++i)
        upperName[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(upperName[i])));
    m_EnvironmentSnapshot.emplace_back(upperName, EnvironmentValue(upperName));

    for (const char* name : kConfigurationNames)
        m_ConfigurationSnapshot.emplace_back(name, EnvironmentValue(name));
}

void CDebugTraceConfig::LoadConfiguration(const char* applicationName)
{
    ResetConfiguration();
    TakeEnvironmentSnapshot(applicationName);

    std::string directory = SysPath(kConfigDirectory);
    // A system root that root must not use (another user could change it) holds no
    // configuration either: it could send root's log anywhere. It counts as missing.
    if (!SysRootTrust::IsUsable())
        directory.clear();
    struct dirent** entries = nullptr;
    int count = scandir(directory.c_str(), &entries, IsTraceIniFile, alphasort);
    if (count == 0)
    {
        // A configuration directory without ini files means tracing was deliberately left
        // unconfigured: nothing, not even the environment, switches it on.
        std::free(entries);
        return;
    }

    m_RingBufferDirectory[0] = '\0';
    m_RingBufferSizeFactor = kUnset;
    m_RingBufferSizeWeight = kUnset;
    m_IniNoHeaderToStderr = kUnset;
    m_MemoryTracesFlag = kUnset;

    m_GlobalIni.Bind(directory, kGlobalIniFile);
    if (m_GlobalIni.Load(kGlobalSection))
        m_GlobalIni.GetNumber("DynamicUpdate", m_IniDynamicUpdate);

    for (int i = 0; i < count; ++i)
    {
        if (!m_ApplicationIni.IsBound())
        {
            m_ApplicationIni.Bind(directory, entries[i]->d_name);
            if (m_ApplicationIni.Load(applicationName))
                ReadApplicationSection();
            else
                m_ApplicationIni.Unbind();
        }
        std::free(entries[i]);
    }
    std::free(entries);

    ApplyEnvironment();
    m_SavedLevel = m_CurrentLevel.load(std::memory_order_relaxed);
    m_TraceEnabled.store(m_SavedLevel != 0, std::memory_order_relaxed);
}

void CDebugTraceConfig::ReadApplicationSection()
{
    m_ApplicationIni.GetString("RingBufferDirectory", m_RingBufferDirectory,
                               CIniSection::kDirectoryValueLength);
    m_ApplicationIni.GetNumber("FileDebugLevel", m_FileDebugLevel);
    m_ApplicationIni.GetNumber("TraceFlags", m_TraceFlags);
    m_ApplicationIni.GetNumber("RingBufferSizeFactor", m_RingBufferSizeFactor);
    m_ApplicationIni.GetNumber("RingBufferSizeWeight", m_RingBufferSizeWeight);
    m_ApplicationIni.GetNumber("NoHeaderToStderr", m_IniNoHeaderToStderr);
    m_ApplicationIni.GetNumber("MemoryTracesFlag", m_MemoryTracesFlag);
}

void CDebugTraceConfig::ApplyEnvironment()
{
    // Both directory variables fill the trace directory, the ring-buffer one last, so it is the
    // one that decides. Installations rely on this order; it is kept.
    auto setTraceDirectory = [this](const char* variable)
    {
        const char* value = std::getenv(variable);
        std::string chosen;
        if (value != nullptr)
            chosen = value;
        else if (m_RingBufferDirectory[0] != '\0')
            chosen = m_RingBufferDirectory;
        else
            chosen = SysPath(kDefaultTraceDirectory);
        std::snprintf(m_TraceDirectory, sizeof(m_TraceDirectory), "%s", chosen.c_str());
    };

    m_DynamicUpdate.store(NumberSetting("TM_LOG_DYNAMIC_UPDATE", m_IniDynamicUpdate, 0),
                          std::memory_order_relaxed);
    setTraceDirectory("TM_LOG_FILE_DIR");
    m_LogFileMaxSize = NumberSetting("TM_LOG_FILE_MAX_SIZE", m_LogFileMaxSize, kDefaultLogFileMaxSize);
    setTraceDirectory("TM_LOG_RINGBUF_DIR");
    m_CurrentLevel.store(NumberSetting("TM_LOG_DEBUG_LEVEL", m_FileDebugLevel, 0), std::memory_order_relaxed);
    // The ring-buffer factor has always been taken from this unprefixed name.
    m_RingBufferFactor = NumberSetting("TraceFileLimit", m_RingBufferSizeFactor, 0);
    m_RingBufferWeight = NumberSetting("TM_LOG_RINGBUF_WEIGHT", m_RingBufferSizeWeight, 0);
    m_NoHeaderToStderr = NumberSetting("TM_LOG_NOHDR_TOSDTERR", m_IniNoHeaderToStderr, 1);
}

bool CDebugTraceConfig::IsReReadDue(time_t now) const
{
    unsigned interval = m_DynamicUpdate.load(std::memory_order_relaxed);
    if (interval == 0)
        return false;
    time_t last = m_LastCheckTime.load(std::memory_order_relaxed);
    return now < last || now - last >= static_cast<time_t>(interval);
}

bool CDebugTraceConfig::ReReadChangedFiles(time_t now, const char* applicationName)
{
    m_LastCheckTime.store(now, std::memory_order_relaxed);

    switch (m_GlobalIni.CheckDisk())
    {
    case CIniSection::EDiskState::Missing:
        m_GlobalIni.Drop();
        break;
    case CIniSection::EDiskState::Newer:
        if (m_GlobalIni.Load(kGlobalSection) && m_GlobalIni.GetNumber("DynamicUpdate", m_IniDynamicUpdate))
            m_DynamicUpdate.store(m_IniDynamicUpdate, std::memory_order_relaxed);
        break;
    case CIniSection::EDiskState::Unchanged:
        break;
    }

    if (!m_ApplicationIni.IsBound())
        return false;
    switch (m_ApplicationIni.CheckDisk())
    {
    case CIniSection::EDiskState::Missing:
        m_ApplicationIni.Drop();
        return false;
    case CIniSection::EDiskState::Unchanged:
        return false;
    case CIniSection::EDiskState::Newer:
        break;
    }
    if (!m_ApplicationIni.Load(applicationName))
        return false;
    m_ApplicationIni.GetNumber("TraceFlags", m_TraceFlags);
    m_ApplicationIni.GetNumber("MemoryTracesFlag", m_MemoryTracesFlag);
    unsigned level = 0;
    if (!m_ApplicationIni.GetNumber("FileDebugLevel", level))
        return false;
    m_FileDebugLevel = level;
    m_SavedLevel = level;
    m_CurrentLevel.store(level, std::memory_order_relaxed);
    m_TraceEnabled.store(level != 0, std::memory_order_relaxed);
    return true;
}
