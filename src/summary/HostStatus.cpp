#include "HostStatus.h"

#include <algorithm>

namespace HostStatusRules
{
const char* Name(HostStatus status)
{
    switch (status)
    {
    case HostStatus::NotPresent:
        return "not-present";
    case HostStatus::Normal:
        return "normal";
    case HostStatus::Warning:
        return "warning";
    case HostStatus::Unknown:
        return "unknown";
    case HostStatus::Unreadable:
        return "unreadable";
    case HostStatus::Major:
        return "major";
    case HostStatus::Error:
        return "error";
    }
    return "unknown";
}

const char* NameOfReportStatus(ReportStatus status)
{
    return Name(FromReportStatus(status));
}

HostStatus FromReportStatus(ReportStatus status)
{
    switch (status)
    {
    case StatusUnknown:
        return HostStatus::Unknown;
    case StatusNormal:
        return HostStatus::Normal;
    case StatusWarning:
        return HostStatus::Warning;
    case StatusError:
        return HostStatus::Error;
    case StatusMajor:
        return HostStatus::Major;
    default:
        return HostStatus::NotPresent;
    }
}

int ExitCode(HostStatus status)
{
    switch (status)
    {
    case HostStatus::NotPresent:
    case HostStatus::Normal:
        return 0;
    case HostStatus::Warning:
        return 1;
    case HostStatus::Major:
    case HostStatus::Error:
        return 2;
    case HostStatus::Unknown:
    case HostStatus::Unreadable:
        return 3;
    }
    return 3;
}

bool IsFailure(ReportStatus status)
{
    return status == StatusWarning || status == StatusError || status == StatusMajor;
}

bool CountsForHealth(const PageSection& section)
{
    return section.Block == kHealthBlock && section.Group != kEventLogTitle;
}

HostStatus SectionWorst(const PageSection& section)
{
    HostStatus worst = section.StatusRead ? FromReportStatus(section.Status) : HostStatus::Unknown;
    for (const PageTable& table : section.Tables)
        for (const PageRow& row : table.Rows)
        {
            if (!row.StatusRead)
                worst = std::max(worst, HostStatus::Unknown);
            else if (IsFailure(row.Status))
                worst = std::max(worst, FromReportStatus(row.Status));
        }
    return worst;
}

HostStatus PageWorst(const HostPage& page)
{
    if (!page.Readable)
        return HostStatus::Unreadable;
    HostStatus worst = page.RunCut ? HostStatus::Unknown : HostStatus::NotPresent;
    bool anyHealth = false;
    for (const PageSection& section : page.Sections)
        if (CountsForHealth(section))
        {
            anyHealth = true;
            worst = std::max(worst, SectionWorst(section));
        }
    // A health block without a single section tells nothing, which is not the same as "normal".
    return anyHealth ? worst : std::max(worst, HostStatus::Unknown);
}
} // namespace HostStatusRules
