#pragma once

#include "HostChanges.h"
#include "HostPage.h"

#include <vector>

// The event-log entries the newer page has and the older had not. An entry is known by its time
// stamp and text; entries that repeat (several without a time stamp, say) are counted, so the
// third equal entry is new when the older log had two. The controller's log is a ring, so entries
// that dropped out of the older log are no news and are not reported.
namespace EventLogComparison
{
std::vector<NewEvent> NewEntries(const PageTable& older, const PageTable& newer);
} // namespace EventLogComparison
