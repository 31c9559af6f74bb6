// Reading one event frame from the event channel.
#include "JsonEventChannel.h"

#include "CDebug.h"
#include "CObraRequest.h"
#include "Clock.h"
#include "JsonTransport.h"
#include "SysPath.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <poll.h>
#include <sys/socket.h>

namespace
{
enum class FrameRead
{
    Complete,
    Incomplete, // the peer stayed silent through every pass
    EndOfFile,
    Failed,
    Terminated,
};

int TraceSize(size_t size)
{
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

// Waits within a read pass for more data or for the terminate descriptor: 1 data (or a condition
// that the next read reports), 0 the pass is over, -1 terminate signalled. Like the request
// transport, a pass lasts from its first wait for at most kPassWaitMs, so a peer that is still
// sending costs no idle time.
int WaitWithinEventPass(int fd, int terminateFd, uint64_t& deadlineMs)
{
    CClock& clock = CClock::Get();
    uint64_t now = clock.NowMs();
    if (deadlineMs == 0)
        deadlineMs = now + kPassWaitMs;
    if (now >= deadlineMs)
        return 0;
    struct pollfd requests[2] = {{fd, POLLIN, 0}, {terminateFd, POLLIN, 0}};
    int ready = clock.Poll(requests, terminateFd >= 0 ? 2 : 1, static_cast<int>(deadlineMs - now));
    if (ready <= 0)
        return 0;
    if (terminateFd >= 0 && requests[1].revents != 0)
        return -1;
    return 1;
}

// Reads until received reaches wanted, in up to kTransferPasses passes.
FrameRead ReadFrameBytes(int fd, int terminateFd, char* buffer, size_t& received, size_t wanted)
{
    bool endOfFile = false;
    for (int pass = 1; pass <= kTransferPasses; ++pass)
    {
        uint64_t deadline = 0;
        endOfFile = false;
        for (;;)
        {
            ssize_t count = recv(fd, buffer + received, wanted - received, MSG_DONTWAIT);
            if (count > 0)
            {
                received += static_cast<size_t>(count);
                if (received >= wanted)
                    return FrameRead::Complete;
            }
            else if (count == 0)
            {
                // The daemon closed the channel: every further pass finds the same.
                endOfFile = true;
                break;
            }
            else if (errno == EINTR)
            {
                g_Debug.Print(1,
                              "GetEventJson: Event receiving on fd=%d interrupted (errno=EINTR, inLength=%d, "
                              "InMax=%d) --> retry=%d\n",
                              fd, TraceSize(received), TraceSize(wanted), pass);
                continue;
            }
            else if (errno != EAGAIN && errno != EWOULDBLOCK)
            {
                return FrameRead::Failed;
            }
            int waited = WaitWithinEventPass(fd, terminateFd, deadline);
            if (waited < 0)
                return FrameRead::Terminated;
            if (waited == 0)
                break;
        }
        g_Debug.Print(
            1,
            "GetEventJson: Event receiving on fd=%d incomplete (inLength=%d, InMax=%d, RetryCnt=%d) --> "
            "continue\n",
            fd, TraceSize(received), TraceSize(wanted), pass);
    }
    return endOfFile ? FrameRead::EndOfFile : FrameRead::Incomplete;
}

struct ReopenContext
{
    const char* clientName;
    int terminateFd;
    bool* fdReplaced;
    std::atomic<int>* channelSlot;
};

int ReopenChannel(int fd, const ReopenContext& context)
{
    const std::string path = SysPath(kQmxdEventSocket);
    if (context.fdReplaced != nullptr)
        *context.fdReplaced = true;
    int expected = fd;
    if (context.channelSlot != nullptr && !context.channelSlot->compare_exchange_strong(expected, -1))
    {
        g_Debug.Print(1, "GetEventJson: Event channel fd=%d was closed meanwhile --> ignore this event\n",
                      fd);
        return -1;
    }
    int newFd = ReOpenEventChannel(context.clientName, fd, context.terminateFd);
    if (newFd < 0)
    {
        g_Debug.PrintAlways("GetEventJson: ERROR: Can't reopen Event Channel on %s --> ignore this event!\n",
                            path.c_str());
        return -1;
    }
    g_Debug.Print(1, "GetEventJson: Event Channel reopened on %s, new fd=%d\n", path.c_str(), newFd);
    return newFd;
}

// Every outcome but a complete frame; true for the ones after which the channel must be reopened
// (the stream may be out of step), false for those that leave it to the caller.
bool TraceFailedRead(FrameRead result, int fd, size_t received, size_t wanted)
{
    switch (result)
    {
    case FrameRead::Failed:
        g_Debug.Print(
            1, "GetEventJson: Event receiving on fd=%d failed (errno=%d, inLength=%d, InMax=%d) --> reopen\n",
            fd, errno, TraceSize(received), TraceSize(wanted));
        return true;
    case FrameRead::Terminated:
        g_Debug.Print(
            1, "GetEventJson: termination signaled while receiving on fd=%d --> ignore this event\n", fd);
        return false;
    default:
        g_Debug.Print(
            1,
            "GetEventJson: Event receiving on fd=%d failed EOF (inLength=%d, InMax=%d) --> ignore this "
            "event!\n",
            fd, TraceSize(received), TraceSize(wanted));
        return false;
    }
}
} // namespace

int GetEventJson(CObraRequest& event, int fd, const char* clientName, int terminateFd, bool* fdReplaced,
                 std::atomic<int>* channelSlot)
{
    if (fdReplaced != nullptr)
        *fdReplaced = false;
    if (clientName == nullptr)
        clientName = "";
    const ReopenContext reopen{clientName, terminateFd, fdReplaced, channelSlot};
    if (fd < 0)
    {
        g_Debug.PrintAlways(
            "GetEventJson: ERROR: called with invalid fdEventChannel (%d) --> ignore this event\n", fd);
        return -1;
    }

    // The caller found the channel readable, so this read does not wait; nothing to read at all
    // means the daemon has gone.
    uint32_t length = 0;
    ssize_t result;
    do
        result = recv(fd, &length, sizeof(length), MSG_DONTWAIT);
    while (result < 0 && errno == EINTR);
    if (result < 1)
    {
        g_Debug.Print(1, "GetEventJson: something is fishy on fd=%d (rwresult=%d, errno=%d)\n", fd,
                      static_cast<int>(result), result < 0 ? errno : 0);
        return -1;
    }
    size_t received = static_cast<size_t>(result);
    if (received < sizeof(length))
    {
        // A length word that arrived in pieces is completed: taking it as it is would put every
        // later frame on the channel out of step.
        FrameRead word =
            ReadFrameBytes(fd, terminateFd, reinterpret_cast<char*>(&length), received, sizeof(length));
        if (word != FrameRead::Complete)
            return TraceFailedRead(word, fd, received, sizeof(length)) ? ReopenChannel(fd, reopen) : -1;
    }

    const size_t wanted = static_cast<size_t>(length) + sizeof(length);
    if (length == 0)
    {
        // Even an empty text carries its terminating zero byte.
        g_Debug.PrintAlways("GetEventJson: ERROR: Event receiving on fd=%d failed: inLength invalid "
                            "(inLength=%d, InMax=%d) --> reopen\n",
                            fd, TraceSize(received), TraceSize(wanted));
        return ReopenChannel(fd, reopen);
    }

    // A length word beyond the cap is garbage and treated like a block that cannot be had.
    std::unique_ptr<char[]> block;
    if (length <= kMaxReplyLength)
        block.reset(new (std::nothrow) char[static_cast<size_t>(length) + 20]);
    if (!block)
    {
        g_Debug.PrintAlways("GetEventJson: ERROR: Can't allocate memory for JSON event!\n");
        return -1;
    }
    memcpy(block.get(), &length, sizeof(length));

    FrameRead frame = ReadFrameBytes(fd, terminateFd, block.get(), received, wanted);
    if (frame != FrameRead::Complete)
        return TraceFailedRead(frame, fd, received, wanted) ? ReopenChannel(fd, reopen) : -1;

    g_Debug.Print(1, "GetEventJson: processing event on fd=%d (inLength=%d)\n", fd, TraceSize(received));
    // The text ends at its first zero byte; the spare bytes of the block guarantee one.
    block[wanted] = '\0';
    event.ParseReply(block.get() + sizeof(length));
    return fd;
}
