#include "SimServer.h"

#include "SimFraming.h"

#include <algorithm>
#include <sys/socket.h>
#include <sys/time.h>

void SimServer::RegisterEventChannel(const std::shared_ptr<SimConnection>& connection)
{
    // A client that stops reading must not stall pushes to everybody else for ever.
    timeval limit = {5, 0};
    setsockopt(connection->Fd(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));

    // The channel's write lock is held from registration until the initial events are out, so a
    // push from elsewhere can only follow them.
    std::lock_guard<std::mutex> writing(connection->WriteMutex());
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        if (m_Stopping)
            return;
        m_EventChannels.push_back(connection);
        m_Changed.notify_all();
    }
    if (m_Profile.PushOnRegister() && !m_Profile.Events().empty())
    {
        if (!WriteAll(connection->Fd(), ProfileEventFrames(1)))
            connection->Hangup();
    }
}

void SimServer::UnregisterEventChannel(const std::shared_ptr<SimConnection>& connection)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto found = std::find(m_EventChannels.begin(), m_EventChannels.end(), connection);
    if (found != m_EventChannels.end())
        m_EventChannels.erase(found);
    m_Changed.notify_all();
}

std::string SimServer::ProfileEventFrames(long times) const
{
    std::string once;
    for (const std::string& event : m_Profile.Events())
        once += BuildFrame(event);
    std::string frames;
    frames.reserve(once.size() * static_cast<size_t>(std::max(times, 0L)));
    for (long i = 0; i < times; ++i)
        frames += once;
    return frames;
}

size_t SimServer::PushToAll(const std::string& bytes)
{
    std::vector<std::shared_ptr<SimConnection>> channels;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        channels = m_EventChannels;
    }
    size_t reached = 0;
    for (const auto& channel : channels)
    {
        if (bytes.empty() || channel->Send(bytes))
            ++reached;
        else
        {
            // The client is gone or stuck: drop it; it has to register again.
            UnregisterEventChannel(channel);
            channel->Hangup();
        }
    }
    return reached;
}

size_t SimServer::DropEventChannels()
{
    std::vector<std::shared_ptr<SimConnection>> channels;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        channels.swap(m_EventChannels);
        m_Changed.notify_all();
    }
    for (const auto& channel : channels)
        channel->Hangup();
    return channels.size();
}

bool SimServer::WaitEventChannels(size_t wanted, int timeoutMs, size_t& have)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    bool reached = m_Changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                      [&] { return m_Stopping || m_EventChannels.size() >= wanted; });
    have = m_EventChannels.size();
    return reached && !m_Stopping;
}

void SimServer::NoteStall()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    ++m_Stalls;
    m_Changed.notify_all();
}

bool SimServer::WaitStalls(size_t wanted, int timeoutMs, size_t& have)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    bool reached = m_Changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                      [&] { return m_Stopping || m_Stalls >= wanted; });
    have = m_Stalls;
    return reached && !m_Stopping;
}
