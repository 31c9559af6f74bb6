#pragma once

#include "HostChanges.h"

#include <string>
#include <vector>

// The changes of one host in words, for a terminal, the overview and the change page. Every text
// that came from a page has its control characters replaced, so nothing from a page can move a
// terminal's cursor or set its title.
namespace ChangeText
{
// One line per change, worst first; the new event-log entries are one line ("20 new event-log
// entries: 5 Critical, ...") placed by their worst severity.
std::vector<std::string> Lines(const HostChanges& changes);
// "5 Critical, 3 Major", most severe first.
std::string EventCounts(const HostChanges& changes);
// The headline: "no change since ...", "4 changes and 20 new event-log entries since ..." or
// the note that the pages are of two servers.
std::string Headline(const HostChanges& changes);
// Headline, the lines, then every new event-log entry: what --compare prints.
std::string Report(const HostChanges& changes);
// A page text made safe for a terminal.
std::string Safe(const std::string& text);
} // namespace ChangeText
