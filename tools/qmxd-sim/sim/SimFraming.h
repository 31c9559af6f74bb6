#pragma once

#include <cstdint>
#include <string>

// Frames on the daemon's JSON sockets: a 32-bit length word in host byte order counting the text
// plus its terminating zero byte, then the text and the zero byte. This code is the daemon's own
// and deliberately shares nothing with the client's transport.

// Largest frame body the daemon accepts; anything above is treated as a broken peer.
constexpr uint32_t kMaxFrameBody = 64u * 1024u * 1024u;

enum class FrameReadResult
{
    Ok,
    Closed, // the peer closed the connection before a length word began
    Broken, // read error, a frame cut short, or a length word beyond kMaxFrameBody
};

// Reads one frame; text receives the body up to its first zero byte.
FrameReadResult ReadFrame(int fd, std::string& text);

// Builds the bytes of one frame for text (length word, text, zero byte).
std::string BuildFrame(const std::string& text);

// Builds a length word alone (for frames whose length lies about the body).
std::string BuildLengthWord(uint32_t length);

// Writes all bytes, retrying short writes and EINTR. False on error or when the peer is gone.
bool WriteAll(int fd, const char* data, size_t size);
inline bool WriteAll(int fd, const std::string& bytes)
{
    return WriteAll(fd, bytes.data(), bytes.size());
}
