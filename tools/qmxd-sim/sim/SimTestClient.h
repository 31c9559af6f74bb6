#pragma once

// A deliberately plain client for the simulator's own tests: raw socket calls written here, not
// the daemon's framing code and not the product's client, so a framing fault shows up as a
// mismatch instead of cancelling out.

#include <rapidjson/document.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

class SimTestClient
{
public:
    explicit SimTestClient(const std::string& path)
    {
        m_Fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address;
        std::memset(&address, 0, sizeof(address));
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        if (connect(m_Fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
        {
            close(m_Fd);
            m_Fd = -1;
        }
    }
    ~SimTestClient()
    {
        if (m_Fd >= 0)
            close(m_Fd);
    }
    SimTestClient(const SimTestClient&) = delete;
    SimTestClient& operator=(const SimTestClient&) = delete;

    bool Connected() const { return m_Fd >= 0; }
    int Fd() const { return m_Fd; }

    bool SendBytes(const std::string& bytes)
    {
        return send(m_Fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    bool SendFrame(const std::string& text)
    {
        uint32_t length = static_cast<uint32_t>(text.size() + 1);
        std::string bytes(reinterpret_cast<const char*>(&length), 4);
        bytes += text;
        bytes.push_back('\0');
        return SendBytes(bytes);
    }

    // Reads exactly count bytes within timeoutMs; fewer when the peer closes or time runs out.
    std::string ReadBytes(size_t count, int timeoutMs = 3000)
    {
        std::string bytes;
        while (bytes.size() < count)
        {
            pollfd readable = {m_Fd, POLLIN, 0};
            if (poll(&readable, 1, timeoutMs) <= 0)
                break;
            char buffer[65536];
            size_t want = count - bytes.size() < sizeof(buffer) ? count - bytes.size() : sizeof(buffer);
            ssize_t got = read(m_Fd, buffer, want);
            if (got <= 0)
                break;
            bytes.append(buffer, static_cast<size_t>(got));
        }
        return bytes;
    }

    // Reads one frame and returns its body with the zero byte; lengthWord receives the length word.
    // Empty when no complete frame arrives.
    std::string ReadFrameBody(uint32_t& lengthWord, int timeoutMs = 3000)
    {
        std::string word = ReadBytes(4, timeoutMs);
        if (word.size() != 4)
            return std::string();
        std::memcpy(&lengthWord, word.data(), 4);
        std::string body = ReadBytes(lengthWord, timeoutMs);
        return body.size() == lengthWord ? body : std::string();
    }

    // Reads one frame and returns its text (up to the zero byte).
    std::string ReadFrame(int timeoutMs = 3000)
    {
        uint32_t length = 0;
        std::string body = ReadFrameBody(length, timeoutMs);
        return body.substr(0, body.find('\0'));
    }

    // Sends a request and parses the reply; the document is not an object when nothing came.
    void Exchange(const std::string& request, rapidjson::Document& reply)
    {
        reply.SetNull();
        if (!SendFrame(request))
            return;
        std::string text = ReadFrame();
        if (!text.empty())
            reply.Parse(text.c_str());
    }

    // True when the peer closed the connection (end of file within timeoutMs).
    bool SeesEndOfFile(int timeoutMs = 3000)
    {
        pollfd readable = {m_Fd, POLLIN, 0};
        if (poll(&readable, 1, timeoutMs) <= 0)
            return false;
        char byte;
        return read(m_Fd, &byte, 1) == 0;
    }

    // True when nothing at all arrives within timeoutMs and the connection stays open.
    bool StaysSilent(int timeoutMs)
    {
        pollfd readable = {m_Fd, POLLIN, 0};
        return poll(&readable, 1, timeoutMs) == 0;
    }

    // Registers the connection as a channel of the given kind (0x1100 requests, 0x1200 events).
    bool InitChannel(unsigned kind, rapidjson::Document& reply)
    {
        std::string raw;
        for (int i = 0; i < 218; ++i)
            raw += (i ? ",0" : "0");
        Exchange("{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":65440,\"OE\":" + std::to_string(kind) +
                     ",\"CA\":0,\"DA\":{\"RAW\":[" + raw + "]}}]}}",
                 reply);
        return reply.IsObject();
    }

private:
    int m_Fd = -1;
};
