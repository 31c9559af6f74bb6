// Runs the HostCapture program against the simulated daemon and checks the written page and the
// conversation the daemon saw.

#include "ReportTestSupport.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <algorithm>

using ReportTestSupport::ProfileBuilder;

namespace
{
// Every fold-out section of the health block, in page order.
const char* const kHealthSections[] = {"Environment",
                                       "Cooling Devices",
                                       "Temperature",
                                       "Power Supply",
                                       "Power Supply Units",
                                       "Mass Storage",
                                       "Mass Storage Adapters",
                                       "Tessmark RAID System",
                                       "RAID Adapters",
                                       "RAID Logical Drives",
                                       "RAID Physical Drives",
                                       "System Board",
                                       "Voltages",
                                       "Memory Modules",
                                       "System Processors",
                                       "PCI Slots",
                                       "Network",
                                       "Network Adapters",
                                       "System Event Log"};

const char* const kInformationSections[] = {"System", "System Board", "Operating System",
                                            "System Management Software"};

std::string SectionHeader(const std::string& headerClass, const std::string& title)
{
    return "<button type=\"button\" class=\"collapsible title-text" + headerClass + "\">" + title +
           "</button>";
}

std::string PanelLine(const std::string& title, const std::string& value)
{
    return "\n        <div class=\"row\">\n          <div class=\"title\">" + title +
           "</div>\n          <div class=\"value\">" + value + "</div>\n        </div>";
}

std::string Row(const std::string& rowClass, const std::string& text, const std::vector<std::string>& cells)
{
    std::string row =
        "\n          <tr>\n            <td class=\"" + rowClass + " icon status\">" + text + "</td>";
    for (const std::string& cell : cells)
        row += "\n            <td>" + cell + "</td>";
    return row + "\n          </tr>";
}

size_t Count(const std::string& haystack, const std::string& needle)
{
    size_t count = 0;
    for (size_t at = haystack.find(needle); at != std::string::npos; at = haystack.find(needle, at + 1))
        ++count;
    return count;
}

// The text between a section's header and the next section header (its own content).
std::string SectionBody(const std::string& page, const std::string& title)
{
    const std::string marker = "\">" + title + "</button>";
    size_t start = page.find(marker);
    if (start == std::string::npos)
        return "";
    start += marker.size();
    const size_t end = page.find("<button", start);
    return page.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

std::vector<uint8_t> EventRecords()
{
    std::vector<uint8_t> records;
    ReportTestSupport::AppendEventRecord(records, 0, 0x1234, 1709622541, "System boot <completed>");
    ReportTestSupport::AppendEventRecord(records, 1, 0x000A, 0, "Fan 3 speed low");
    ReportTestSupport::AppendEventRecord(records, 9, 0x0001, 1, "severity nobody knows");
    ReportTestSupport::AppendEventRecord(records, 2, 0x2001, 1709622600, "PSU 2 lost input");
    ReportTestSupport::AppendEventRecord(records, 3, 0xFF01, 1709622700,
                                         "Uncorrectable memory error DIMM A1");
    return records;
}

// A two-socket rack server with something in every table.
ProfileBuilder RackServer()
{
    ProfileBuilder p;
    p.String(0x0C00, 0x0608, 0, "RX-2540 <M7>")
        .String(0x0C00, 0x0600, 0, "YM4F012345")
        .String(0x0C00, 0x0108, 0, "CH-77")
        .String(0xE001, 0x0210, 0, "Asset \"42\" & co")
        .String(0x0C00, 0x1510, 0, "8A1C32B6-55D2-11EE-8C99-0242AC120002")
        .Number(0xE001, 0x1010, 0, 90061)
        .String(0x0C00, 0x0200, 0, "BS-1")
        .String(0x0C00, 0x0201, 0, "D3893-B1")
        .String(0x0C00, 0xA006, 0, "V5.0.0.21 R1.22.0")
        .String(0x0C00, 0xA708, 0, "Linux 6.1")
        .Number(0x011E, 0, 0, 3660)
        .String(0xE107, 0, 0, "rack07.example")
        .Raw(0xE108, 0, 0, {10, 1, 2, 3})
        .Raw(0xE108, 1, 0, {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0x02, 0x1b, 0x21, 0xff, 0xfe, 0x3c, 0x4d, 0x5e})
        .String(0x0C00, 0xA806, 0, "10.40.01");

    // Group and sub-group statuses.
    p.Number(0x2301, 0, 0, 1).Number(0x2301, 1, 0, 2).Number(0x2301, 2, 0, 3).Number(0x2301, 3, 0, 6);
    p.Number(0x2301, 5, 0, 1);
    p.Number(0x2306, 0, 0, 1).Number(0x2306, 0, 2, 2).Number(0x2306, 1, 0, 2);
    p.Number(0x2306, 3, 0, 1).Number(0x2306, 3, 1, 3).Number(0x2306, 3, 2, 1).Number(0x2306, 3, 4, 1);
    p.Number(0x2306, 5, 0, 1).Number(0x1820, 3, 0, 1);
    p.Number(0x2121, 0, 0, 1).Number(0x2122, 0, 0, 2).Number(0x2123, 0, 0, 3);

    p.Number(0x0300, 0, 0, 2);
    p.Number(0x0301, 0, 0, 1)
        .String(0x0304, 0, 0, "FAN1 SYS")
        .Number(0x0303, 0, 0, 3)
        .Number(0x0302, 0, 0, 5280);
    p.Number(0x0301, 0, 1, 2)
        .String(0x0304, 0, 1, "FAN2 SYS")
        .Number(0x0303, 0, 1, 3)
        .Number(0x0302, 0, 1, 0);
    p.Number(0x0400, 0, 0, 1);
    p.Number(0x0401, 0, 0, 4).String(0x0404, 0, 0, "CPU1").Number(0x0403, 0, 0, 1).Number(0x0402, 0, 0, 81);

    p.Number(0x0500, 0, 0, 2);
    p.Number(0x0501, 0, 0, 1)
        .String(0x0504, 0, 0, "PSU1")
        .Number(0x0506, 0, 0, 1100)
        .Number(0x0507, 0, 0, 236);
    p.Number(0x0501, 0, 1, 3).String(0x0504, 0, 1, "PSU2").Status(0x0506, 0, 1, 4).Number(0x0507, 0, 1, 0);

    p.Number(0x1800, 0, 0, 3);
    p.Number(0x1805, 0, 0, 3)
        .Number(0x1801, 0, 0, 1)
        .String(0x1803, 0, 0, "SAS HBA")
        .String(0x1804, 0, 0, "Slot 2");
    p.Number(0x1805, 0, 1, 2)
        .Number(0x1801, 0, 1, 1)
        .String(0x1803, 0, 1, "Dual 25GbE")
        .String(0x1804, 0, 1, "OCP");
    p.Number(0x1805, 0, 2, 9).String(0x1803, 0, 2, "Other adapter");

    p.String(0x0C00, 0xAA03, 0, "8.9.1").Number(0x2120, 0, 0, 1).Number(0x21DF, 0, 0, 0);
    p.Number(0x2110, 0, 0, 2);
    p.Number(0x2116, 0, 0, 0).String(0x2111, 0, 0, "RAID Ctrl SAS 16G (1)");
    p.Number(0x2116, 0, 1, 1).String(0x2111, 0, 1, "RAID Ctrl SAS 16G (2)");
    p.Number(0x2150, 0, 0, 1).Number(0x2150, 1, 0, 0);
    p.Number(0x2151, 0, 0, 0).String(0x2152, 0, 0, "LogicalDrive_0").String(0x2155, 0, 0, "RAID-1");
    p.Number(0x2153, 0, 0, 1536);
    p.Number(0x2130, 0, 0, 1).Number(0x2130, 1, 0, 1);
    p.Number(0x2131, 0, 0, 0).Number(0x2132, 0, 0, 1).String(0x2133, 0, 0, "SEAGATE ST600 (0)");
    p.Number(0x2134, 0, 0, 8).Number(0x2135, 0, 0, 572325);
    p.Number(0x2131, 1, 0, 11).Number(0x2132, 1, 0, 0).String(0x2133, 1, 0, "SSD 960GB (1)");
    p.Number(0x2134, 1, 0, 7).Number(0x2135, 1, 0, 915715);

    p.Number(0x0520, 0, 0, 1);
    p.Number(0x0521, 0, 0, 1).String(0x0522, 0, 0, "BATT 3.0V").Number(0x0524, 0, 0, 305);
    p.Number(0x0523, 0, 0, 0x015E0113);
    p.Number(0x0700, 0, 0, 2);
    p.Number(0x0701, 0, 0, 1).String(0x0702, 0, 0, "DIMM <A1>").Number(0x070A, 0, 0, 32768);
    p.String(0x070B, 0, 0, "DDR5").String(0x070D, 0, 0, "RDIMM");
    p.Number(0x0701, 0, 1, 0).String(0x0702, 0, 1, "DIMM <A2>");
    p.Number(0x0600, 0, 0, 1);
    p.Number(0x0601, 0, 0, 1).String(0x0602, 0, 0, "CPU1").String(0x0605, 0, 0, "Xenon Gold 6430");
    p.Number(0x061D, 0, 0, 2100);
    p.Number(0x1480, 0, 0, 1).Number(0x1042, 0x28, 0, 128).String(0x1043, 0x28, 0, "PCIE-1");

    p.Raw(0x0B10, 0, 0, EventRecords());
    return p;
}

class HostCaptureRun : public ::testing::Test
{
protected:
    // Runs the program in a fresh working directory; returns the page (empty when none written).
    std::string RunReport(std::vector<std::pair<std::string, std::string>> environment = {})
    {
        environment.emplace_back("HOSTCAPTURE_SYSROOT", m_Root.Path());
        m_Run = ReportTestSupport::RunProgram(HOSTCAPTURE_EXECUTABLE, {"-output", "report.html"},
                                              m_Work.Path(), environment);
        EXPECT_TRUE(m_Run.started);
        EXPECT_EQ(m_Run.exitStatus, 0) << m_Run.output;
        return ReadFile(m_Work.Path() + "/report.html");
    }

    // The commands the program sent, without the client's own channel-init and cabinet requests.
    std::vector<SimCommand> Queries(const SimProcess& sim) const
    {
        std::vector<SimCommand> queries;
        for (const SimCommand& command : sim.RequestedCommands())
            if (command.oc != 0xFFA0 && command.oc != 0xE204)
                queries.push_back(command);
        return queries;
    }

    static size_t CountOc(const std::vector<SimCommand>& commands, uint32_t oc)
    {
        return std::count_if(commands.begin(), commands.end(),
                             [oc](const SimCommand& c) { return c.oc == oc; });
    }

    TempDir m_Root;
    TempDir m_Work;
    ReportTestSupport::ChildRun m_Run;
};
} // namespace

TEST_F(HostCaptureRun, RackServerShowsEverySectionWithItsData)
{
    SimProcess sim(m_Root.Path());
    ASSERT_TRUE(sim.StartWithProfileText(RackServer().Text())) << sim.Error();
    const std::string page = RunReport();
    ASSERT_FALSE(page.empty()) << m_Run.output;

    // Information block.
    EXPECT_NE(page.find(PanelLine("Model", "RX-2540 &lt;M7&gt;") + PanelLine("Serial Number", "YM4F012345") +
                        PanelLine("Chassis ID", "CH-77") +
                        PanelLine("Asset Tag", "Asset &quot;42&quot; &amp; co") +
                        PanelLine("UUID", "8A1C32B6-55D2-11EE-8C99-0242AC120002") +
                        PanelLine("Power On Duration", "1 days 1 hours 1 minutes")),
              std::string::npos);
    EXPECT_NE(page.find(PanelLine("Serial Number", "BS-1") + PanelLine("Ident Number", "D3893-B1") +
                        PanelLine("BIOS Version", "V5.0.0.21 R1.22.0")),
              std::string::npos);
    EXPECT_NE(page.find(PanelLine("Name", "Linux 6.1") + PanelLine("Uptime", "1 hours 1 minutes") +
                        PanelLine("Host Name", "rack07.example") + PanelLine("IP Address", "10.1.2.3") +
                        PanelLine("", "fe80::21b:21ff:fe3c:4d5e")),
              std::string::npos);
    EXPECT_NE(page.find(PanelLine("Tessmark Quorum Data Exchange", "10.40.01")), std::string::npos);

    // Health block: every section in order, coloured by the daemon's status.
    const std::vector<std::pair<std::string, std::string>> headers = {
        {" status-normal", "Environment"},
        {" status-normal", "Cooling Devices"},
        {" status-warning", "Temperature"},
        {" status-warning", "Power Supply"},
        {" status-warning", "Power Supply Units"},
        {" status-error", "Mass Storage"},
        {" status-normal", "Mass Storage Adapters"},
        {" status-normal", "Tessmark RAID System"},
        {" status-normal", "RAID Adapters"},
        {" status-warning", "RAID Logical Drives"},
        {" status-error", "RAID Physical Drives"},
        {" status-major", "System Board"},
        {" status-normal", "Voltages"},
        {" status-error", "Memory Modules"},
        {" status-normal", "System Processors"},
        {" status-normal", "PCI Slots"},
        {" status-normal", "Network"},
        {" status-normal", "Network Adapters"},
        {"", "System Event Log"}};
    size_t previous = 0;
    for (const auto& header : headers)
    {
        const size_t at = page.find(SectionHeader(header.first, header.second));
        ASSERT_NE(at, std::string::npos) << header.second;
        EXPECT_GT(at, previous) << header.second;
        previous = at;
    }

    EXPECT_NE(SectionBody(page, "Cooling Devices")
                  .find(Row("status-normal", "OK", {"FAN1 SYS", "In-house", "5280"}) +
                        Row("status-error", "Fail", {"FAN2 SYS", "In-house", "0"})),
              std::string::npos)
        << SectionBody(page, "Cooling Devices");
    EXPECT_NE(
        SectionBody(page, "Temperature").find(Row("status-warning", "Warning", {"CPU1", "CPU Sensor", "81"})),
        std::string::npos);
    EXPECT_NE(SectionBody(page, "Power Supply Units")
                  .find(Row("status-normal", "OK", {"PSU1", "1100", "236"}) +
                        Row("status-warning", "AC Failure", {"PSU2", "N/A", "0"})),
              std::string::npos);
    const std::string storageAdapters = SectionBody(page, "Mass Storage Adapters");
    EXPECT_NE(storageAdapters.find(Row("status-normal", "OK", {"SAS HBA", "Slot 2"}) + "\n        </tbody>"),
              std::string::npos);
    EXPECT_EQ(storageAdapters.find("Other adapter"), std::string::npos);
    EXPECT_NE(SectionBody(page, "Tessmark RAID System")
                  .find(Row("status-normal", "Installed</td>\n<td class=\"status-normal icon status\">OK",
                            {"8.9.1"})),
              std::string::npos);
    EXPECT_NE(SectionBody(page, "RAID Adapters")
                  .find(Row("status-normal", "OK", {"0", "RAID Ctrl SAS 16G (1)"}) +
                        Row("status-warning", "Warning", {"1", "RAID Ctrl SAS 16G (2)"})),
              std::string::npos);
    EXPECT_NE(SectionBody(page, "RAID Logical Drives")
                  .find(Row("status-normal", "Operational", {"0", "LogicalDrive_0", "RAID-1", "2"})),
              std::string::npos);
    EXPECT_NE(
        SectionBody(page, "RAID Physical Drives")
            .find(Row("status-warning", "Operational - S.M.A.R.T. Failure",
                      {"0", "S.M.A.R.T. Failure", "SEAGATE ST600 (0)", "SAS", "559"}) +
                  Row("status-error", "Failed", {"1", "S.M.A.R.T. OK", "SSD 960GB (1)", "SATA", "894"})),
        std::string::npos);
    EXPECT_NE(
        SectionBody(page, "Voltages").find(Row("status-normal", "OK", {"BATT 3.0V", "3.05", "2.75", "3.50"})),
        std::string::npos);
    EXPECT_NE(SectionBody(page, "Memory Modules")
                  .find(Row("status-normal", "OK", {"DIMM &lt;A1&gt;", "32", "DDR5 RDIMM"}) +
                        Row("status-not-present", "Empty Slot", {"DIMM &lt;A2&gt;", " ", " "})),
              std::string::npos);
    EXPECT_NE(SectionBody(page, "System Processors")
                  .find(Row("status-normal", "OK", {"CPU1", "Xenon Gold 6430", "2.100"})),
              std::string::npos);
    EXPECT_NE(SectionBody(page, "PCI Slots").find(Row("status-warning", "OK", {"PCIE-1"})),
              std::string::npos);
    EXPECT_NE(SectionBody(page, "Network Adapters").find(Row("status-normal", "OK", {"Dual 25GbE", "OCP"})),
              std::string::npos);

    const std::string events = SectionBody(page, "System Event Log");
    EXPECT_NE(events.find(
                  Row("status-normal", "Info",
                      {"0x120034", "2024/03/05 07:09:01", "System boot &lt;completed&gt;"}) +
                  Row("status-warning", "Minor", {"0x000A", " &lt;no date/no time&gt; ", "Fan 3 speed low"}) +
                  Row("status-major", "Major", {"0x200001", "2024/03/05 07:10:00", "PSU 2 lost input"}) +
                  Row("status-error", "Critical",
                      {"0xFF0001", "2024/03/05 07:11:40", "Uncorrectable memory error DIMM A1"})),
              std::string::npos)
        << events;
    EXPECT_EQ(page.find("nobody knows"), std::string::npos);

    // Only the page's own markup: no text of the daemon became a tag.
    EXPECT_EQ(page.find("<M7>"), std::string::npos);
    EXPECT_EQ(page.find("<A1>"), std::string::npos);

    // The conversation: members of value 0 are left out, the cabinet always travels, and the
    // follow-up after a normal RAID manager status goes out exactly once.
    const std::vector<SimCommand> queries = Queries(sim);
    ASSERT_FALSE(queries.empty());
    for (const SimCommand& query : queries)
    {
        SCOPED_TRACE(query.oc);
        EXPECT_EQ(query.hasOE, query.oe != 0);
        EXPECT_EQ(query.hasOI, query.oi != 0);
        EXPECT_TRUE(query.hasCA);
    }
    EXPECT_EQ(CountOc(queries, 0x21DF), 1u);
    EXPECT_EQ(CountOc(queries, 0x1805), 6u); // three adapters, once per adapter table
    EXPECT_EQ(CountOc(queries, 0x0B10), 1u);
}

TEST_F(HostCaptureRun, RaidFollowUpOnlyAfterNormalStatusAndNoClassQueryWithoutAdapters)
{
    struct Case
    {
        uint32_t raidStatus;
        size_t followUps;
        const char* cssClass;
    };
    for (const Case& c : {Case{2, 0, "status-warning"}, Case{1, 1, "status-normal"}})
    {
        SCOPED_TRACE(c.raidStatus);
        ProfileBuilder profile;
        profile.Number(0x1800, 0, 0, 0).Number(0x2120, 0, 0, c.raidStatus).Number(0x21DF, 0, 0, 0);
        SimProcess sim(m_Root.Path());
        ASSERT_TRUE(sim.StartWithProfileText(profile.Text())) << sim.Error();
        const std::string page = RunReport();
        // No version: not installed, whatever the status.
        EXPECT_NE(page.find("status-not-present icon status\">Not Installed</td>\n<td class=\"" +
                            std::string(c.cssClass) + " icon status\">"),
                  std::string::npos);
        const std::vector<SimCommand> queries = Queries(sim);
        EXPECT_EQ(CountOc(queries, 0x21DF), c.followUps);
        EXPECT_EQ(CountOc(queries, 0x1800), 2u);
        EXPECT_EQ(CountOc(queries, 0x1805), 0u);
        sim.Stop();
        sim.ClearRequestLog();
    }
}

TEST_F(HostCaptureRun, WithoutDaemonEverySectionIsUnknownAndEmpty)
{
    const std::string page = RunReport();
    ASSERT_FALSE(page.empty()) << m_Run.output;
    EXPECT_EQ(page.rfind("<!DOCTYPE html>", 0), 0u);

    // The information block keeps its four sections, with empty panels.
    size_t previous = 0;
    for (const char* title : kInformationSections)
    {
        const size_t at = page.find(SectionHeader("", title), previous);
        ASSERT_NE(at, std::string::npos) << title;
        previous = at;
    }
    EXPECT_EQ(Count(page, "<div class=\"row\">"), 0u);

    // Every health section, in order, unknown; the event log keeps its default (no icon).
    for (const char* title : kHealthSections)
    {
        const bool eventLog = std::string(title) == "System Event Log";
        const size_t at = page.find(SectionHeader(eventLog ? "" : " status-unknown", title), previous);
        ASSERT_NE(at, std::string::npos) << title;
        previous = at;
    }
    // Thirteen tables with headings only; the RAID manager table has its one row.
    EXPECT_EQ(Count(page, "<table"), 14u);
    EXPECT_EQ(Count(page, "<tbody>\n        </tbody>"), 13u);
    EXPECT_NE(page.find(Row("status-not-present",
                            "Not Installed</td>\n<td class=\"status-not-present icon "
                            "status\">Unknown",
                            {"N/A"})),
              std::string::npos);
}

TEST_F(HostCaptureRun, CatalogueSearchIsTraced)
{
    TempDir install;
    m_Root.Write(
        "opt/TessmarkQDX/vital/etc/plinthd/registry",
        "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Valmerex]\n[Management]\n[Server Control]\n[Setup]\nBinRoot=s=" +
            install.Path() + "\n\n\n\n\n\n\n\n");
    // The ring-buffer directory variable decides the trace directory when both are set.
    const std::vector<std::pair<std::string, std::string>> tracing = {{"TM_LOG_DEBUG_LEVEL", "4"},
                                                                      {"TM_LOG_FILE_DIR", m_Work.Path()},
                                                                      {"TM_LOG_RINGBUF_DIR", m_Work.Path()}};
    const std::string local = m_Work.Path() + "/ERRMSG.XML";
    const std::string registered = install.Path() + "/ERRMSG.XML";

    // Found through the registry: every step of the search is in the trace, in order.
    install.Write("ERRMSG.XML", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Messages/>\n");
    ASSERT_FALSE(RunReport(tracing).empty());
    std::string trace = ReadFile(m_Work.Path() + "/log.hostcapture");
    const std::vector<std::string> lines = {
        "CLogMsgFile         : Use event messages file \"ERRMSG.XML\" for decoding",
        "CLogMsgFile         : Search for file in current directory ...",
        "CLogMsgFile         : Try to open file \"" + local + "\"",
        "CLogMsgFile         : Search for file in registered directory ...",
        "CLogMsgFile         : Try to open file \"" + registered + "\"",
        "CLogMsgFile         : Event messages successfully opened in \"" + registered + "\"!"};
    size_t previous = 0;
    for (const std::string& line : lines)
    {
        const size_t at = trace.find(line, previous);
        ASSERT_NE(at, std::string::npos) << line << "\n" << trace;
        previous = at;
    }

    // A catalogue that is not well formed only changes the word in the last line.
    install.Write("ERRMSG.XML", "<Messages><Message></Messages>");
    ASSERT_FALSE(RunReport(tracing).empty());
    trace = ReadFile(m_Work.Path() + "/log.hostcapture");
    EXPECT_NE(trace.find("CLogMsgFile         : Event messages  opened in \"" + registered + "\"!"),
              std::string::npos)
        << trace;

    // One in the working directory is taken first; the registry is not consulted.
    m_Work.Write("ERRMSG.XML", "<Messages/>");
    ASSERT_FALSE(RunReport(tracing).empty());
    trace = ReadFile(m_Work.Path() + "/log.hostcapture");
    EXPECT_NE(trace.find("CLogMsgFile         : Event messages successfully opened in \"" + local + "\"!"),
              std::string::npos)
        << trace;
    EXPECT_EQ(trace.find("Search for file in registered directory"), std::string::npos);
}
