#pragma once

#include "SimProfile.h"

#include <string>

// How one request is to be answered: the reply text and how to deliver it.
struct SimReply
{
    std::string text;    // reply body (without the zero byte)
    std::string logLine; // the request as one JSON line for the request log
    bool hangup = false; // close the connection instead of replying
    int delayMs = 0;
    int chunks = 0;
    int chunkGapMs = 20;
    int shortBy = 0;                // promise this many bytes more than are sent, then fall silent
    bool stall = false;             // send nothing at all, then fall silent
    bool eventRegistration = false; // the request held a channel-init command for the event channel
};

// Turns one request document into its reply: every command in "SIP"."CMD" is answered in place
// ("ST" and "DA" set per command, missing "OE"/"OI" counting as 0). Channel-init and
// cabinet-number commands have built-in answers unless the profile overrides them.
class SimResponder
{
public:
    explicit SimResponder(const SimProfile& profile) : m_Profile(profile) {}

    // channelFd is the daemon's own descriptor of the connection, reported by channel-init.
    SimReply Answer(const std::string& requestText, int channelFd) const;

    static constexpr uint32_t kChannelInit = 0xFFA0;
    static constexpr uint32_t kCabinetNumber = 0xE204;
    static constexpr uint32_t kEventChannelKind = 0x1200;
    static constexpr size_t kRegistrationBlockSize = 218;

private:
    const SimProfile& m_Profile;
};
