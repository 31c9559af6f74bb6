// Cost of one query through the whole client stack against the floor of a bare round trip of the
// same frames, its JSON share, and the pace at which a large reply that arrives in pieces is taken in.
#include "CSwitchClient.h"

#include "JsonTransport.h"
#include "TestEnv.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace
{
const std::string kRequest = R"({"SIP":{"V":1,"CMD":[{"OC":772,"OE":0,"OI":3,"CA":0}]}})";
const std::string kReply = R"({"SIP":{"V":1,"CMD":[{"OC":772,"OI":3,"CA":0,"ST":0,"DA":"FAN4 SYS"}]}})";

bool ReadFully(int fd, char* data, size_t size)
{
    while (size > 0)
    {
        ssize_t count = read(fd, data, size);
        if (count <= 0)
            return false;
        data += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

bool WriteFully(int fd, const char* data, size_t size)
{
    while (size > 0)
    {
        ssize_t count = send(fd, data, size, MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        data += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

std::string Frame(const std::string& text)
{
    uint32_t length = static_cast<uint32_t>(text.size() + 1);
    std::string frame(reinterpret_cast<const char*>(&length), 4);
    return frame + text + std::string(1, '\0');
}

bool ReadFrame(int fd, std::string& payload)
{
    uint32_t length = 0;
    if (!ReadFully(fd, reinterpret_cast<char*>(&length), 4))
        return false;
    payload.resize(length);
    return ReadFully(fd, &payload[0], length);
}

// The daemon side used by both measurements: answers every frame with the same reply frame,
// until the peer goes away.
void Respond(int fd, const std::string& replyFrame)
{
    std::string payload;
    while (ReadFrame(fd, payload))
    {
        if (!WriteFully(fd, replyFrame.data(), replyFrame.size()))
            return;
    }
}

int Listen(const std::string& path)
{
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un address;
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    if (bind(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)) != 0 || listen(fd, 4) != 0)
    {
        close(fd);
        return -1;
    }
    return fd;
}

// The floor: the same frames written and read with plain blocking calls. With waitForReply, the
// reply is first waited for with poll, as a client with a timeout must.
void BareRoundTrip(benchmark::State& state, bool waitForReply)
{
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0)
    {
        state.SkipWithError("socketpair failed");
        return;
    }
    std::thread responder(Respond, fds[1], Frame(kReply));
    const std::string requestFrame = Frame(kRequest);
    std::string payload;
    for (auto _ : state)
    {
        struct pollfd reply = {fds[0], POLLIN, 0};
        if (!WriteFully(fds[0], requestFrame.data(), requestFrame.size()) ||
            (waitForReply && poll(&reply, 1, -1) != 1) || !ReadFrame(fds[0], payload))
        {
            state.SkipWithError("round trip failed");
            break;
        }
        benchmark::DoNotOptimize(payload.data());
    }
    shutdown(fds[0], SHUT_RDWR);
    responder.join();
    close(fds[0]);
    close(fds[1]);
}
void BM_BareRoundTrip(benchmark::State& state)
{
    BareRoundTrip(state, false);
}
BENCHMARK(BM_BareRoundTrip)->UseRealTime()->MeasureProcessCPUTime();

void BM_BareRoundTripWithPoll(benchmark::State& state)
{
    BareRoundTrip(state, true);
}
BENCHMARK(BM_BareRoundTripWithPoll)->UseRealTime()->MeasureProcessCPUTime();

void BM_ClientRequest(benchmark::State& state)
{
    TempDir root;
    ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
    root.Write("opt/TessmarkQDX/bin/tmqdx", "");
    root.Write("var/run/tmqdx.pid", "1\n");
    int native = Listen(root.File("opt/TessmarkQDX/vital/qmxds"));
    int requests = Listen(root.File("opt/TessmarkQDX/vital/qmxdsj"));
    if (native < 0 || requests < 0)
    {
        state.SkipWithError("cannot listen");
        return;
    }
    std::thread responder(
        [requests]
        {
            int fd = accept(requests, nullptr, nullptr);
            if (fd >= 0)
            {
                Respond(fd, Frame(kReply));
                close(fd);
            }
        });

    {
        CSwitchClient client;
        if (!client.Attach(nullptr))
            state.SkipWithError("attach failed");
        CObraRequest request(0);
        for (auto _ : state)
        {
            if (!client.GetAttachCount())
                break;
            // What the query layer does per query: rewrite the slot, exchange, read the answer.
            request.Reset();
            request.SetCommandNumber("OC", 0x0304);
            request.SetCommandNumber("OE", 0, true);
            request.SetCommandNumber("OI", 3, true);
            request.SetCommandNumber("CA", 0);
            if (client.Request(request, 0) != 0)
            {
                state.SkipWithError("request failed");
                break;
            }
            benchmark::DoNotOptimize(GetDataSize(request, 0));
        }
        client.Detach();
    }
    responder.join();
    close(native);
    close(requests);
}
BENCHMARK(BM_ClientRequest)->UseRealTime()->MeasureProcessCPUTime();

// The JSON share of BM_ClientRequest: the same document work without the exchange.
void BM_JsonWorkOnly(benchmark::State& state)
{
    CObraRequest request(0);
    rapidjson::StringBuffer text;
    std::string reply;
    for (auto _ : state)
    {
        request.Reset();
        request.SetCommandNumber("OC", 0x0304);
        request.SetCommandNumber("OE", 0, true);
        request.SetCommandNumber("OI", 3, true);
        request.SetCommandNumber("CA", 0);
        request.Serialize(text);
        benchmark::DoNotOptimize(text.GetString());
        reply = kReply;
        request.ParseReply(reply);
        benchmark::DoNotOptimize(GetCmdValue(request, 0, "ST", 22));
        benchmark::DoNotOptimize(GetDataSize(request, 0));
    }
}
BENCHMARK(BM_JsonWorkOnly);

// A 1 MiB reply sent in 64 KiB pieces 5 ms apart: the sender needs about 80 ms; the exchange
// should not take much longer.
void BM_LargeReplyInPieces(benchmark::State& state)
{
    const size_t pieceSize = 64 * 1024;
    const std::string replyFrame = Frame(std::string(1024 * 1024 - 1, 'x'));
    for (auto _ : state)
    {
        int fds[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0)
        {
            state.SkipWithError("socketpair failed");
            break;
        }
        std::thread sender(
            [&]
            {
                std::string payload;
                if (!ReadFrame(fds[1], payload))
                    return;
                for (size_t offset = 0; offset < replyFrame.size(); offset += pieceSize)
                {
                    if (offset != 0)
                        std::this_thread::sleep_for(std::chrono::milliseconds(5));
                    size_t size = std::min(pieceSize, replyFrame.size() - offset);
                    if (!WriteFully(fds[1], replyFrame.data() + offset, size))
                        return;
                }
            });
        std::string reply;
        uint32_t result = SendRequestOnFd(fds[0], kRequest.c_str(), reply, 0);
        sender.join();
        close(fds[0]);
        close(fds[1]);
        if (result != 0 || reply.size() != 1024 * 1024 - 1)
        {
            state.SkipWithError("large reply failed");
            break;
        }
    }
}
BENCHMARK(BM_LargeReplyInPieces)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(10);
} // namespace

BENCHMARK_MAIN();
