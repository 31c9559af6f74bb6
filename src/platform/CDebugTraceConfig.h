#pragma once

#include "CIniSection.h"

#include <atomic>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

// Configuration state of the trace facility: what the ini files of the trace configuration
// directory and the TM_LOG_* environment variables set, and the re-read of changed ini files
// while the program runs. CDebug builds on it and does the writing.
//
// The current level, the trace-enabled flag and the re-read interval are read on every trace
// call without the lock, so they are atomics; everything else is changed only under CDebug's lock.
class CDebugTraceConfig
{
public:
    // An ini value that the file did not set.
    static constexpr unsigned kUnset = 0xFFFFFFFFu;
    static constexpr size_t kDirectoryLength = 256;

    virtual ~CDebugTraceConfig() = default;

    unsigned GetSavedLevel() const { return m_SavedLevel; }
    unsigned GetFileDebugLevel() const { return m_FileDebugLevel; }
    unsigned GetDynamicUpdateInterval() const { return m_DynamicUpdate.load(std::memory_order_relaxed); }
    unsigned GetLogFileMaxSize() const { return m_LogFileMaxSize; }
    unsigned GetRingBufferFactor() const { return m_RingBufferFactor; }
    unsigned GetRingBufferWeight() const { return m_RingBufferWeight; }
    unsigned GetNoHeaderToStderr() const { return m_NoHeaderToStderr; }
    bool HasMemoryColumn() const;
    // The directory that holds the log file (empty when configuration ended early).
    const char* GetTraceDirectory() const { return m_TraceDirectory; }

protected:
    CDebugTraceConfig();

    // Back to the state of a fresh object (levels 0, nothing read).
    void ResetConfiguration();
    // Reads the configuration directory, the ini files and the environment for the application.
    void LoadConfiguration(const char* applicationName);
    // True when the interval has passed since the last check or the clock went backwards.
    bool IsReReadDue(time_t now) const;
    // Records the check time and re-reads whichever ini file changed on disk. Returns true when
    // the application's section set a new level.
    bool ReReadChangedFiles(time_t now, const char* applicationName);

    std::atomic<unsigned> m_CurrentLevel{0};
    unsigned m_SavedLevel = 0;
    unsigned m_FileDebugLevel = kUnset;
    unsigned m_TraceFlags = 0;
    std::atomic<bool> m_TraceEnabled{false};

    std::atomic<unsigned> m_DynamicUpdate{0};
    std::atomic<time_t> m_LastCheckTime{0};

    // Values as the application's ini section gave them (kUnset / empty when absent).
    unsigned m_IniDynamicUpdate = 0;
    char m_RingBufferDirectory[CIniSection::kDirectoryValueLength + 1] = {};
    unsigned m_RingBufferSizeFactor = 0;
    unsigned m_RingBufferSizeWeight = 0;
    unsigned m_IniNoHeaderToStderr = 0;
    unsigned m_MemoryTracesFlag = 0;

    // Values in force after the environment was applied.
    char m_TraceDirectory[kDirectoryLength] = {};
    unsigned m_LogFileMaxSize;
    unsigned m_RingBufferFactor = 0;
    unsigned m_RingBufferWeight = 0;
    unsigned m_NoHeaderToStderr = 0;

    CIniSection m_GlobalIni;
    CIniSection m_ApplicationIni;

    // Environment as it was at configuration time, for the ring-buffer header: the variables
    // of the management stack, and the names of its configuration settings.
    std::vector<std::pair<std::string, std::string>> m_EnvironmentSnapshot;
    std::vector<std::pair<std::string, std::string>> m_ConfigurationSnapshot;

private:
    void TakeEnvironmentSnapshot(const char* applicationName);
    void ReadApplicationSection();
    void ApplyEnvironment();
};
