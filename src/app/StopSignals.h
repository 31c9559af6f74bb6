#pragma once

// SIGTERM and SIGINT stop a run early instead of killing it: the first one marks the run as
// stopping (CCancellation), which ends every wait on the daemon and makes further requests fail
// at once, so the page is still written with what was read. A second one ends the program at
// once, the way the signal would have without a handler.
//
// This is this tool's own choice: it runs from scripts and timeouts on servers, and a run that is
// cut short should still leave a page and an exit status (128 + the signal) that tells a cut run
// from a complete one, rather than the empty file the pre-flight test left behind.
namespace StopSignals
{
// Installs the handlers (and prepares the wake-up descriptor). False when that failed; the run
// then goes on with the signals' default actions.
bool Install();
// The exit status of a run that was stopped: 128 + the signal, or 0 when no signal stopped it.
int ExitStatus();

// What a stop signal arriving now asks for: the first stops the run; a repeat within the window
// after the first is the same request; a later one ends the program at once. The handler acts on
// it; the time comes from the clock seam, so that the window can be checked without waiting.
enum class Response
{
    StopRun,
    SameRequest,
    EndNow,
};
Response Receive(int signalNumber);
} // namespace StopSignals
