#include "SimFraming.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
// Reads exactly size bytes. Returns the number read before end of file, or -1 on error.
ssize_t ReadExactly(int fd, char* data, size_t size)
{
    size_t done = 0;
    while (done < size)
    {
        ssize_t count = read(fd, data + done, size - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return -1;
        if (count == 0)
            break;
        done += static_cast<size_t>(count);
    }
    return static_cast<ssize_t>(done);
}
} // namespace

FrameReadResult ReadFrame(int fd, std::string& text)
{
    uint32_t length = 0;
    ssize_t count = ReadExactly(fd, reinterpret_cast<char*>(&length), sizeof(length));
    if (count == 0)
        return FrameReadResult::Closed;
    if (count != static_cast<ssize_t>(sizeof(length)) || length > kMaxFrameBody)
        return FrameReadResult::Broken;

    std::string body(length, '\0');
    if (length > 0 && ReadExactly(fd, &body[0], length) != static_cast<ssize_t>(length))
        return FrameReadResult::Broken;
    size_t zero = body.find('\0');
    text = zero == std::string::npos ? body : body.substr(0, zero);
    return FrameReadResult::Ok;
}

std::string BuildLengthWord(uint32_t length)
{
    return std::string(reinterpret_cast<const char*>(&length), sizeof(length));
}

std::string BuildFrame(const std::string& text)
{
    std::string frame = BuildLengthWord(static_cast<uint32_t>(text.size() + 1));
    frame += text;
    frame.push_back('\0');
    return frame;
}

bool WriteAll(int fd, const char* data, size_t size)
{
    size_t done = 0;
    while (done < size)
    {
        // MSG_NOSIGNAL: a client that went away must not kill the daemon with SIGPIPE.
        ssize_t count = send(fd, data + done, size - done, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        done += static_cast<size_t>(count);
    }
    return true;
}
