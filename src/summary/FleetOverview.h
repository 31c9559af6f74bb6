#pragma once

#include "FleetTally.h"

class OutputFile;

#include <string>

// The fleet overview page: one self-contained HTML file (inline style, the report's own six
// status icons, no script) with the counts per status at the top and a row per host, worst
// first, each naming what fails and linking to the host's page.
namespace FleetOverview
{
// outputPath is only used to make the links to the pages relative to where the overview lands.
std::string Render(const FleetTally& tally, const std::string& outputPath, const std::string& generatedAt);
// Writes the page into out (created for outputPath beforehand) and puts it in place.
bool Write(const FleetTally& tally, const std::string& outputPath, OutputFile& out, std::string& error);

// The report's status icons as CSS classes, and the class of a host status ("status-error";
// unreadable hosts show the unknown icon).
std::string IconRules();
std::string IconClass(HostStatus status);

// A relative link from the overview's folder to a page, percent-encoded for an href.
std::string LinkTo(const std::string& page, const std::string& outputPath);
} // namespace FleetOverview
