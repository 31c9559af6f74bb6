#pragma once
// Test-side helpers for the client tests: socket pairs, listening sockets, frames written and read
// by hand (independently of the transport under test), a peer thread, and a clock that waits for
// real events but never for real time-outs.

#include "Clock.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace clienttest
{
// Longest real wait of any helper: a broken test fails instead of hanging.
constexpr int kPeerWaitMs = 5000;

// A fake clock whose Poll does wait for real, but only until the descriptor is ready (at most
// kPeerWaitMs); when nothing happens it reports a time-out and moves the fake time by the whole
// timeout, like CFakeClock. Tests with a peer thread use it: no fixed sleeps, no long waits.
class CEventClock : public CFakeClock
{
public:
    int Poll(struct pollfd* fds, nfds_t count, int timeoutMs) override
    {
        int wait = timeoutMs < 0 ? kPeerWaitMs : std::min(timeoutMs, kPeerWaitMs);
        int ready = poll(fds, count, wait);
        if (ready == 0 && timeoutMs > 0)
            AdvanceMs(static_cast<uint64_t>(timeoutMs));
        return ready;
    }
};

inline void CloseFd(int& fd)
{
    if (fd >= 0)
        close(fd);
    fd = -1;
}

struct SocketPair
{
    int client = -1;
    int peer = -1;
    SocketPair()
    {
        int fds[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0)
        {
            client = fds[0];
            peer = fds[1];
        }
    }
    ~SocketPair()
    {
        CloseFd(client);
        CloseFd(peer);
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;
};

// A length word as the daemon writes it (host byte order) followed by the given bytes.
inline std::string RawFrame(uint32_t length, const std::string& bytes)
{
    std::string frame(reinterpret_cast<const char*>(&length), sizeof(length));
    return frame + bytes;
}

// A complete frame for a text: length counts the text and its terminating zero.
inline std::string Frame(const std::string& text)
{
    return RawFrame(static_cast<uint32_t>(text.size() + 1), text + std::string(1, '\0'));
}

inline bool WriteAll(int fd, const std::string& bytes)
{
    size_t done = 0;
    while (done < bytes.size())
    {
        ssize_t written = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (written <= 0)
            return false;
        done += static_cast<size_t>(written);
    }
    return true;
}

// Reads exactly size bytes, waiting at most kPeerWaitMs for each piece.
inline bool ReadExact(int fd, size_t size, std::string& out)
{
    out.assign(size, '\0');
    size_t done = 0;
    while (done < size)
    {
        struct pollfd request = {fd, POLLIN, 0};
        if (poll(&request, 1, kPeerWaitMs) <= 0)
            return false;
        ssize_t count = read(fd, &out[done], size - done);
        if (count <= 0)
            return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

// Reads one frame; the whole payload (with its zero byte) lands in payload.
inline bool ReadFrame(int fd, std::string& payload)
{
    std::string word;
    if (!ReadExact(fd, 4, word))
        return false;
    uint32_t length;
    memcpy(&length, word.data(), 4);
    return ReadExact(fd, length, payload);
}

// The text of a frame payload (up to its zero byte).
inline std::string FrameText(const std::string& payload)
{
    return std::string(payload.c_str());
}

// A listening UNIX socket at a path; removed again on destruction.
class ListeningSocket
{
public:
    explicit ListeningSocket(const std::string& path) : m_Path(path)
    {
        m_Fd = socket(AF_UNIX, SOCK_STREAM, 0);
        struct sockaddr_un address;
        memset(&address, 0, sizeof(address));
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        unlink(path.c_str());
        if (bind(m_Fd, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)) != 0 ||
            listen(m_Fd, 16) != 0)
            CloseFd(m_Fd);
    }
    ~ListeningSocket()
    {
        CloseFd(m_Fd);
        unlink(m_Path.c_str());
    }
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    bool IsValid() const { return m_Fd >= 0; }
    int Fd() const { return m_Fd; }
    // Waits at most kPeerWaitMs for a connection; -1 when none came.
    int Accept() const
    {
        struct pollfd request = {m_Fd, POLLIN, 0};
        if (poll(&request, 1, kPeerWaitMs) <= 0)
            return -1;
        return accept(m_Fd, nullptr, nullptr);
    }

private:
    std::string m_Path;
    int m_Fd = -1;
};

// Runs a function on a thread of its own and joins it on destruction.
class PeerThread
{
public:
    explicit PeerThread(std::function<void()> body) : m_Thread(std::move(body)) {}
    ~PeerThread() { Join(); }
    PeerThread(const PeerThread&) = delete;
    PeerThread& operator=(const PeerThread&) = delete;
    void Join()
    {
        if (m_Thread.joinable())
            m_Thread.join();
    }

private:
    std::thread m_Thread;
};

// A daemon stand-in on a listening socket: accepts connections one after the other and answers
// every request frame with the reply the handler returns (an empty reply closes the connection).
// Runs until Stop() (or destruction).
class FrameServer
{
public:
    using Handler = std::function<std::string(const std::string& request)>;

    FrameServer(const std::string& path, Handler handler)
        : m_Socket(path), m_Handler(std::move(handler)), m_StopPipe(MakePipe()), m_Thread([this] { Serve(); })
    {
    }
    ~FrameServer()
    {
        Stop();
        CloseFd(m_StopPipe.first);
        CloseFd(m_StopPipe.second);
    }
    FrameServer(const FrameServer&) = delete;
    FrameServer& operator=(const FrameServer&) = delete;

    bool IsValid() const { return m_Socket.IsValid(); }
    void Stop()
    {
        if (!m_Stop.exchange(true))
        {
            ssize_t written = write(m_StopPipe.second, "x", 1);
            (void)written;
        }
        m_Thread.Join();
    }
    int Connections() const { return m_Connections; }
    int Requests() const { return m_Requests; }

private:
    static std::pair<int, int> MakePipe()
    {
        int fds[2] = {-1, -1};
        if (pipe(fds) != 0)
            return {-1, -1};
        return {fds[0], fds[1]};
    }

    // Waits until fd is readable; false when Stop() came first.
    bool WaitFor(int fd)
    {
        struct pollfd requests[2] = {{fd, POLLIN, 0}, {m_StopPipe.first, POLLIN, 0}};
        while (poll(requests, 2, -1) < 0)
        {
        }
        return requests[1].revents == 0;
    }

    void Serve()
    {
        while (!m_Stop)
        {
            if (!WaitFor(m_Socket.Fd()))
                return;
            int fd = accept(m_Socket.Fd(), nullptr, nullptr);
            if (fd < 0)
                continue;
            ++m_Connections;
            ServeConnection(fd);
            close(fd);
        }
    }

    void ServeConnection(int fd)
    {
        while (!m_Stop)
        {
            std::string payload;
            if (!WaitFor(fd) || !ReadFrame(fd, payload))
                return;
            ++m_Requests;
            std::string reply = m_Handler(FrameText(payload));
            if (reply.empty() || !WriteAll(fd, Frame(reply)))
                return;
        }
    }

    ListeningSocket m_Socket;
    Handler m_Handler;
    std::atomic<bool> m_Stop{false};
    std::atomic<int> m_Connections{0};
    std::atomic<int> m_Requests{0};
    std::pair<int, int> m_StopPipe;
    PeerThread m_Thread;
};
} // namespace clienttest
