#pragma once

#include <rapidjson/document.h>

#include <atomic>
#include <cstddef>
#include <string>

// Misbehaviour the daemon shows when it answers one command. Several faulty commands in one
// request combine: the longest delay, the most chunks, any hang-up win.
struct SimFault
{
    int delayMs = 0;         // wait before replying
    int chunks = 0;          // send the reply frame in this many pieces (0 or 1: in one piece)
    int chunkGapMs = 20;     // pause between the pieces
    bool hasVersion = false; // reply with "SIP"."V" = version instead of 1
    int version = 1;
    int shortBy = 0;           // length word promises this many bytes more than are sent; the
                               // connection then stays open and silent
    bool hangup = false;       // close the connection instead of replying
    bool omitStatus = false;   // leave "ST" out of this command
    bool hasReplyText = false; // send replyText verbatim as the reply body
    std::string replyText;
    int count = -1;     // misbehave for the first count matching commands only (-1: always)
    bool stall = false; // take the request and never answer; the connection stays open and silent
};

// What the daemon answers for one (OC, OE, OI). The JSON values live in the profile's document.
struct SimAnswer
{
    const rapidjson::Value* status = nullptr; // "ST" as written (a number, or a string such as "0x0")
    const rapidjson::Value* data = nullptr;   // "DA"; null pointer: no "DA" in the reply
    // "repeat": "DA" is a string of repeatBytes bytes made by repeating repeatText, built when
    // answering so that a profile need not hold megabytes of text.
    bool hasRepeat = false;
    std::string repeatText;
    size_t repeatBytes = 0;
    bool hasFault = false;
    SimFault fault;
    mutable std::atomic<int> faultUses{0};

    // True when the fault applies to this match; counts the use.
    bool TakeFault() const
    {
        if (!hasFault)
            return false;
        if (fault.count < 0)
            return true;
        return faultUses.fetch_add(1) < fault.count;
    }
};
