#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>

// The lowest layer of the daemon client: UNIX stream sockets to qmxd, the channel-init command,
// and length-prefixed frames (a 32-bit length in host byte order, then the JSON text with its
// terminating zero byte, which the length counts). Free functions without state of their own.

// Socket paths of the daemon, as logical paths: map them with SysPath where they are used.
constexpr const char* kQmxdNativeSocket = "/opt/TessmarkQDX/vital/qmxds";
constexpr const char* kQmxdRequestSocket = "/opt/TessmarkQDX/vital/qmxdsj";
constexpr const char* kQmxdEventSocket = "/opt/TessmarkQDX/vital/qmxdaj";

constexpr uint32_t kChannelKindRequest = 0x1100;
constexpr uint32_t kChannelKindEvent = 0x1200;
constexpr uint32_t kOpChannelInit = 0xFFA0;
constexpr uint32_t kInitCommandTimeout = 30000;
// Used by SendRequestOnFd when its timeout argument is 0.
constexpr uint32_t kDefaultRequestTimeout = 30000;
constexpr size_t kRegistrationBlockSize = 218;
// Offset of the descriptor field in the registration block (ours going out, the daemon's back).
constexpr size_t kRegistrationFdOffset = 65;
// Read and write passes of one frame, and the longest wait between two passes.
constexpr int kTransferPasses = 10;
constexpr int kPassWaitMs = 1000;
// A reply length word beyond this is taken as garbage and treated like a failed allocation.
constexpr uint32_t kMaxReplyLength = 64u * 1024u * 1024u;

// Results of SendRequestOnFd; they also stand as a command's status when an exchange fails.
enum TransportResult : uint32_t
{
    kTransportOk = 0,
    kTransportNotReadable = 5,
    kTransportReadFailed = 6,
    kTransportNoMemory = 17,
    kTransportNoChannel = 19,
    kTransportWriteFailed = 22,
};

// Connected descriptor, -1 when no socket could be created, -2 when the connect failed (also for
// a path too long for a socket address). errno tells why.
int OpenDevice(const char* path);
// connect() of a UNIX stream socket to a path: 0, or -1 with errno (ENAMETOOLONG for a path that
// does not fit into a socket address).
int ConnectUnixSocket(int fd, const char* path);

// Whether the process at the other end of a connected UNIX socket may answer us: it must run as
// root or as our own effective user. Anyone else who manages to serve the daemon's sockets (a
// system root an ordinary user prepared, a socket left behind) would otherwise fill root's page
// with whatever they like. A refusal is traced with the peer's uid.
bool IsPeerTrusted(int fd, const char* path);
// Result of JsonAttach when the daemon's socket is served by a process we do not trust.
constexpr int kPeerRefused = -13;

// Result of IsFdReady when the terminate descriptor was signalled first.
constexpr int kFdReadyTerminated = -10;

// Waits until all events of pollMask are reported for fd. Returns pollMask, or -3 (fd negative),
// -4 (timeout 0), -15 (timeout), -6 (poll error or hang-up), -9 (error condition on the
// descriptor, or a result without the requested events).
// A terminate descriptor (-1 for none) ends the wait when it becomes readable or its writer
// closes it: kFdReadyTerminated. The event thread passes its termination pipe down this way, so
// that no wait of a registration can outlast a disable.
int IsFdReady(int fd, short pollMask, int timeoutMsec, int terminateFd = -1);
// True when the terminate descriptor is readable or its writer is gone (never for -1).
bool IsTerminateSignalled(int terminateFd);
// True when a wait must end early: the terminate descriptor is signalled, or the whole run is
// stopping (CCancellation), whose descriptor every wait of this layer also watches.
bool IsWaitEnded(int terminateFd);

// Pieces of a read or write pass. A pass moves what the socket offers, then keeps moving data as
// it becomes ready until kPassWaitMs after its first wait began: a silent peer costs each pass
// its full second, a peer that is still sending costs no idle time. A pass starts with a deadline
// of 0; the first wait sets it. True when fd reported events before the deadline (false also on
// a poll error, or when the terminate descriptor was signalled).
bool WaitWithinPass(int fd, short events, uint64_t& deadlineMs, int terminateFd = -1);
// Non-blocking read and write; 0 when nothing can be moved now, -1 with errno on an error.
// Writing never raises SIGPIPE.
ssize_t ReadAvailable(int fd, char* data, size_t size);
ssize_t WriteAvailable(int fd, const char* data, size_t size);

// Sends one request frame and reads one reply frame; returns a TransportResult. A timeout of 0
// means kDefaultRequestTimeout; the value is taken in seconds for each readiness wait. A signalled
// terminate descriptor ends the exchange as a write (22) or read (5, 6) failure.
uint32_t SendRequestOnFd(int fd, const char* requestText, std::string& replyText, uint32_t timeout,
                         int terminateFd = -1);

// Opens and initialises the request channel: the descriptor, or the negative OpenDevice result
// after 20 failed connects (about one second), or kPeerRefused (nothing sent) when the peer is
// not trusted.
int JsonAttach(const char* socketPath, const char* clientName);
// Closes the request channel; nothing for a negative descriptor.
void JsonDetach(int fd, const char* socketPath);

// Registers a freshly opened channel with the daemon. 0 only when a frame buffer could not be
// allocated; every other outcome counts as an initialised channel (1), an exchange that a
// terminate signal cut short included (the caller checks IsTerminateSignalled).
int SendInitChannelCommand(int fd, const char* clientName, uint32_t channelKind, uint32_t timeout,
                           int terminateFd = -1);

// The calling thread's id as traced ("thrId=0x%08X").
unsigned TraceThreadId();
