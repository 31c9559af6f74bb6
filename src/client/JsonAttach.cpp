// Opening, initialising and closing a JSON channel to the daemon.
#include "JsonTransport.h"

#include "CCancellation.h"
#include "CDebug.h"
#include "CObraRequest.h"
#include "ObraValue.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <vector>

namespace
{
constexpr int kConnectAttempts = 20;
constexpr unsigned kConnectRetryMs = 50;

// The registration block: the client name from byte 0 and our descriptor number at bytes 65-68.
// The name is copied after the descriptor, so a name of 65 bytes or more overwrites that field;
// it never reaches past the block.
std::vector<uint8_t> BuildRegistrationBlock(int fd, const char* clientName)
{
    std::vector<uint8_t> block(kRegistrationBlockSize, 0);
    const uint32_t fdWord = static_cast<uint32_t>(fd);
    for (size_t i = 0; i < 4; ++i)
        block[kRegistrationFdOffset + i] = static_cast<uint8_t>(fdWord >> (8 * i));
    size_t nameBytes = std::min(strlen(clientName) + 1, block.size());
    memcpy(block.data(), clientName, nameBytes);
    return block;
}

// The daemon's descriptor for the channel, from bytes 65-68 of the reply's "DA"."RAW" (0 when the
// reply carries fewer bytes or no raw data).
uint32_t DaemonDescriptor(const CObraRequest& reply)
{
    std::vector<uint8_t> bytes;
    const rapidjson::Value* data = GetCommandData(reply, 0);
    const rapidjson::Value* raw = data != nullptr ? RawArray(*data) : nullptr;
    if (raw == nullptr || !RawArrayBytes(*raw, bytes) || bytes.size() < kRegistrationFdOffset + 4)
        return 0;
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i)
        value |= static_cast<uint32_t>(bytes[kRegistrationFdOffset + i]) << (8 * i);
    return value;
}
} // namespace

int SendInitChannelCommand(int fd, const char* clientName, uint32_t channelKind, uint32_t timeout,
                           int terminateFd)
{
    if (clientName == nullptr)
        clientName = "";
    std::vector<uint8_t> block = BuildRegistrationBlock(fd, clientName);

    CObraRequest command(0);
    command.SetCommandNumber("OC", kOpChannelInit);
    command.SetCommandNumber("OE", channelKind);
    command.SetCommandNumber("CA", 0);
    auto& allocator = command.Document().GetAllocator();
    rapidjson::Value raw(rapidjson::kArrayType);
    raw.Reserve(static_cast<rapidjson::SizeType>(block.size()), allocator);
    for (uint8_t byte : block)
        raw.PushBack(static_cast<unsigned>(byte), allocator);
    rapidjson::Value data(rapidjson::kObjectType);
    data.AddMember("RAW", raw, allocator);
    command.CommandAtSlot().AddMember("DA", data, allocator);

    std::string request = command.Serialize();
    std::string reply;
    uint32_t result = SendRequestOnFd(fd, request.c_str(), reply, timeout, terminateFd);
    if (result == kTransportNoMemory)
    {
        // The channel stays open: closing it is the caller's decision.
        g_Debug.PrintAlways(
            "SendInitChannelCommand: Can't initialize Request Channel on fd=%d --> close it !\n", fd);
        return 0;
    }
    // Neither the transport result nor the reply's status decides anything here: the daemon
    // answers what it answers, and the channel is used as it is.
    command.ParseReply(reply.c_str());
    g_Debug.Print(
        4, "SendInitChannelCommand: Request Channel (type=JSON) opened and initialized (fd=%d, qmxdfd=%d)\n",
        fd, static_cast<int>(DaemonDescriptor(command)));
    return 1;
}

int JsonAttach(const char* socketPath, const char* clientName)
{
    if (socketPath == nullptr)
        socketPath = "";
    if (clientName == nullptr)
        clientName = "";
    g_Debug.Print(4, "JsonAttach: Connect from client \"%s\" to socket %s...\n", clientName, socketPath);

    int fd = -1;
    for (int attempt = 1; attempt <= kConnectAttempts; ++attempt)
    {
        g_Debug.Print(4, "\nJsonAttach: connect to qmxd JSON socket \"%s\"...", socketPath);
        fd = OpenDevice(socketPath);
        if (fd >= 0)
            break;
        int error = errno;
        // A run that is stopping gives up connecting at once.
        if (!CCancellation::SleepMs(kConnectRetryMs))
            break;
        if (attempt % 10 == 1)
            g_Debug.Print(3, "JsonAttach: Connect to socket %s failed (thrId=0x%08X): %s --> retry #%d\n",
                          socketPath, TraceThreadId(), strerror(error), attempt);
    }
    if (fd < 0)
    {
        g_Debug.PrintAlways("JsonAttach: ERROR: cannot open qmxd JSON request channel %s (thrId=0x%08X)\n",
                            socketPath, TraceThreadId());
        return fd;
    }

    // Checked before the first request: the channel-init command already names us to the peer.
    if (!IsPeerTrusted(fd, socketPath))
    {
        close(fd);
        return kPeerRefused;
    }

    g_Debug.Print(4, "JsonAttach: Client \"%s\" successfully connected to socket %s\n", clientName,
                  socketPath);
    g_Debug.Print(
        4, "JsonAttach: Request channel to %s (fd=%d, Timeout=%d, Retries=%d msec) opened (thrId=0x%08X)\n",
        socketPath, fd, static_cast<int>(kInitCommandTimeout), kTransferPasses, TraceThreadId());
    SendInitChannelCommand(fd, clientName, kChannelKindRequest, kInitCommandTimeout);
    return fd;
}

void JsonDetach(int fd, const char* socketPath)
{
    (void)socketPath;
    if (fd < 0)
        return;
    g_Debug.Print(4, "JsonAttach: Disconnecting from socket...\n");
    close(fd);
    g_Debug.Print(4, "JsonAttach: -> disconnected\n");
}
