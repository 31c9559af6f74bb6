#pragma once

#include "HostPage.h"

#include <string>

// How bad a host (or one health group of it) is, from best to worst. The order decides which
// hosts come first in the overview and which exit status a run gives:
//   not present, normal  -> 0  (an absent component is not a fault)
//   warning              -> 1
//   unknown, unreadable  -> 3  (nobody can tell: worse than a warning, since it may hide anything)
//   major, error         -> 2  (a known failure outranks not knowing, so error is the worst)
enum class HostStatus
{
    NotPresent,
    Normal,
    Warning,
    Unknown,
    Unreadable,
    Major,
    Error,
};

namespace HostStatusRules
{
const int kCount = 7;

// Stable names used as JSON keys and in the overview: "not-present", "normal", "warning",
// "unknown", "unreadable", "major", "error".
const char* Name(HostStatus status);
// Name of a page status number ("unknown", "normal", ..., "not-present" for 4, 5 and others).
const char* NameOfReportStatus(ReportStatus status);

HostStatus FromReportStatus(ReportStatus status);
int ExitCode(HostStatus status);
bool IsFailure(ReportStatus status); // warning, error or major

// What counts for a host's health: every section status of the health block except the event
// log's, and the rows of their tables that show a warning, error or major. An unknown row (a
// sensor that cannot be read) does not make the host unknown; an unknown section does. A status
// the page does not let us read (a class without a known status word, a health block without
// sections) counts as unknown: a page that cannot be read in full is never normal.
bool CountsForHealth(const PageSection& section);
HostStatus SectionWorst(const PageSection& section);
HostStatus PageWorst(const HostPage& page);

const char* const kEventLogTitle = "System Event Log";
const char* const kHealthBlock = "System Health";
} // namespace HostStatusRules
