// Attaching: find the installed daemon, wait for it to be ready, open the JSON request channel.
#include "CSwitchClient.h"

#include "CCancellation.h"
#include "CDebug.h"
#include "JsonTransport.h"
#include "SysPath.h"
#include "SysRootTrust.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
const char* const kServiceFrontEnd = "/opt/TessmarkQDX/bin/tmqdx";
constexpr int kReadyAttempts = 600;
constexpr unsigned kReadyRetryMs = 1000;

// One probe of the daemon's native socket: true when a connect succeeded (the probe is closed at
// once); otherwise errno tells why.
bool TryOpenQmxdSocket(const std::string& socketPath)
{
    g_Debug.Print(3, "\nCSwitchClient::TryOpenQmxdSocket: try to open socket \"%s\"...\n",
                  socketPath.c_str());
    int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0)
    {
        int error = errno;
        if (error == EACCES)
            g_Debug.Print(
                1, "TryOpenQmxdSocket: permission denied when trying to create socket on %s - not root?\n",
                socketPath.c_str());
        else
            g_Debug.Print(1, "TryOpenQmxdSocket: create socket on %s failed (thrId=0x%08X): %s\n",
                          socketPath.c_str(), TraceThreadId(), strerror(error));
        errno = error;
        return false;
    }
    if (ConnectUnixSocket(probe, socketPath.c_str()) == 0)
    {
        close(probe);
        return true;
    }
    int error = errno;
    g_Debug.Print(1, "TryOpenQmxdSocket: connect to socket on %s failed (thrId=0x%08X): %s\n",
                  socketPath.c_str(), TraceThreadId(), strerror(error));
    close(probe);
    errno = error;
    return false;
}
} // namespace

bool CSwitchClient::Attach(const char* serverName)
{
    g_Debug.Print(4, "\nCSwitchClient::Attach: Attach to OBRA...");
    if (serverName != nullptr && *serverName != '\0')
    {
        g_Debug.Print(1,
                      "\nCSwitchClient::Attach: ## ERROR! Cannot connect to remote server on this platform!");
        SetLastError(22);
        return false;
    }

    pthread_mutex_lock(&m_ClientMutex);
    bool attached = false;
    if (m_AttachCount != 0)
    {
        ++m_AttachCount;
        g_Debug.Print(4, "\nCSwitchClient::Attach: Already attached - increment attach reference count to %d",
                      m_AttachCount);
        attached = true;
    }
    else
    {
        attached = AttachFirstReference();
    }
    pthread_mutex_unlock(&m_ClientMutex);
    g_Debug.Print(4, "\nCSwitchClient::Attach: -> attached=%d", attached ? 1 : 0);
    return attached;
}

bool CSwitchClient::AttachFirstReference()
{
    if (CCancellation::IsRequested())
    {
        // A run that is asked to stop opens no new channel: that would be one more request.
        g_Debug.Print(2, "\nCSwitchClient::Attach: run is stopping - not attaching");
        return false;
    }
    g_Debug.Print(4, "\nCSwitchClient::Attach: Checking for service installed and running...");
    if (!FindInstalledService())
    {
        g_Debug.Print(3, "\nCSwitchClient::Attach:   no service installed - cannot attach!");
        return false;
    }
    g_Debug.Print(4, "\nCSwitchClient::Attach:   service %s is installed; check/wait for being ready...",
                  m_ServicePath.c_str());
    if (WaitForServiceAndOpenChannel())
        return true;
    g_Debug.Print(3, "\nCSwitchClient::Attach:   Service installed and running, qmxd could not be connected "
                     "- cannot attach!");
    return false;
}

bool CSwitchClient::FindInstalledService()
{
    // As root, a system root that someone else can change holds no daemon we would talk to.
    if (!SysRootTrust::IsUsable())
        m_ServicePath.clear();
    else if (m_ServicePath.empty())
    {
        // Checked twice: the front-end may be in the middle of being installed.
        if (IsServiceInstalled(kServiceFrontEnd) || IsServiceInstalled(kServiceFrontEnd))
            m_ServicePath = kServiceFrontEnd;
    }
    if (m_ServicePath.empty())
    {
        g_Debug.Print(
            1, "\nCSwitchClient::CheckForInstalledService: ## ERROR! No installed qmxd service detected!\n");
        SetLastError(6);
        return false;
    }
    g_Debug.Print(4, "\nCSwitchClient::CheckForInstalledService: Name of installed qmxd service: \"%s\"\n",
                  m_ServicePath.c_str());
    return true;
}

bool CSwitchClient::WaitForServiceAndOpenChannel()
{
    const std::string nativeSocket = SysPath(kQmxdNativeSocket);
    g_Debug.Print(3, "\nCSwitchClient::IsServiceReady: Check for socket \"%s\" being available...\n",
                  nativeSocket.c_str());
    for (int attempt = 1; attempt <= kReadyAttempts; ++attempt)
    {
        if (TryOpenQmxdSocket(nativeSocket))
        {
            g_Debug.Print(3, "\nCSwitchClient::IsServiceReady: -> socket \"%s\" is available\n",
                          nativeSocket.c_str());
            int fd = JsonAttach(SysPath(kQmxdRequestSocket).c_str(), m_ApplicationName.c_str());
            if (fd == kPeerRefused)
            {
                // Served by a process we do not trust: as good as a daemon that refuses us.
                SetLastError(13);
                g_Debug.Print(3,
                              "\nCSwitchClient::IsServiceReady: -> permission denied - daemon not trusted\n");
                return false;
            }
            if (fd < 0)
            {
                SetLastError(92);
                g_Debug.Print(3, "\nCSwitchClient::Attach:   Service installed and running, but no JSON "
                                 "interface available - cannot attach!");
                return false;
            }
            g_Debug.Print(4, "\nCSwitchClient::Attach: Client successfully attached");
            m_FdRequestChannel = fd;
            m_AttachCount = 1;
            return true;
        }
        int error = errno;
        if (error == EACCES)
        {
            g_Debug.Print(3, "\nCSwitchClient::IsServiceReady: -> permission denied - not root?\n");
            SetLastError(13);
            return false;
        }

        // The wait for a daemon that is starting up may last ten minutes; a run that is asked to
        // stop does not sit it out.
        if (!CCancellation::SleepMs(kReadyRetryMs))
        {
            SetLastError(110);
            g_Debug.Print(2,
                          "\nCSwitchClient::IsServiceReady: -> run is stopping - wait for \"%s\" given up\n",
                          nativeSocket.c_str());
            return false;
        }
        g_Debug.Print(3, "\nCSwitchClient::IsServiceReady: check for service \"%s\" is running...\n",
                      m_ServicePath.c_str());
        if (!IsServiceRunning(m_ServicePath))
        {
            // The attach fails, yet the error reads "NO ERROR": a daemon that is not running is
            // not an error of the connect.
            SetLastError(0);
            g_Debug.Print(3, "\nCSwitchClient::IsServiceReady: -> service \"%s\" is NOT running - abort!\n",
                          m_ServicePath.c_str());
            return false;
        }
        if (attempt == kReadyAttempts)
        {
            SetLastError(110);
            g_Debug.Print(
                3, "\nCSwitchClient::IsServiceReady: -> socket \"%s\" is not available: %s --> TIMEOUT\n",
                nativeSocket.c_str(), strerror(error));
            return false;
        }
        g_Debug.Print(3,
                      "\nCSwitchClient::IsServiceReady: -> socket \"%s\" is not available: %s --> retry...",
                      nativeSocket.c_str(), strerror(error));
    }
    return false;
}
