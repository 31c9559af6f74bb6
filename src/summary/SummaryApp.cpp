#include "SummaryApp.h"

#include "CaptureHistory.h"
#include "ChangePage.h"
#include "ChangeText.h"
#include "Clock.h"
#include "CollectionName.h"
#include "CompareCommand.h"
#include "FleetJson.h"
#include "FleetOverview.h"
#include "MetricsHost.h"
#include "PageAge.h"
#include "PageReader.h"
#include "TerminalText.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

#ifndef HOSTCAPTURE_VERSION
#define HOSTCAPTURE_VERSION "unknown"
#endif

namespace
{
const char kUsage[] =
    "Usage: hostcapture-summary [options] PAGE|FOLDER...\n"
    "Reads HostCapture pages (folders are searched recursively for *.html) and summarises them.\n"
    "The pages of one folder are captures of one host: each is compared with the capture before it.\n"
    "  --json FILE             write the machine-readable export to FILE (- for standard output)\n"
    "  --html FILE             write the fleet overview page to FILE\n"
    "  --metrics FILE          write the Prometheus metrics (text format) of every host's newest\n"
    "                          page to FILE, replacing it whole\n"
    "  --redact DIR            write a copy of every page to DIR with serial numbers, host names and\n"
    "                          addresses replaced by tokens\n"
    "  --redaction-key FILE    the key of those tokens (default: DIR-redaction-key.json beside DIR);\n"
    "                          an existing key is extended, so tokens stay the same across runs\n"
    "  --restore FILE          print FILE with every token of the key put back (needs the key)\n"
    "  --compare OLD NEW       print what changed from page OLD to page NEW of one host (with\n"
    "                          --json, as JSON); exit 0 no change, 1 changes, 3 a page unreadable\n"
    "  --temperature-change C  a temperature move of C degrees or more is a change (default 10)\n"
    "  --fan-change P          a fan speed move of P percent or more is a change (default 25)\n"
    "  --no-changes            compare no page with the capture before it\n"
    "  --new-events-warn       exit at least 1 when a host has new event-log entries since its\n"
    "                          capture before\n"
    "  --changes-warn          exit at least 1 when a status moved to worse since the capture before\n"
    "  --latest                read only the newest page of every folder (names sort by time)\n"
    "  --max-age DURATION      leave out pages older than DURATION: 90s, 30m, 12h, 7d\n"
    "  --quiet                 no status on standard output\n"
    "  --version               the version\n"
    "  --help                  this text\n"
    "Exit status: 0 all normal, 1 some warning, 2 some error or major,\n"
    "3 some page unreadable or unknown (an error outranks 3, 3 outranks a warning).\n";
} // namespace

bool SummaryApp::IsOutput(const std::string& path) const
{
    std::error_code ec;
    auto same = [&](const std::string& output)
    { return !output.empty() && output != "-" && std::filesystem::equivalent(path, output, ec); };
    return same(m_HtmlPath) || same(m_JsonPath) || same(m_MetricsPath) || IsChangePage(path);
}

bool SummaryApp::IsChangePage(const std::string& path) const
{
    if (m_ChangeDir.empty())
        return false;
    std::error_code ec;
    return std::filesystem::equivalent(std::filesystem::path(path).parent_path(), m_ChangeDir, ec);
}

// The change pages go to "<overview>-changes/" beside the overview, one per host, named after
// the page's path below the folder it was found in, so the names stay the same from run to run.
std::string SummaryApp::WriteChangePage(const HostChanges& changes, const HostPage& page,
                                        const std::string& relative)
{
    std::string name;
    for (char c : relative)
        name += std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '.' ? c : '_';
    std::string stem = name.size() > 5 && name.compare(name.size() - 5, 5, ".html") == 0
                           ? name.substr(0, name.size() - 5)
                           : name;
    std::string path = m_ChangeDir + "/" + stem + ".html";
    for (int n = 2; !m_ChangePages.insert(path).second; ++n)
        path = m_ChangeDir + "/" + stem + "-" + std::to_string(n) + ".html";
    std::string error;
    std::string host = page.Identity.HostName.empty() ? page.File : page.Identity.HostName;
    if (!ChangePage::Write(changes, host, path, error))
    {
        TerminalText::Complain(error);
        m_OutputFailed = true;
        return {};
    }
    return path;
}

bool SummaryApp::Parse(const std::vector<std::string>& arguments)
{
    for (size_t i = 0; i < arguments.size(); ++i)
    {
        const std::string& a = arguments[i];
        auto value = [&](std::string& into)
        {
            if (i + 1 >= arguments.size())
            {
                m_Error = a + " needs a value";
                return false;
            }
            into = arguments[++i];
            return true;
        };
        std::string duration;
        if (a == "--json" || a == "--html" || a == "--redact" || a == "--redaction-key" || a == "--restore")
        {
            std::string& into = a == "--json"            ? m_JsonPath
                                : a == "--html"          ? m_HtmlPath
                                : a == "--redact"        ? m_RedactDir
                                : a == "--redaction-key" ? m_KeyPath
                                                         : m_RestoreFile;
            if (!value(into))
                return false;
        }
        else if (a == "--max-age")
        {
            if (!value(duration))
                return false;
            if (!PageAge::ParseDuration(duration, m_MaxAge))
            {
                m_Error = "--max-age " + duration +
                          ": not a duration (a whole number and s, m, h or d: 90s, 30m, 12h, 7d)";
                return false;
            }
        }
        else if (a == "--metrics")
        {
            if (!value(m_MetricsPath))
                return false;
        }
        else if (a == "--compare")
        {
            if (i + 2 >= arguments.size())
            {
                m_Error = "--compare needs two pages, the older first";
                return false;
            }
            m_CompareOlder = arguments[++i];
            m_CompareNewer = arguments[++i];
        }
        else if (a == "--temperature-change" || a == "--fan-change")
        {
            std::string text;
            if (!value(text))
                return false;
            char* end = nullptr;
            double number = std::strtod(text.c_str(), &end);
            if (text.empty() || *end != '\0' || !(number > 0) || !std::isfinite(number))
            {
                m_Error = a + " needs a number above 0, not " + text;
                return false;
            }
            (a == "--fan-change" ? m_Thresholds.FanPercent : m_Thresholds.TemperatureCelsius) = number;
        }
        else if (a == "--no-changes")
            m_NoChanges = true;
        else if (a == "--new-events-warn")
            m_NewEventsWarn = true;
        else if (a == "--changes-warn")
            m_ChangesWarn = true;
        else if (a == "--latest")
            m_Latest = true;
        else if (a == "--quiet")
            m_Quiet = true;
        else if (a == "--help" || a == "-h")
            m_Help = true;
        else if (a == "--version")
            m_Version = true;
        else if (a == "--")
        {
            m_Inputs.insert(m_Inputs.end(), arguments.begin() + i + 1, arguments.end());
            break;
        }
        else if (a.size() > 1 && a[0] == '-')
        {
            m_Error = "unknown option " + a;
            return false;
        }
        else
            m_Inputs.push_back(a);
    }
    if (!m_CompareOlder.empty() && !m_Inputs.empty())
    {
        m_Error = "--compare takes its two pages and no further page or folder";
        return false;
    }
    if (!m_RestoreFile.empty() && m_KeyPath.empty() && m_RedactDir.empty())
    {
        m_Error = "--restore needs the key: --redaction-key FILE";
        return false;
    }
    if (!m_Help && !m_Version && m_RestoreFile.empty() && m_CompareOlder.empty() && m_Inputs.empty())
    {
        m_Error = "no page or folder given";
        return false;
    }
    return true;
}

bool SummaryApp::OpenOutputs()
{
    if (!m_JsonPath.empty() && !m_Json.Open(m_JsonPath))
    {
        TerminalText::Complain(m_Json.Error());
        return false;
    }
    if (!m_HtmlPath.empty() && !m_Html.Create(m_HtmlPath))
    {
        TerminalText::Complain(m_Html.Error());
        return false;
    }
    // The metrics replace their file only at the end; a folder that cannot take them fails now.
    std::string metricsFolder = std::filesystem::path(m_MetricsPath).parent_path().string();
    if (!m_MetricsPath.empty() && access(metricsFolder.empty() ? "." : metricsFolder.c_str(), W_OK) != 0)
    {
        TerminalText::Complain(m_MetricsPath + ": cannot be written: " + std::strerror(errno));
        return false;
    }
    return m_RedactDir.empty() || m_Redaction.Prepare(m_RedactDir, m_KeyPath, m_Inputs);
}

bool SummaryApp::Take(const PageFile& file, HostPage& page, std::string* bytes)
{
    // Inside a folder a link is no page the collection run left; a named file is the user's word.
    bool readable = PageReader::ReadFile(file.Path, page, bytes, file.Named);
    if (page.Foreign)
    {
        if (file.Named)
            TerminalText::Complain(file.Path + ": passed over: not a HostCapture page");
        return false;
    }
    // A page named on its own (no folder in its path) belongs to no collection.
    page.Collection = file.Named && file.Path.find('/') == std::string::npos ? std::string()
                                                                             : CollectionName::Of(file.Path);
    PageAge::Age age = PageAge::Of(std::filesystem::path(file.Path).filename().string(),
                                   page.Identity.TimeStamp, page.Modified, CClock::Get().Now());
    page.AgeSeconds = age.Seconds;
    page.AgeSource = age.Source;
    if (m_MaxAge > 0 && age.Seconds > m_MaxAge)
    {
        m_Tally.LeaveOut(m_MaxAge);
        return false;
    }
    if (!readable)
        TerminalText::Complain(file.Path + ": " + page.Problem);
    return true;
}

// One page at a time: read, compare with the capture before, count, export, redact, free.
void SummaryApp::SummarisePages()
{
    std::string bytes;
    CaptureHistory history(m_Thresholds, m_Latest,
                           [this](const std::string& path) { return IsOutput(path); });
    for (const PageFile& file : PageFiles::Collect(m_Inputs, m_Latest))
    {
        // The overview may land in the folder being summarised; it is not a host.
        if (IsOutput(file.Path))
            continue;
        HostPage page;
        bool counted = Take(file, page, m_RedactDir.empty() ? nullptr : &bytes);
        if (page.Foreign)
            continue;
        // A page named on the command line has no folder history of its own: its neighbours
        // there may be anything. Two named pages are compared with --compare.
        HostChanges changes;
        if (m_NoChanges)
            changes.Reason = "not compared: --no-changes";
        else if (file.Named)
            changes.Reason = "not compared: a page named on the command line";
        else if (counted)
            changes = history.ChangesOf(page);
        if (counted)
        {
            std::string changePage;
            if (!m_ChangeDir.empty() && changes.Any())
                changePage = WriteChangePage(changes, page, file.Relative);
            std::string host = MetricsHost::Of(file, page);
            m_Tally.Add(page, changes, changePage);
            m_Json.AddPage(page, changes);
            m_Status.Add(host, page);
            if (!m_MetricsPath.empty())
            {
                m_Metrics.BeginCollection(host);
                for (MetricsSource* source : m_MetricsSources)
                    source->AddPage(page);
                m_ChangeMetrics.Add(changes);
            }
            if (page.Readable && !m_RedactDir.empty())
                m_Redaction.Copy(bytes, page, file.Relative);
        }
        bytes.clear();
        // A page left out for its age still tells what the host looked like then.
        if (!m_NoChanges && !file.Named)
            history.Keep(std::move(page));
    }
    if (m_Tally.LeftOut() > 0)
        TerminalText::Complain(std::to_string(m_Tally.LeftOut()) + " pages older than " +
                               PageAge::Format(m_MaxAge) + " left out");
}

void SummaryApp::FinishOutputs()
{
    std::string error;
    if (!m_JsonPath.empty() && !m_Json.Finish(m_Tally))
    {
        TerminalText::Complain(m_Json.Error());
        m_OutputFailed = true;
    }
    if (!m_HtmlPath.empty() && !FleetOverview::Write(m_Tally, m_HtmlPath, m_Html, error))
    {
        TerminalText::Complain(error);
        m_OutputFailed = true;
    }
    if (!m_MetricsPath.empty() && !m_Metrics.WriteFile(m_MetricsPath, error))
    {
        TerminalText::Complain(error);
        m_OutputFailed = true;
    }
    if (!m_RedactDir.empty())
    {
        m_Redaction.Finish();
        m_OutputFailed = m_OutputFailed || m_Redaction.Failed();
    }
}

int SummaryApp::Restore()
{
    std::string restored, error;
    std::string key = m_KeyPath.empty() ? RedactionRun::DefaultKeyPath(m_RedactDir) : m_KeyPath;
    if (!RedactionRun::Restore(key, m_RestoreFile, restored, error))
    {
        TerminalText::Complain(error);
        return kExitUsage;
    }
    fwrite(restored.data(), 1, restored.size(), stdout);
    return fflush(stdout) == 0 ? 0 : kExitUsage;
}

void SummaryApp::PrintStatus(int exitCode) const
{
    fputs(m_Status.Text(m_Tally, exitCode).c_str(), stdout);
}

int SummaryApp::Run(const std::vector<std::string>& arguments)
{
    if (!Parse(arguments))
    {
        TerminalText::Complain(m_Error);
        fputs(kUsage, stderr);
        return kExitUsage;
    }
    if (m_Help)
    {
        fputs(kUsage, stdout);
        return 0;
    }
    if (m_Version)
    {
        printf("hostcapture-summary %s\n", HOSTCAPTURE_VERSION);
        return 0;
    }
    if (!m_CompareOlder.empty())
        return CompareCommand::Run(m_CompareOlder, m_CompareNewer, m_JsonPath, m_Thresholds);
    if (!m_RestoreFile.empty())
        return Restore();
    if (!m_HtmlPath.empty())
    {
        std::filesystem::path html(m_HtmlPath);
        m_ChangeDir = (html.parent_path() / (html.stem().string() + "-changes")).string();
    }
    if (!OpenOutputs())
        return kExitUsage;
    SummarisePages();
    FinishOutputs();
    int exitCode = ExitCode();
    if (!m_Quiet && m_JsonPath != "-")
        PrintStatus(exitCode);
    fflush(stdout);
    return exitCode;
}

int SummaryApp::ExitCode() const
{
    // Output that could not be written leaves the monitoring state unknown.
    if (m_OutputFailed)
        return kExitUsage;
    int status = m_Tally.ExitCode();
    // News raises a quiet fleet to a warning, so a monitoring check can alert on what is new
    // rather than on trouble that is known since long.
    const ChangeTotals& changes = m_Tally.Changes();
    if (status == 0 && ((m_NewEventsWarn && changes.HostsWithNewEvents() > 0) ||
                        (m_ChangesWarn && changes.HostsWorse() > 0)))
        status = 1;
    return status;
}
