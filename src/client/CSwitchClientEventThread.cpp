// The event thread: waits on the event channel and the termination pipe, reads each event, calls
// the notification callbacks, and registers again when the daemon went away and came back.
#include "CSwitchClient.h"

#include "CCancellationWindow.h"
#include "CDebug.h"
#include "JsonEventChannel.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace
{
// Statuses whose events can carry data worth handing on.
bool StatusCarriesData(uint32_t status)
{
    return status == 0 || status == 12 || status == 21 || status == 255;
}

bool HasReplyData(const CObraRequest& event, uint32_t status)
{
    if (!StatusCarriesData(status))
        return false;
    switch (GetDataType(event, 0))
    {
    case ObraDataType::None:
    case ObraDataType::Null:
        return false;
    case ObraDataType::String:
    case ObraDataType::Number:
        // A fractional number has no data size and so counts as no data.
        return GetDataSize(event, 0) != 0;
    default:
        return true;
    }
}
} // namespace

void CSwitchClient::ThreadEventMain(const std::string& clientName, const std::string& servicePath)
{
    g_Debug.Print(2, "Thread_EventMain: Event thread started\n");
    m_ThreadRunning = true;
    const char* name = clientName.c_str();

    // Every pass rereads the descriptors: a disable that gave up waiting may have closed them.
    while (!m_EventThreadStop)
    {
        const int wake = m_TerminationPipe[0];
        const int channel = m_FdEventChannel;
        if (wake < 0)
            break;
        struct pollfd requests[2] = {{channel, POLLIN, 0}, {wake, POLLIN, 0}};
        g_Debug.Print(1, "Thread_EventMain: Enter select...\n");
        int count;
        {
            // The wait has no time limit: only the pipe, an event or a cancellation end it.
            CCancellationWindow cancellable;
            count = poll(requests, 2, -1);
        }
        const int error = errno;
        g_Debug.Print(1, "Thread_EventMain: ...return from select, count = %d\n", count);
        if (count == 0)
        {
            g_Debug.Print(
                1, "Thread_EventMain: ## WARNING ##: select returned 0 (maybe timeout) --> continue\n");
            continue;
        }
        if (count < 0)
        {
            if (error == EINTR)
            {
                g_Debug.Print(1, "Thread_EventMain: select interrupted by EINTR --> ignoring\n");
                continue;
            }
            g_Debug.Print(1, "Thread_EventMain: ## ERROR ##: select returned -1, errno=%d --> bail out\n",
                          error);
            break;
        }
        if (requests[1].revents != 0 || m_EventThreadStop)
        {
            g_Debug.Print(1, "Thread_EventMain: somebody signaled terminate -> bail out\n");
            break;
        }
        if (requests[0].revents == 0)
            continue;

        g_Debug.Print(1, "Thread_EventMain: Get JSON event from socket %d...\n", channel);
        CObraRequest event(0);
        bool replaced = false;
        // Whoever closes the channel takes it out of the member first (GetEventJson too, for a
        // reopen), so a disable and the thread never close the same number twice.
        const int next = GetEventJson(event, channel, name, wake, &replaced, &m_FdEventChannel);
        if (next < 0)
        {
            if (m_EventThreadStop)
                break;
            g_Debug.Print(1, "Thread_EventMain: ## WARNING ##: JsonGetEvent failed --> try to reregister\n");
            int expected = channel;
            if (!replaced && !m_FdEventChannel.compare_exchange_strong(expected, -1))
                break; // a disable took the channel
            JsonUnregisterForEvents(replaced ? -1 : channel);
            if (!ReregisterForEvents(name, servicePath, wake))
                break;
            continue;
        }
        if (replaced)
        {
            g_Debug.Print(1,
                          "Thread_EventMain: ## WARNING ##: Event channel has been reopened FdOld=%d, "
                          "FdNew=%d --> accept it\n",
                          channel, next);
            if (!PublishEventChannel(next))
                break;
            continue;
        }
        DispatchEvent(event);
    }
    // The running flag is cleared by the caller on every way out, a cancellation included.
}

bool CSwitchClient::ReregisterForEvents(const char* clientName, const std::string& servicePath,
                                        int terminateFd)
{
    if (!IsServiceInstalled(servicePath))
    {
        g_Debug.Print(
            1, "WaitForServiceAvailable: ## WARNING ##: qmxd service no longer available -> bail out\n");
        return false;
    }
    if (!WaitForServiceAvailable(terminateFd) || m_EventThreadStop)
        return false;
    const int fd = OpenEventChannel(clientName, terminateFd);
    if (fd < 0)
    {
        g_Debug.Print(1, "ReregisterForEvents: ## WARNING ##: cannot reregister thread for events\n");
        return false;
    }
    if (!PublishEventChannel(fd))
        return false;
    g_Debug.Print(1, "ReregisterForEvents:   thread for events reregistered on m_FdEventChannel=%d\n", fd);
    return true;
}

bool CSwitchClient::PublishEventChannel(int fd)
{
    m_FdEventChannel = fd;
    // Read after the store: either the disable's exchange comes later and closes fd, or the flag
    // is seen here and one of the two exchanges gets fd.
    if (!m_EventChannelTaken && !m_EventThreadStop)
        return true;
    CloseEventChannel(m_FdEventChannel.exchange(-1));
    return false;
}

void CSwitchClient::DispatchEvent(const CObraRequest& event)
{
    CEventRecord record;
    record.Status = GetCmdValue(event, 0, "ST", 22);
    record.HasReplyData = HasReplyData(event, record.Status);
    record.OId = GetCmdValue(event, 0, "OI", 0);
    record.Cab = GetCmdValue(event, 0, "CA", 0);
    record.OE = GetCmdValue(event, 0, "OE", 0);
    record.OC = GetCmdValue(event, 0, "OC", 0);
    record.Document = &event;
    g_Debug.Print(1, "EVENT OC=%04X, OE=%04X, Cab=%02X, OId=%04X, Status=%04X, HasReplyData=%d\n", record.OC,
                  record.OE, record.Cab, record.OId, record.Status, record.HasReplyData ? 1 : 0);
    g_Debug.Print(1, "Thread_EventMain: Call event methods from client\n");
    m_CallbackMap.CallAll(record, *this);
}
