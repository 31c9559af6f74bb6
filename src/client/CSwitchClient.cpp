// Life cycle, detach, identity and daemon detection of the client.
#include "CSwitchClient.h"

#include "CDebug.h"
#include "JsonTransport.h"
#include "SysPath.h"

#include <strings.h>
#include <sys/stat.h>

namespace
{
const char* const kInterfaceName = "JsonRequest";

struct ErrorText
{
    uint32_t code;
    const char* text;
};

// The attach errors carry the errno numbers of the same meaning.
const ErrorText kAttachErrors[] = {
    {0, "NO ERROR"},
    {6, "No qmxd service installed"},
    {13, "Permission denied on qmxd connect"},
    {22, "Remote connection not supported"},
    {92, "JSON interface not supported by qmxd"},
    {110, "Timeout during connect attempt to qmxd"},
};
} // namespace

CSwitchClient::CSwitchClient() : m_LastErrorText(kAttachErrors[0].text)
{
    pthread_mutex_init(&m_ClientMutex, nullptr);
    pthread_mutex_init(&m_EventsMutex, nullptr);
}

CSwitchClient::~CSwitchClient()
{
    if (m_EventsEnabled)
    {
        g_Debug.Print(1,
                      "\nCSwitchClient::~CSwitchClient: ## ERROR! Events still enabled (by client \"%s\") on "
                      "class destruction - fix this!!\n",
                      m_ApplicationName.c_str());
        EnableEvents(false);
    }
    if (m_AttachCount != 0 || m_FdRequestChannel >= 0)
    {
        g_Debug.Print(1,
                      "\nCSwitchClient::~CSwitchClient: ## ERROR! Still attached (by client \"%s\") on class "
                      "destruction - fix this!!\n",
                      m_ApplicationName.c_str());
        JsonDetach(m_FdRequestChannel, SysPath(kQmxdRequestSocket).c_str());
        m_FdRequestChannel = -1;
        m_AttachCount = 0;
    }
    pthread_mutex_destroy(&m_EventsMutex);
    pthread_mutex_destroy(&m_ClientMutex);
}

void CSwitchClient::Detach()
{
    pthread_mutex_lock(&m_ClientMutex);
    DetachWithoutLock();
    pthread_mutex_unlock(&m_ClientMutex);
}

void CSwitchClient::DetachWithoutLock()
{
    if (m_AttachCount == 0)
        return;
    g_Debug.Print(4, "\nCSwitchClient::Detach: reference count = %d, decrement count", m_AttachCount);
    if (m_AttachCount-- != 1)
        return;

    if (m_EventsEnabled)
        EnableEvents(false);
    g_Debug.Print(4, "\nCSwitchClient::Detach: Last client detaches - finally detach from server");
    JsonDetach(m_FdRequestChannel, SysPath(kQmxdRequestSocket).c_str());
    m_FdRequestChannel = -1;
    g_Debug.Print(4, "\nCSwitchClient::Detach: Detached");
}

bool CSwitchClient::SetApplicationName(const char* name)
{
    if (name == nullptr)
        return false;
    g_Debug.Print(4, "\nCSwitchClient::SetApplicationName: Set client application name to \"%s\"\n", name);
    pthread_mutex_lock(&m_ClientMutex);
    m_ApplicationName = name;
    pthread_mutex_unlock(&m_ClientMutex);
    return true;
}

bool CSwitchClient::IsInterfaceSupported(const char* name)
{
    return name != nullptr && strcasecmp(name, kInterfaceName) == 0;
}

bool CSwitchClient::GetInterfaceName(std::string& name)
{
    name = kInterfaceName;
    return true;
}

uint32_t CSwitchClient::GetLastErrorCode()
{
    return m_LastErrorCode;
}

void CSwitchClient::GetLastErrorText(std::string& text)
{
    text = m_LastErrorText;
}

void CSwitchClient::SetLastError(uint32_t code)
{
    m_LastErrorCode = code;
    m_LastErrorText = "Unknown error";
    for (const ErrorText& entry : kAttachErrors)
    {
        if (entry.code == code)
            m_LastErrorText = entry.text;
    }
}

bool CSwitchClient::IsServiceInstalled(const std::string& path)
{
    g_Debug.Print(5, "\nCSwitchClient::IsServiceInstalled: Check for service \"%s\" being installed...\n",
                  path.c_str());
    struct stat status;
    if (stat(SysPath(path).c_str(), &status) == 0)
    {
        g_Debug.Print(5, "\nCSwitchClient::IsServiceInstalled:   service \"%s\" is installed\n",
                      path.c_str());
        return true;
    }
    g_Debug.Print(1, "\nCSwitchClient::IsServiceInstalled:   service \"%s\" is NOT installed\n",
                  path.c_str());
    return false;
}

bool CSwitchClient::IsServiceRunning(const std::string& servicePath)
{
    // A running daemon front-end leaves its pid file; the process itself is not inspected.
    std::string baseName = servicePath.substr(servicePath.rfind('/') + 1);
    struct stat status;
    return stat(SysPath("/var/run/" + baseName + ".pid").c_str(), &status) == 0;
}
