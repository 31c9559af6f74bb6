#pragma once

#include "ChangeSummary.h"
#include "HostChanges.h"
#include "HostPage.h"
#include "HostStatus.h"

#include <map>
#include <string>
#include <vector>

// One health group of one host as the overview shows it: how bad, and in words what fails.
struct GroupCell
{
    HostStatus Status = HostStatus::NotPresent;
    std::string Detail; // "RAID Physical Drives: 1 of 10, Operational - S.M.A.R.T. Failure (HDD 3)"
};

// What the overview keeps of a host once its page has been read and freed.
struct HostLine
{
    std::string File;
    std::string Collection; // the host's folder
    std::string HostName;   // the name the page claims
    bool NameFits = true;   // the claim fits the folder (CollectionName::Fits)
    long long AgeSeconds = -1;
    std::string Model;
    std::string TimeStamp;
    std::string Problem;
    HostStatus Worst = HostStatus::Unreadable;
    std::map<std::string, GroupCell> Groups;
    ChangeCell Changes; // since the capture before this one
};

// Failing table rows of one kind of member (the title of the section that lists them).
struct FailingCount
{
    int Warning = 0;
    int Major = 0;
    int Error = 0;
};

// Collects the fleet totals and a small line per host while the pages pass through one at a
// time, so that memory depends on the number of hosts only, never on the size of their pages.
class FleetTally
{
public:
    // changePage: where the host's change page was written (empty when none was).
    void Add(const HostPage& page, const HostChanges& changes = {}, const std::string& changePage = {});
    // A page left out because it is older than maxAge seconds (--max-age).
    void LeaveOut(long long maxAge)
    {
        ++m_LeftOut;
        m_MaxAge = maxAge;
    }
    int LeftOut() const { return m_LeftOut; }
    long long MaxAge() const { return m_MaxAge; }

    int Hosts() const { return static_cast<int>(m_Lines.size()); }
    int HostsWith(HostStatus status) const { return m_PerStatus[static_cast<int>(status)]; }
    const std::map<std::string, FailingCount>& FailingMembers() const { return m_Failing; }
    // Health groups in the order the pages show them.
    const std::vector<std::string>& Groups() const { return m_Groups; }
    // Worst host first; equal hosts by folder, then claimed host name, then file.
    std::vector<HostLine> SortedLines() const;
    HostStatus Worst() const;
    const ChangeTotals& Changes() const { return m_Changes; }
    // The monitoring exit status of the whole run: that of its worst host; 3 without any host.
    int ExitCode() const;

    static GroupCell DescribeGroup(const HostPage& page, const std::string& group);

private:
    std::vector<HostLine> m_Lines;
    int m_PerStatus[HostStatusRules::kCount] = {};
    std::map<std::string, FailingCount> m_Failing;
    std::vector<std::string> m_Groups;
    ChangeTotals m_Changes;
    int m_LeftOut = 0;
    long long m_MaxAge = 0;
};
