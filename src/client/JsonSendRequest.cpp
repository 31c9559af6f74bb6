// One request/reply exchange on a JSON channel: write the request frame, read the reply frame.
#include "JsonTransport.h"

#include "CDebug.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
uint32_t Failed(int fd, uint32_t result)
{
    g_Debug.Print(4, "CSwitchClient::JsonSendRequest: on fd=%d failed\n", fd);
    return result;
}

// A pass that ended because the terminate descriptor was signalled: the exchange is given up.
bool Terminated(int fd, int terminateFd)
{
    if (!IsWaitEnded(terminateFd))
        return false;
    g_Debug.Print(2, "SendRequestOnFd: termination signaled on fd=%d --> bail out\n", fd);
    return true;
}

bool IsWritable(int fd, int pollTimeout, int terminateFd)
{
    int ready = IsFdReady(fd, POLLOUT, pollTimeout, terminateFd);
    if (ready == POLLOUT)
        return true;
    g_Debug.Print(
        4, "SendRequestOnFd: it seems that socket %d is not ready for write (pollresult=%d) -> bail out!\n",
        fd, ready);
    return false;
}

// The write phase; kTransportOk also when the request is still incomplete after the last pass
// (the reply is read all the same).
uint32_t WriteRequest(int fd, const char* frame, size_t total, int pollTimeout, int terminateFd)
{
    size_t sent = 0;
    for (int pass = 1; pass <= kTransferPasses; ++pass)
    {
        // A socket nearly always takes a whole request at once, so the first pass writes straight
        // away and asks poll only when that write fails; poll then tells what is wrong.
        bool writeFirst = pass == 1;
        if (!writeFirst && !IsWritable(fd, pollTimeout, terminateFd))
            return kTransportWriteFailed;
        g_Debug.Print(4, "SendRequestOnFd: write request string to socket %d...\n", fd);
        uint64_t deadline = 0;
        for (;;)
        {
            ssize_t written = WriteAvailable(fd, frame + sent, total - sent);
            if (writeFirst && written < 0 && errno != EINTR)
            {
                writeFirst = false;
                if (!IsWritable(fd, pollTimeout, terminateFd))
                    return kTransportWriteFailed;
                continue;
            }
            writeFirst = false;
            if (written < 0 && errno == EINTR)
            {
                g_Debug.Print(1,
                              "SendRequestOnFd: sending request on fd=%d interrupted (errno=EINTR, "
                              "outLength=%d, InOutMax=%d) --> retry=%d\n",
                              fd, static_cast<int>(sent), static_cast<int>(total), pass);
            }
            else if (written < 0)
            {
                g_Debug.Print(1,
                              "SendRequestOnFd: sending request on fd=%d failed (outLength=%d, InOutMax=%d) "
                              "--> bail out\n",
                              fd, static_cast<int>(sent), static_cast<int>(total));
                return kTransportWriteFailed;
            }
            else if (written == 0 && errno != EAGAIN && errno != EWOULDBLOCK)
            {
                g_Debug.Print(1,
                              "SendRequestOnFd: sending request on fd=%d failed EOF (outLength=%d, "
                              "InOutMax=%d, rwresult=%d): --> bail out\n",
                              fd, static_cast<int>(sent), static_cast<int>(total), static_cast<int>(written));
                return kTransportWriteFailed;
            }
            else
            {
                sent += static_cast<size_t>(written);
                if (sent >= total)
                {
                    g_Debug.Print(4, "SendRequestOnFd: sending request on fd=%d done, rwresult=%d\n", fd,
                                  static_cast<int>(written));
                    return kTransportOk;
                }
            }
            if (!WaitWithinPass(fd, POLLOUT, deadline, terminateFd))
                break;
        }
        if (Terminated(fd, terminateFd))
            return kTransportWriteFailed;
        g_Debug.Print(1,
                      "SendRequestOnFd: sending request on fd=%d incomplete (outLength=%d, InOutMax=%d) --> "
                      "continue=%d\n",
                      fd, static_cast<int>(sent), static_cast<int>(total), pass);
    }
    return kTransportOk;
}

// The read phase: length word, one block sized from it, then up to ten passes for the text.
uint32_t ReadReply(int fd, std::string& replyText, int pollTimeout, int terminateFd)
{
    int ready = IsFdReady(fd, POLLIN, pollTimeout, terminateFd);
    if (ready != POLLIN)
    {
        g_Debug.Print(
            4,
            "SendRequestOnFd: it seems that socket %d is not ready for read (pollresult=%d) -> bail out!\n",
            fd, ready);
        return kTransportNotReadable;
    }

    // A short read of the length word is taken as it is; the bytes that did not arrive count as 0.
    uint32_t length = 0;
    ssize_t result = read(fd, &length, sizeof(length));
    if (result < 1)
    {
        g_Debug.Print(1, "SendRequestOnFd: something is fishy on fd=%d (rwresult=%d, errno=%d)\n", fd,
                      static_cast<int>(result), result < 0 ? errno : 0);
        return kTransportReadFailed;
    }

    // The text is read straight into the reply string (one block of length + 20 bytes, the length
    // word read apart), which the caller may keep between calls.
    uint64_t blockSize = static_cast<uint64_t>(length) + 20;
    char* block = nullptr;
    if (length <= kMaxReplyLength)
    {
        try
        {
            replyText.resize(static_cast<size_t>(blockSize));
            block = &replyText[0];
        }
        catch (const std::bad_alloc&)
        {
            replyText.clear();
        }
    }
    if (block == nullptr)
    {
        g_Debug.PrintAlways(
            "SendRequestOnFd: ERROR: Can't allocate memory for JSON reply on fd=%d (size=%d)!\n", fd,
            blockSize > INT_MAX ? INT_MAX : static_cast<int>(blockSize));
        return kTransportNoMemory;
    }
    g_Debug.Print(4, "SendRequestOnFd: read reply on fd=%d, ReplyLen=%d ...\n", fd, static_cast<int>(length));

    // Counts include the length word; the text starts at the beginning of the block.
    const size_t wanted = static_cast<size_t>(length) + 4;
    size_t received = 4;
    for (int pass = 1; pass <= kTransferPasses && received < wanted; ++pass)
    {
        uint64_t deadline = 0;
        bool woken = false;
        for (;;)
        {
            ssize_t count = ReadAvailable(fd, block + (received - 4), wanted - received);
            g_Debug.Print(4, "SendRequestOnFd: data read from socket, rwresult = %d\n",
                          static_cast<int>(count));
            if (count < 0 && errno == EINTR)
            {
                g_Debug.Print(1,
                              "SendRequestOnFd: receiving reply on fd=%d interrupted (errno=EINTR, "
                              "inLength=%d, InOutMax=%d) --> retry=%d\n",
                              fd, static_cast<int>(received), static_cast<int>(wanted), pass);
            }
            else if (count < 0)
            {
                g_Debug.Print(1,
                              "SendRequestOnFd: receiving reply on fd=%d failed (inLength=%d, InOutMax=%d) "
                              "--> bail out\n",
                              fd, static_cast<int>(received), static_cast<int>(wanted));
                return kTransportReadFailed;
            }
            else if (count == 0 && woken)
            {
                // Readable but nothing to read: the peer closed. Reads of 0 bytes only make the
                // pass incomplete; the remaining passes will find the same.
                break;
            }
            if (count > 0)
                received += static_cast<size_t>(count);
            if (received >= wanted || !WaitWithinPass(fd, POLLIN, deadline, terminateFd))
                break;
            woken = true;
        }
        if (received >= wanted)
            break;
        if (Terminated(fd, terminateFd))
            return kTransportReadFailed;
        g_Debug.Print(1,
                      "SendRequestOnFd: receiving reply on fd=%d incomplete (inLength=%d, InOutMax=%d, "
                      "pCmdJReply->len=%d) --> continue=%d\n",
                      fd, static_cast<int>(received), static_cast<int>(wanted), static_cast<int>(length),
                      pass);
    }
    if (received < wanted)
    {
        g_Debug.Print(1,
                      "SendRequestOnFd: receiving reply on fd=%d failed (inLength=%d, InOutMax=%d, "
                      "pCmdJReply->len=%d)\n",
                      fd, static_cast<int>(received), static_cast<int>(wanted), static_cast<int>(length));
        return kTransportReadFailed;
    }

    g_Debug.Print(4, "SendRequestOnFd: receiving reply on fd=%d done, inLength=%d\n", fd,
                  static_cast<int>(received));
    // The text ends at its first zero byte, whatever the length word said.
    replyText.resize(strnlen(block, received - 4));
    g_Debug.Print(4, "CSwitchClient::JsonSendRequest: JSON reply on fd=%d, BytesReceived=%d: %s\n", fd,
                  static_cast<int>(received), replyText.c_str());
    return kTransportOk;
}
} // namespace

uint32_t SendRequestOnFd(int fd, const char* requestText, std::string& replyText, uint32_t timeout,
                         int terminateFd)
{
    replyText.clear();
    if (requestText == nullptr)
        requestText = "";
    const size_t textLength = strlen(requestText) + 1;
    std::unique_ptr<char[]> frame;
    if (textLength <= UINT32_MAX - 24)
        frame.reset(new (std::nothrow) char[textLength + 20]);
    if (!frame)
    {
        g_Debug.Print(1, "CSwitchClient::JsonSendRequest: ERROR Failed to allocate JSON reply buffer!\n");
        return kTransportNoMemory;
    }
    g_Debug.Print(4, "CSwitchClient::JsonSendRequest: send JSON request string: %s\n", requestText);
    const uint32_t lengthWord = static_cast<uint32_t>(textLength);
    memcpy(frame.get(), &lengthWord, sizeof(lengthWord));
    memcpy(frame.get() + 4, requestText, textLength);

    // The timeout is taken in seconds for each readiness wait, whatever unit the caller meant.
    uint64_t pollTimeout64 = static_cast<uint64_t>(timeout != 0 ? timeout : kDefaultRequestTimeout) * 1000;
    const int pollTimeout = pollTimeout64 > INT_MAX ? INT_MAX : static_cast<int>(pollTimeout64);

    if (fd < 0)
    {
        g_Debug.PrintAlways("SendRequestOnFd: sending request failed (request channel not available)\n");
        return kTransportNoChannel;
    }

    uint32_t result = WriteRequest(fd, frame.get(), textLength + 4, pollTimeout, terminateFd);
    if (result == kTransportOk)
        result = ReadReply(fd, replyText, pollTimeout, terminateFd);
    if (result != kTransportOk)
    {
        replyText.clear();
        return Failed(fd, result);
    }
    return kTransportOk;
}
