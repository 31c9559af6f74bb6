#pragma once

#include "SimConnection.h"
#include "SimProfile.h"
#include "SimRequestLog.h"
#include "SimResponder.h"
#include "SimSysroot.h"

#include <sys/types.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

// The simulated daemon: listens on the native, request, event and control sockets, serves every
// connection on a thread of its own, and pushes events to the registered event channels.
class SimServer
{
public:
    SimServer(const SimProfile& profile, SimRequestLog& log, SimSysroot& sysroot);
    ~SimServer();
    SimServer(const SimServer&) = delete;
    SimServer& operator=(const SimServer&) = delete;

    // Binds and listens on every socket (stale socket files are replaced).
    bool Listen(std::string& error);
    // Serves until SIGTERM or SIGINT arrives on signalFd; SIGUSR1 pushes the profile's events.
    // With parent > 0 it also ends when that process is gone (it has no one left to serve).
    void Run(int signalFd, pid_t parent);
    // Closes the listeners, hangs up every connection and waits for the connection threads.
    void Stop();

private:
    enum class Delivery
    {
        Replied,
        Silent, // a short frame went out: the client waits for bytes that never come
        Close,
    };

    // SimServer.cpp
    int ListenOn(const std::string& path, std::string& error);
    void Accept(int listener, bool probeOnly,
                const std::function<void(std::shared_ptr<SimConnection>)>& serve);
    void Spawn(std::shared_ptr<SimConnection> connection, std::function<void()> body);
    // Waits milliseconds; false when the daemon stops meanwhile.
    bool Pause(int milliseconds);

    // SimServerRequests.cpp
    void ServeChannel(const std::shared_ptr<SimConnection>& connection, bool eventSocket);
    Delivery Deliver(SimConnection& connection, const SimReply& reply);

    // SimServerEvents.cpp
    void RegisterEventChannel(const std::shared_ptr<SimConnection>& connection);
    void UnregisterEventChannel(const std::shared_ptr<SimConnection>& connection);
    std::string ProfileEventFrames(long times) const;
    // Sends bytes to every registered event channel; returns how many received them.
    size_t PushToAll(const std::string& bytes);
    size_t DropEventChannels();
    bool WaitEventChannels(size_t wanted, int timeoutMs, size_t& have);
    // Requests taken without answer ("stall" fault): counted so that a test can wait until its
    // client is inside the never-ending exchange.
    void NoteStall();
    bool WaitStalls(size_t wanted, int timeoutMs, size_t& have);

    // SimServerControl.cpp
    void ServeControl(const std::shared_ptr<SimConnection>& connection);
    std::string HandleControl(const std::string& line);

    const SimProfile& m_Profile;
    SimResponder m_Responder;
    SimRequestLog& m_Log;
    SimSysroot& m_Sysroot;

    int m_NativeListener = -1;
    int m_RequestListener = -1;
    int m_EventListener = -1;
    int m_ControlListener = -1;
    int m_StopPipe[2] = {-1, -1};

    std::mutex m_Mutex; // guards everything below
    std::condition_variable m_Changed;
    bool m_Stopping = false;
    int m_ActiveThreads = 0;
    std::set<std::shared_ptr<SimConnection>> m_Connections;
    std::vector<std::shared_ptr<SimConnection>> m_EventChannels;
    size_t m_Stalls = 0;
};
