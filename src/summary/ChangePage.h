#pragma once

#include "HostChanges.h"

#include <string>

// A host's change page: one self-contained HTML file (inline style, the report's status icons,
// no script) with every change since the capture before, worst first, and every new event-log
// entry, linking to both pages. It is the overview's companion and is not a HostCapture page:
// a later summary over the same folder passes it over.
namespace ChangePage
{
std::string Render(const HostChanges& changes, const std::string& hostName, const std::string& outputPath);
bool Write(const HostChanges& changes, const std::string& hostName, const std::string& outputPath,
           std::string& error);
} // namespace ChangePage
