#pragma once

#include <atomic>
#include <cstdint>

class CObraRequest;

// The event channel to the daemon: a JSON channel on the event socket, registered with the
// channel-init command, on which the daemon pushes OBRA documents in the frames of the request
// channel. Free functions without state of their own; the client's event thread owns the
// descriptor.
//
// Several functions take a terminate descriptor (-1 for none): when it becomes readable (or its
// writer closes it) during one of their pauses, they give up at once instead of waiting on.

// Connect attempts on the event socket, one second apart.
constexpr int kEventConnectAttempts = 600;
constexpr unsigned kEventConnectRetryMs = 1000;
// Check period of WaitForServiceAvailable, and its limit when TM_MAXWAIT_FOR_QMXD is not set.
constexpr int kServiceCheckPeriodSec = 2;
constexpr long kDefaultMaxServiceWaitSec = 1200;

// Opens and registers the event channel: the descriptor, or -1 after 600 failed connects, a
// failed registration, or a terminate signal.
int OpenEventChannel(const char* clientName, int terminateFd = -1);
// Closes the old descriptor (when there is one), pauses one second, opens the channel again.
int ReOpenEventChannel(const char* clientName, int oldFd, int terminateFd = -1);
// Closes the channel; -1 is traced and ignored.
void CloseEventChannel(int fd);
void JsonUnregisterForEvents(int fd);

// Reads one event frame from the channel into the document. Returns the descriptor to go on
// with: fd itself after a complete frame (the document holds the event; it is the empty skeleton
// when the text was no OBRA document), a reopened channel (nothing was read), or -1 when no event
// could be read and the channel is not usable. *fdReplaced (when given) tells whether fd was
// closed for a reopen: the new channel may carry the same number, and after a failed reopen the
// caller must not close fd a second time.
// channelSlot (when given) is where fd is published to other threads, which may close it: fd is
// taken out of it (set to -1) before it is closed for a reopen, and when another thread took it
// first, nothing is closed or reopened (-1). Publishing a reopened channel is the caller's part.
int GetEventJson(CObraRequest& event, int fd, const char* clientName, int terminateFd = -1,
                 bool* fdReplaced = nullptr, std::atomic<int>* channelSlot = nullptr);

// The longest wait for the daemon, in seconds: TM_MAXWAIT_FOR_QMXD read as a decimal number (a
// text that is no number gives 0), kDefaultMaxServiceWaitSec when unset or empty.
long MaxServiceWaitSec();
// Waits, in periods of two seconds, until the daemon's pid file exists and its event socket takes
// a connect again. False when the terminate descriptor was signalled, the wait failed, or the
// daemon stayed away longer than MaxServiceWaitSec() (below one period: at once).
bool WaitForServiceAvailable(int terminateFd);
