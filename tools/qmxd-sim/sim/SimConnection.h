#pragma once

#include <mutex>
#include <string>

// One accepted client connection. Owns the descriptor: it is closed when the last holder lets go,
// so a thread pushing events never writes to a descriptor number that was reused meanwhile.
class SimConnection
{
public:
    explicit SimConnection(int fd) : m_Fd(fd) {}
    ~SimConnection();
    SimConnection(const SimConnection&) = delete;
    SimConnection& operator=(const SimConnection&) = delete;

    int Fd() const { return m_Fd; }
    // Writes bytes as one unit with respect to other writers of this connection.
    bool Send(const std::string& bytes);
    // Lets several writes go out without another writer's frames in between.
    std::mutex& WriteMutex() { return m_WriteMutex; }
    // Ends the conversation: a reader blocked on the descriptor wakes up with end of file.
    void Hangup();

private:
    int m_Fd;
    std::mutex m_WriteMutex;
};
