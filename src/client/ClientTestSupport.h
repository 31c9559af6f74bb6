#pragma once
// Test-side helpers for the client tests: socket pairs, frames written and read by hand (not by
// the transport under test), a peer thread, a daemon stand-in on a listening socket, and a clock
// that waits for real events but never for real time-outs.

#include "Clock.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace clienttest
{
// Longest real wait of any helper: a broken test fails instead of hanging.
constexpr int kPeerWaitMs = 5000;

// Like CFakeClock, but Poll does wait for the descriptor (at most kPeerWaitMs of real time);
// a time-out moves the fake time by the whole timeout. For tests with a peer thread or process.
class CEventClock : public CFakeClock
{
public:
    int Poll(struct pollfd* fds, nfds_t count, int timeoutMs) override
    {
        int ready = poll(fds, count, timeoutMs < 0 ? kPeerWaitMs : std::min(timeoutMs, kPeerWaitMs));
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
};

// A length word (host byte order) followed by the given bytes.
inline std::string RawFrame(uint32_t length, const std::string& bytes)
{
    return std::string(reinterpret_cast<const char*>(&length), sizeof(length)) + bytes;
}

// A complete frame: the length counts the text and its terminating zero.
inline std::string Frame(const std::string& text)
{
    return RawFrame(static_cast<uint32_t>(text.size() + 1), text + std::string(1, '\0'));
}

inline bool WriteAll(int fd, const std::string& bytes)
{
    for (size_t done = 0; done < bytes.size();)
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
    for (size_t done = 0; done < size;)
    {
        struct pollfd request = {fd, POLLIN, 0};
        ssize_t count = poll(&request, 1, kPeerWaitMs) > 0 ? read(fd, &out[done], size - done) : -1;
        if (count <= 0)
            return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

// Reads one frame and returns its text (up to the first zero byte).
inline bool ReadFrame(int fd, std::string& text)
{
    std::string word;
    uint32_t length = 0;
    if (!ReadExact(fd, 4, word))
        return false;
    memcpy(&length, word.data(), 4);
    if (!ReadExact(fd, length, text))
        return false;
    text = text.c_str();
    return true;
}

// A listening UNIX socket; -1 when it cannot be created.
inline int Listen(const std::string& path)
{
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    if (bind(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)) != 0 || listen(fd, 16) != 0)
        CloseFd(fd);
    return fd;
}

// Runs a function on a thread of its own and joins it on destruction.
class PeerThread
{
public:
    explicit PeerThread(std::function<void()> body) : m_Thread(std::move(body)) {}
    ~PeerThread() { Join(); }
    void Join()
    {
        if (m_Thread.joinable())
            m_Thread.join();
    }

private:
    std::thread m_Thread;
};

// A daemon stand-in: accepts connections on a listening socket one after the other and answers
// each request frame with the handler's reply (an empty reply hangs up). Runs until destroyed.
class FrameServer
{
public:
    using Handler = std::function<std::string(const std::string& request)>;

    FrameServer(const std::string& path, Handler handler)
        : m_Listener(Listen(path)), m_Handler(std::move(handler)), m_Thread([this] { Serve(); })
    {
    }
    ~FrameServer()
    {
        // Shutting the sockets down wakes the server wherever it waits.
        m_Stop = true;
        shutdown(m_Listener, SHUT_RDWR);
        shutdown(m_Connection, SHUT_RDWR);
        m_Thread.Join();
        CloseFd(m_Listener);
    }
    bool IsValid() const { return m_Listener >= 0; }
    int Connections() const { return m_Connections; }

private:
    void Serve()
    {
        while (m_Listener >= 0 && WaitReadable(m_Listener))
        {
            int fd = accept(m_Listener, nullptr, nullptr);
            if (fd < 0)
                return;
            m_Connection = fd;
            ++m_Connections;
            std::string text;
            while (WaitReadable(fd) && ReadFrame(fd, text))
            {
                std::string reply = m_Handler(text);
                if (reply.empty() || !WriteAll(fd, Frame(reply)))
                    break;
            }
            m_Connection = -1;
            close(fd);
        }
    }

    // False once the server is to stop. The short poll only matters when a shutdown raced with
    // an accept; otherwise the shutdown wakes the wait at once.
    bool WaitReadable(int fd) const
    {
        struct pollfd request = {fd, POLLIN, 0};
        while (!m_Stop)
        {
            if (poll(&request, 1, 50) > 0)
                return !m_Stop;
        }
        return false;
    }

    int m_Listener;
    Handler m_Handler;
    std::atomic<bool> m_Stop{false};
    std::atomic<int> m_Connection{-1};
    std::atomic<int> m_Connections{0};
    PeerThread m_Thread;
};
} // namespace clienttest
