#pragma once

#include <ctime>
#include <string>

// How old a page is, and the --max-age grammar.
//
// The age comes from the best truth there is, in this order:
//  1. the UTC stamp the collection playbook puts at the start of the file name
//     ("20260101T000000Z.html", "...-cut.html", "....failed"): exact, and kept by any copy;
//  2. the page's own date line ("2026-01-01 12:00:00"), which HostCapture writes in the host's
//     local time without a zone: it is read in the summarising machine's zone, so it may be off
//     by the zones' difference, but it survives copies that reset file times;
//  3. the file's modification time, for anything else.
// An age that comes out negative (a clock ahead of ours) counts as 0.
namespace PageAge
{
struct Age
{
    long long Seconds = -1; // -1: nobody can tell
    const char* Source = "";
};

Age Of(const std::string& fileName, const std::string& dateLine, time_t modified, time_t now);

// A whole number of seconds, minutes, hours or days: "90s", "30m", "12h", "7d". No other unit,
// no sign, no fraction, no zero; at most 100 years. False for anything else.
bool ParseDuration(const std::string& text, long long& seconds);

// "12s", "45m", "3h 20m", "7d 4h": the two largest units, for the overview and messages.
std::string Format(long long seconds);
} // namespace PageAge
