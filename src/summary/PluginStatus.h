#pragma once

#include "FleetTally.h"
#include "HostPage.h"

#include <string>
#include <vector>

// What a monitoring system (a plugin run by its agent) reads from the summary on standard output,
// after the monitoring-plugin convention:
//
//   HOSTCAPTURE WARNING: 3 hosts, 1 warning, 2 normal | 'hosts'=3;;;0 'warning'=1;0;;0;3 ...
//   WARNING: bravo.example.net - RAID Physical Drives: HDD 3 - Operational - S.M.A.R.T. Failure
//
// The first line is the state word of the exit status (OK, WARNING, CRITICAL, UNKNOWN), a short
// text, "|" and the performance data: hosts per status and failing members per kind and state,
// plain counts in the C locale, each label quoted. Then one line per failing host and per failing
// member or section of it (the long output), at most kMaxLongLines.
class PluginStatus
{
public:
    // Notes the failing parts of one page under the name of its collection.
    void Add(const std::string& collection, const HostPage& page);

    // The whole output, ending in a line feed. exitCode is the run's own (an output that could not
    // be written makes it 3 whatever the hosts say).
    std::string Text(const FleetTally& tally, int exitCode) const;

    // "OK", "WARNING", "CRITICAL" or "UNKNOWN".
    static const char* StateWord(int exitCode);
    // A label between single quotes, with the characters the convention reserves (' and =)
    // replaced by "_".
    static std::string Label(const std::string& text);

    static const size_t kMaxLongLines = 100;

private:
    void Line(const char* state, const std::string& text);

    std::vector<std::string> m_Lines;
    size_t m_LinesLeftOut = 0;
};
