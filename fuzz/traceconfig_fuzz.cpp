// The trace configuration: the input holds up to four parts separated by "\n@@\n": the global
// ini file, the program's ini file, a second ini file that sorts after it, and environment lines
// "NAME=value" for the TM_LOG_* variables (and TraceFileLimit). The files are written into the
// configuration folder of a private system root and read the way the trace facility reads them
// at start-up and when they change; the ini reader is also asked directly for every key.

#include "CDebugTraceConfig.h"
#include "CIniSection.h"
#include "FuzzSupport.h"
#include "SysPath.h"

#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char* const kVariables[] = {"TM_LOG_DEBUG_LEVEL",    "TM_LOG_FILE_DIR",       "TM_LOG_RINGBUF_DIR",
                                  "TM_LOG_FILE_MAX_SIZE",  "TM_LOG_DYNAMIC_UPDATE", "TM_LOG_RINGBUF_WEIGHT",
                                  "TM_LOG_NOHDR_TOSDTERR", "TraceFileLimit"};

// The configuration state is protected; a subclass reaches it the way CDebug does.
class TraceConfig : public CDebugTraceConfig
{
public:
    void Load() { LoadConfiguration("HostCapture"); }
    void ReRead() { ReReadChangedFiles(m_LastCheckTime + 1000, "HostCapture"); }
};

void SetEnvironment(const std::string& lines)
{
    for (const char* variable : kVariables)
        unsetenv(variable);
    size_t start = 0;
    while (start < lines.size())
    {
        size_t end = lines.find('\n', start);
        if (end == std::string::npos)
            end = lines.size();
        const std::string line = lines.substr(start, end - start);
        start = end + 1;
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        const std::string name = line.substr(0, equals);
        for (const char* variable : kVariables)
        {
            if (name == variable)
                setenv(variable, line.c_str() + equals + 1, 1);
        }
    }
}

void AskDirectly(const std::string& directory, const char* file, const char* section)
{
    static const char* const kKeys[] = {"DynamicUpdate",    "RingBufferDirectory",  "FileDebugLevel",
                                        "TraceFlags",       "RingBufferSizeFactor", "RingBufferSizeWeight",
                                        "NoHeaderToStderr", "MemoryTracesFlag",     ""};
    CIniSection ini;
    ini.Bind(directory, file);
    if (!ini.Load(section))
        return;
    for (const char* key : kKeys)
    {
        char value[CIniSection::kDirectoryValueLength + 1];
        ini.GetString(key, value, CIniSection::kValueLength);
        ini.GetString(key, value, CIniSection::kDirectoryValueLength);
        unsigned number = 0;
        ini.GetNumber(key, number);
    }
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::PrivateSysRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = FuzzSupport::SplitParts(data, size, 4);
    const std::string directory = SysPath("/opt/TessmarkQDX/vital/etc/TessmarkSuite/TraceConfig");
    FuzzSupport::WriteFile(directory + "/global_trace.ini", parts[0]);
    FuzzSupport::WriteFile(directory + "/hostcapture.ini", parts[1]);
    FuzzSupport::WriteFile(directory + "/zz_other.ini", parts[2]);
    SetEnvironment(parts[3]);

    TraceConfig config;
    config.Load();
    config.HasMemoryColumn();
    config.GetTraceDirectory();
    // A changed file is read again while the program runs.
    FuzzSupport::WriteFile(directory + "/hostcapture.ini", parts[2]);
    FuzzSupport::WriteFile(directory + "/global_trace.ini", parts[1]);
    config.ReRead();

    AskDirectly(directory, "global_trace.ini", "GlobalDebugSettings");
    AskDirectly(directory, "zz_other.ini", "HostCapture");
    return 0;
}
