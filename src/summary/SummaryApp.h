#pragma once

#include "FleetJson.h"
#include "FleetTally.h"
#include "HostPage.h"
#include "PageComparison.h"
#include "PageRedactor.h"

#include <set>
#include <string>
#include <vector>

// hostcapture-summary: reads HostCapture pages one at a time and writes what was asked for (the
// JSON export, the overview page, redacted copies); the exit status follows the monitoring
// plugin convention (0 normal, 1 warning, 2 error or major, 3 unreadable or unknown).
class SummaryApp
{
public:
    int Run(const std::vector<std::string>& arguments);

    static const int kExitUsage = 3;

private:
    bool Parse(const std::vector<std::string>& arguments);
    bool IsOutput(const std::string& path) const;
    bool IsChangePage(const std::string& path) const;
    // Refuses a redaction folder that already holds a key, before any page is read.
    bool PrepareRedaction();
    void SummarisePages();
    void WriteRedacted(const std::string& bytes, const HostPage& page, const std::string& relative);
    std::string WriteChangePage(const HostChanges& changes, const HostPage& page,
                                const std::string& relative);
    void FinishOutputs();
    int ExitCode() const;
    void PrintStatusLine() const;

    std::string m_JsonPath;
    std::string m_HtmlPath;
    std::string m_RedactDir;
    bool m_Latest = false;
    bool m_Quiet = false;
    bool m_Help = false;
    std::string m_CompareOlder;
    std::string m_CompareNewer;
    ComparisonOptions m_Thresholds;
    bool m_NewEventsWarn = false;
    bool m_ChangesWarn = false;
    bool m_NoChanges = false;
    std::vector<std::string> m_Inputs;
    std::string m_Error;
    std::string m_KeyPath;
    FleetTally m_Tally;
    FleetJson m_Json;
    PageRedactor m_Redactor;
    bool m_OutputFailed = false;
    std::string m_ChangeDir; // beside the overview: one change page per host that changed
    std::set<std::string> m_ChangePages;
};
