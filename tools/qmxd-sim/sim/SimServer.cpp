#include "SimServer.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

SimServer::SimServer(const SimProfile& profile, SimRequestLog& log, SimSysroot& sysroot)
    : m_Profile(profile), m_Responder(profile), m_Log(log), m_Sysroot(sysroot)
{
    if (pipe2(m_StopPipe, O_CLOEXEC) != 0)
        m_StopPipe[0] = m_StopPipe[1] = -1;
}

SimServer::~SimServer()
{
    Stop();
    for (int fd : m_StopPipe)
        if (fd >= 0)
            close(fd);
}

int SimServer::ListenOn(const std::string& path, std::string& error)
{
    if (!m_Sysroot.MakeParents(path, error))
        return -1;
    // A socket file left behind by a daemon that was killed would make bind fail.
    struct stat info;
    if (lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode))
        unlink(path.c_str());

    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
    {
        error = std::string("cannot create socket: ") + std::strerror(errno);
        return -1;
    }
    sockaddr_un address;
    std::memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
    {
        error = "cannot bind " + path + ": " + std::strerror(errno);
        close(fd);
        return -1;
    }
    m_Sysroot.Remember(path);
    if (listen(fd, 128) != 0)
    {
        error = "cannot listen on " + path + ": " + std::strerror(errno);
        close(fd);
        return -1;
    }
    return fd;
}

bool SimServer::Listen(std::string& error)
{
    if (m_StopPipe[0] < 0)
    {
        error = std::string("cannot create pipe: ") + std::strerror(errno);
        return false;
    }
    m_NativeListener = ListenOn(m_Sysroot.NativeSocket(), error);
    if (m_NativeListener < 0)
        return false;
    m_RequestListener = ListenOn(m_Sysroot.RequestSocket(), error);
    if (m_RequestListener < 0)
        return false;
    m_EventListener = ListenOn(m_Sysroot.EventSocket(), error);
    if (m_EventListener < 0)
        return false;
    m_ControlListener = ListenOn(m_Sysroot.ControlSocket(), error);
    return m_ControlListener >= 0;
}

void SimServer::Accept(int listener, bool probeOnly,
                       const std::function<void(std::shared_ptr<SimConnection>)>& serve)
{
    int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0)
        return;
    if (probeOnly)
    {
        // The native socket only tells clients that the daemon is ready.
        close(fd);
        return;
    }
    auto connection = std::make_shared<SimConnection>(fd);
    Spawn(connection, [serve, connection] { serve(connection); });
}

void SimServer::Spawn(std::shared_ptr<SimConnection> connection, std::function<void()> body)
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_Stopping)
            return;
        ++m_ActiveThreads;
        m_Connections.insert(connection);
    }
    std::thread(
        [this, connection, body]() mutable
        {
            body();
            connection->Hangup();
            {
                std::lock_guard<std::mutex> lock(m_Mutex);
                m_Connections.erase(connection);
            }
            // Everything the thread holds is let go before it reports its end, so Stop may return
            // (and the server go away) as soon as the count reaches zero.
            body = nullptr;
            connection.reset();
            std::lock_guard<std::mutex> lock(m_Mutex);
            --m_ActiveThreads;
            m_Changed.notify_all();
        })
        .detach();
}

bool SimServer::Pause(int milliseconds)
{
    pollfd stop = {m_StopPipe[0], POLLIN, 0};
    while (true)
    {
        int result = poll(&stop, 1, milliseconds);
        if (result == 0)
            return true;
        if (result > 0 || errno != EINTR)
            return false;
    }
}

void SimServer::Run(int signalFd, pid_t parent)
{
    pollfd fds[5] = {{signalFd, POLLIN, 0},
                     {m_NativeListener, POLLIN, 0},
                     {m_RequestListener, POLLIN, 0},
                     {m_EventListener, POLLIN, 0},
                     {m_ControlListener, POLLIN, 0}};
    auto serveRequests = [this](std::shared_ptr<SimConnection> c) { ServeChannel(c, false); };
    auto serveEvents = [this](std::shared_ptr<SimConnection> c) { ServeChannel(c, true); };
    auto serveControl = [this](std::shared_ptr<SimConnection> c) { ServeControl(c); };

    while (true)
    {
        int ready = poll(fds, 5, parent > 0 ? 500 : -1);
        if (parent > 0 && getppid() != parent)
        {
            std::fprintf(stderr, "qmxd-sim: parent process %d is gone, stopping\n", static_cast<int>(parent));
            return;
        }
        if (ready < 0 && errno != EINTR)
        {
            std::fprintf(stderr, "qmxd-sim: poll failed: %s\n", std::strerror(errno));
            return;
        }
        if (ready <= 0)
            continue;
        if (fds[0].revents & POLLIN)
        {
            signalfd_siginfo info;
            if (read(signalFd, &info, sizeof(info)) == static_cast<ssize_t>(sizeof(info)))
            {
                if (info.ssi_signo == SIGUSR1)
                    PushToAll(ProfileEventFrames(1));
                else
                    return;
            }
        }
        if (fds[1].revents & POLLIN)
            Accept(m_NativeListener, true, nullptr);
        if (fds[2].revents & POLLIN)
            Accept(m_RequestListener, false, serveRequests);
        if (fds[3].revents & POLLIN)
            Accept(m_EventListener, false, serveEvents);
        if (fds[4].revents & POLLIN)
            Accept(m_ControlListener, false, serveControl);
    }
}

void SimServer::Stop()
{
    for (int* listener : {&m_NativeListener, &m_RequestListener, &m_EventListener, &m_ControlListener})
    {
        if (*listener >= 0)
            close(*listener);
        *listener = -1;
    }
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Stopping = true;
    if (m_StopPipe[1] >= 0)
    {
        char byte = 1;
        if (write(m_StopPipe[1], &byte, 1) != 1)
        {
            // The pipe holds a byte already from an earlier Stop.
        }
    }
    for (const auto& connection : m_Connections)
        connection->Hangup();
    m_EventChannels.clear();
    // Threads end as soon as their reads and writes fail; a bounded wait keeps a stuck one from
    // blocking the exit.
    m_Changed.wait_for(lock, std::chrono::seconds(5), [this] { return m_ActiveThreads == 0; });
}
