#include "SimServer.h"

#include "SimFraming.h"

#include <rapidjson/document.h>

#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace
{
constexpr size_t kMaxControlLine = 64u * 1024u * 1024u;

// Splits "word rest of line" into the word and the rest.
void SplitWord(const std::string& line, std::string& word, std::string& rest)
{
    size_t blank = line.find(' ');
    word = line.substr(0, blank);
    rest = blank == std::string::npos ? std::string() : line.substr(blank + 1);
}

bool ParseCount(const std::string& text, long low, long high, long& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtol(text.c_str(), &end, 10);
    return errno == 0 && *end == '\0' && value >= low && value <= high;
}
} // namespace

void SimServer::ServeControl(const std::shared_ptr<SimConnection>& connection)
{
    std::string pending;
    char buffer[65536];
    while (true)
    {
        ssize_t count = read(connection->Fd(), buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        pending.append(buffer, static_cast<size_t>(count));
        size_t newline;
        while ((newline = pending.find('\n')) != std::string::npos)
        {
            std::string line = pending.substr(0, newline);
            pending.erase(0, newline + 1);
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            if (!connection->Send(HandleControl(line) + "\n"))
                return;
        }
        if (pending.size() > kMaxControlLine)
        {
            connection->Send("error line too long\n");
            return;
        }
    }
}

std::string SimServer::HandleControl(const std::string& line)
{
    std::string word, rest;
    SplitWord(line, word, rest);
    long number = 0;
    if (word == "ping")
        return "ok";
    if (word == "push")
    {
        if (!rest.empty() && !ParseCount(rest, 0, 10000000, number))
            return "error usage: push [times]";
        return "ok " + std::to_string(PushToAll(ProfileEventFrames(rest.empty() ? 1 : number)));
    }
    if (word == "push-json")
    {
        rapidjson::Document document;
        document.Parse(rest.c_str());
        if (document.HasParseError())
            return "error push-json needs a JSON document (push-text sends anything)";
        return "ok " + std::to_string(PushToAll(BuildFrame(rest)));
    }
    if (word == "push-text")
        return "ok " + std::to_string(PushToAll(BuildFrame(rest)));
    if (word == "push-zero-length")
        return "ok " + std::to_string(PushToAll(BuildLengthWord(0)));
    if (word == "push-short")
    {
        std::string extra, text;
        SplitWord(rest, extra, text);
        if (!ParseCount(extra, 1, 1 << 30, number))
            return "error usage: push-short <missing bytes> <text>";
        std::string frame = BuildFrame(text);
        frame.replace(0, 4, BuildLengthWord(static_cast<uint32_t>(text.size() + 1 + number)));
        return "ok " + std::to_string(PushToAll(frame));
    }
    if (word == "drop-events")
        return "ok " + std::to_string(DropEventChannels());
    if (word == "channels")
    {
        size_t have = 0;
        WaitEventChannels(0, 0, have);
        return "ok " + std::to_string(have);
    }
    if (word == "wait-channels")
    {
        std::string wanted, timeout;
        SplitWord(rest, wanted, timeout);
        long timeoutMs = 5000;
        if (!ParseCount(wanted, 0, 1000000, number) ||
            (!timeout.empty() && !ParseCount(timeout, 0, 600000, timeoutMs)))
            return "error usage: wait-channels <count> [timeout ms]";
        size_t have = 0;
        if (!WaitEventChannels(static_cast<size_t>(number), static_cast<int>(timeoutMs), have))
            return "error timeout " + std::to_string(have);
        return "ok " + std::to_string(have);
    }
    if (word == "wait-stalls")
    {
        std::string wanted, timeout;
        SplitWord(rest, wanted, timeout);
        long timeoutMs = 5000;
        if (!ParseCount(wanted, 0, 1000000, number) ||
            (!timeout.empty() && !ParseCount(timeout, 0, 600000, timeoutMs)))
            return "error usage: wait-stalls <count> [timeout ms]";
        size_t have = 0;
        if (!WaitStalls(static_cast<size_t>(number), static_cast<int>(timeoutMs), have))
            return "error timeout " + std::to_string(have);
        return "ok " + std::to_string(have);
    }
    if (word == "requests")
        return "ok " + std::to_string(m_Log.Count());
    return "error unknown command \"" + word + "\"";
}
