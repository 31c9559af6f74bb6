#pragma once

#include "ChangeMetrics.h"
#include "FleetJson.h"
#include "FleetTally.h"
#include "HostPage.h"
#include "MetricsWriter.h"
#include "OutputFile.h"
#include "PageComparison.h"
#include "PageFiles.h"
#include "PageMetrics.h"
#include "PluginStatus.h"
#include "RedactionRun.h"

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
    // Opens every output before any page is read, so that a run never fails at its end for a
    // folder that was missing from the start.
    bool OpenOutputs();
    // Reads one file into page; false when it is passed over (foreign) or left out (too old).
    bool Take(const PageFile& file, HostPage& page, std::string* bytes);
    void SummarisePages();
    std::string WriteChangePage(const HostChanges& changes, const HostPage& page,
                                const std::string& relative);
    void FinishOutputs();
    int ExitCode() const;
    int Restore();
    void PrintStatus(int exitCode) const;

    std::string m_JsonPath;
    std::string m_HtmlPath;
    std::string m_RedactDir;
    std::string m_MetricsPath;
    std::string m_KeyPath;
    std::string m_RestoreFile;
    long long m_MaxAge = 0; // 0: no limit
    bool m_Latest = false;
    bool m_Quiet = false;
    bool m_Help = false;
    std::string m_CompareOlder;
    std::string m_CompareNewer;
    ComparisonOptions m_Thresholds;
    bool m_NewEventsWarn = false;
    bool m_ChangesWarn = false;
    bool m_NoChanges = false;
    bool m_Version = false;
    std::vector<std::string> m_Inputs;
    std::string m_Error;
    FleetTally m_Tally;
    FleetJson m_Json;
    OutputFile m_Html;
    RedactionRun m_Redaction;
    MetricsWriter m_Metrics;
    PageMetrics m_PageMetrics{m_Metrics};
    ChangeMetrics m_ChangeMetrics{m_Metrics}; // asked with each page's changes, after the sources
    // Every kind of series of the metrics file, asked in this order for each page.
    std::vector<MetricsSource*> m_MetricsSources{&m_PageMetrics};
    PluginStatus m_Status;
    bool m_OutputFailed = false;
    std::string m_ChangeDir; // beside the overview: one change page per host that changed
    std::set<std::string> m_ChangePages;
};
