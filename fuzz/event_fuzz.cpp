// Event frames as the daemon pushes them on the event channel: the input is the byte stream of
// the channel. A socket pair carries it into the client's event reader, which is called the way
// the event thread calls it until the stream is used up; every event read is decoded the way the
// thread hands it to the callbacks.

#include "CObraRequest.h"
#include "Clock.h"
#include "FuzzSupport.h"
#include "JsonEventChannel.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
// The read end of a pipe whose writer is closed: a terminate signal that is always given, so
// that a reopen after a broken frame gives up at once instead of trying to connect for ten
// minutes. Reads of data that is already there never consult it.
int SignalledTerminateFd()
{
    static int readEnd = -1;
    if (readEnd < 0)
    {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0)
            abort();
        close(fds[1]);
        readEnd = fds[0];
    }
    return readEnd;
}

void Decode(const CObraRequest& event)
{
    volatile uint32_t sink = 0;
    sink += GetCmdValue(event, 0, "ST", 22);
    sink += GetCmdValue(event, 0, "OI", 0);
    sink += GetCmdValue(event, 0, "CA", 0);
    sink += GetCmdValue(event, 0, "OE", 0);
    sink += GetCmdValue(event, 0, "OC", 0);
    sink += static_cast<uint32_t>(GetDataType(event, 0));
    sink += GetDataSize(event, 0);
    (void)sink;
    event.Serialize();
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::PrivateSysRoot();
    static CFakeClock clock;
    CClock::Install(&clock);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 65536)
        return -1;
    int fds[2];
    FuzzSupport::QueueOnSocket(data, size, fds);
    close(fds[1]);

    CObraRequest event(0);
    int fd = fds[0];
    // Each complete frame takes at least five bytes, so this bounds the loop by the input.
    for (size_t frames = 0; frames <= size / 5 + 1; ++frames)
    {
        bool replaced = false;
        int next = GetEventJson(event, fd, "HostCapture", SignalledTerminateFd(), &replaced);
        if (next != fd)
        {
            // A reopened channel would be a connection to a daemon that does not exist here.
            if (next >= 0)
                abort();
            if (!replaced)
                close(fd);
            return 0;
        }
        Decode(event);
    }
    close(fd);
    return 0;
}
