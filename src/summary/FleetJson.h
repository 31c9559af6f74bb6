#pragma once

#include "FleetTally.h"
#include "HostChanges.h"
#include "HostPage.h"

#include <cstdio>
#include <memory>
#include <string>

// Writes the machine-readable export (described by fleet.schema.json) while the pages pass
// through: each page is written out as soon as it was read, the totals at the end.
class FleetJson
{
public:
    FleetJson();
    ~FleetJson();
    FleetJson(const FleetJson&) = delete;
    FleetJson& operator=(const FleetJson&) = delete;

    // Opens the output ("-" for standard output). False, with a reason in Error(), on failure.
    bool Open(const std::string& path);
    void AddPage(const HostPage& page, const HostChanges& changes = {});
    // Writes the totals and closes the output; false when anything could not be written.
    bool Finish(const FleetTally& tally);
    const std::string& Error() const { return m_Error; }

    // 3: every page carries "changes" (since the capture before it) and the totals "changes".
    static const int kFormatVersion = 3;

private:
    struct Output;
    std::unique_ptr<Output> m_Out;
    std::string m_Path;
    std::string m_Error;
};
