#pragma once

#include "HTMLComponent.h"

#include <string>
#include <utility>
#include <vector>

// One row of a report table: the status icon of its first column, the text beside the icon and
// the further cells as the page shows them ("N/A" included).
struct PageRow
{
    ReportStatus Status = StatusUnknown;
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
    bool Readable = false;
    bool RunFailed = false; // a marker left by a collection run that produced no page
    bool RunCut = false;    // the collection run was stopped by its time bound; the page is partial
    std::string Problem;
    HostIdentity Identity;
    std::vector<PageSection> Sections;
};
