#pragma once
// Test-side helpers for the client tests: socket pairs and frames written and read by hand (not
// by the transport under test), listening sockets, and a clock that waits for real events but
// never for real time-outs.

#include "Clock.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace clienttest
{
// Longest real wait of any helper: a broken test fails instead of hanging.
constexpr int kPeerWaitMs = 5000;

// Like CFakeClock, but Poll does wait for the descriptors, for at most sliceMs of real time, so
// that peer threads and processes get to act while periods of seconds pass at once. Waits of more
// than a minute are ones that only an answer or a wake-up should end: they wait for real, at most
// kPeerWaitMs, so a wait that cannot be woken shows. A time-out moves the fake time by the whole
// timeout.
class CEventClock : public CFakeClock
{
public:
    explicit CEventClock(int sliceMs = kPeerWaitMs) : m_SliceMs(sliceMs) {}
    int Poll(struct pollfd* fds, nfds_t count, int timeoutMs) override
    {
        int realMs = timeoutMs < 0 || timeoutMs > 60000 ? kPeerWaitMs : std::min(timeoutMs, m_SliceMs);
        int ready = poll(fds, count, realMs);
        if (ready == 0 && timeoutMs > 0)
            AdvanceMs(static_cast<uint64_t>(timeoutMs));
        return ready;
    }

private:
    int m_SliceMs;
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
    uint32_t length = 0;
    if (!ReadExact(fd, 4, text))
        return false;
    memcpy(&length, text.data(), 4);
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
} // namespace clienttest
