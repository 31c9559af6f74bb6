#include "SimConnection.h"

#include "SimFraming.h"

#include <sys/socket.h>
#include <unistd.h>

SimConnection::~SimConnection()
{
    close(m_Fd);
}

bool SimConnection::Send(const std::string& bytes)
{
    std::lock_guard<std::mutex> lock(m_WriteMutex);
    return WriteAll(m_Fd, bytes);
}

void SimConnection::Hangup()
{
    shutdown(m_Fd, SHUT_RDWR);
}
