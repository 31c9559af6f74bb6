#pragma once

#include "HTMLComponent.h"

#include <ctime>
#include <string>
#include <utility>
#include <vector>

// One row of a report table: the status icon of its first column, the text beside the icon and
// the further cells as the page shows them ("N/A" included).
struct PageRow
{
    ReportStatus Status = StatusUnknown;
    bool StatusRead = true; // false: the row's status class holds no status word we know
    std::string Text;
    std::vector<std::string> Cells;
};

struct PageTable
{
    std::vector<std::string> Headings;
    std::vector<PageRow> Rows;
};

// A fold-out section of a report. Level 1 sections are the groups of their block ("Environment",
// "System"), level 2 their sub-sections; Group names the level 1 section a sub-section sits in.
struct PageSection
{
    std::string Block; // "System Information" or "System Health"
    std::string Group;
    std::string Title;
    int Level = 1;
    ReportStatus Status = StatusNotPresent;
    bool StatusRead = true; // false: the header's status class holds no status word we know
    std::vector<std::pair<std::string, std::string>> Lines; // title/value lines of a panel
    std::vector<PageTable> Tables;
};

// Who the page is about, as its information block tells it.
struct HostIdentity
{
    std::string Model;
    std::string SerialNumber;
    std::string HostName;
    std::vector<std::string> Addresses;
    std::string OperatingSystem;
    std::string TimeStamp; // the page's own date line
};

// Everything a summary needs from one HostCapture page. A page that could not be read keeps
// Readable false and says why in Problem; its sections stay empty.
struct HostPage
{
    std::string File;
    // The name of the folder that holds the file: in a reports tree, the host's folder, named
    // by the collection run (the inventory name), whatever the page itself claims.
    std::string Collection;
    bool Foreign = false; // some other HTML file: passed over, never counted as a host
    bool Readable = false;
    bool RunFailed = false; // a marker left by a collection run that produced no page
    bool RunCut = false;    // the collection run was stopped by its time bound; the page is partial
    std::string Problem;
    HostIdentity Identity;
    std::vector<PageSection> Sections;
    time_t Modified = 0;       // the file's modification time (0 when unknown)
    long long AgeSeconds = -1; // how old the page is (-1: nobody can tell); see PageAge
    std::string AgeSource;     // where the age comes from: "file name", "page date", "file time"
};
