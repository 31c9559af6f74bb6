// Runs the HostCapture program against the simulated daemon and checks the written page and the
// conversation the daemon saw.

#include "ProgramRun.h"
#include "ReportTestSupport.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <algorithm>

using ReportTestSupport::ProfileBuilder;

namespace
{
std::string Header(const std::string& headerClass, const std::string& title)
{
    return "class=\"collapsible title-text" + headerClass + "\">" + title + "</button>";
}

std::string Line(const std::string& title, const std::string& value)
{
    return "<div class=\"title\">" + title + "</div>\n          <div class=\"value\">" + value + "</div>";
}

std::string Row(const std::string& rowClass, const std::string& text, const std::vector<std::string>& cells)
{
    std::string row = "<td class=\"" + rowClass + " icon status\">" + text + "</td>";
    for (const std::string& cell : cells)
        row += "\n            <td>" + cell + "</td>";
    return row + "\n          </tr>";
}

// Every fragment occurs, each after the one before.
void ExpectInOrder(const std::string& text, const std::vector<std::string>& fragments)
{
    size_t previous = 0;
    for (const std::string& fragment : fragments)
    {
        const size_t at = text.find(fragment, previous);
        ASSERT_NE(at, std::string::npos) << "missing in order: " << fragment << "\n" << text;
        previous = at + fragment.size();
    }
}

size_t Count(const std::string& text, const std::string& needle)
{
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++count;
    return count;
}

// One member of every table, a few awkward ones among them.
ProfileBuilder Server()
{
    ProfileBuilder p;
    p.String(0x0C00, 0x0608, 0, "RX-2540 <M7>").Number(0xE001, 0x1010, 0, 90061);
    p.String(0x0C00, 0x0201, 0, "D3893-B1").String(0xE107, 0, 0, "rack07").Raw(0xE108, 0, 0, {10, 1, 2, 3});
    p.Raw(0xE108, 1, 0, {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0x02, 0x1b, 0x21, 0xff, 0xfe, 0x3c, 0x4d, 0x5e});
    p.String(0x0C00, 0xA806, 0, "10.40.01");
    p.Number(0x2301, 0, 0, 1).Number(0x2301, 1, 0, 2).Number(0x2301, 2, 0, 3).Number(0x2301, 3, 0, 6);
    p.Number(0x2306, 0, 2, 2).Number(0x2306, 3, 1, 3).Number(0x2306, 5, 0, 1).Number(0x1820, 3, 0, 1);
    p.Number(0x2120, 0, 0, 1).Number(0x21DF, 0, 0, 0).String(0x0C00, 0xAA03, 0, "8.9.1");
    p.Number(0x0300, 0, 0, 1).Number(0x0301, 0, 0, 1).String(0x0304, 0, 0, "FAN1").Number(0x0303, 0, 0, 3);
    p.Number(0x0302, 0, 0, 5280).Number(0x0400, 0, 0, 1).Number(0x0401, 0, 0, 4).Number(0x0402, 0, 0, 81);
    p.Number(0x0500, 0, 0, 1).Number(0x0501, 0, 0, 3).Status(0x0506, 0, 0, 4).Number(0x0507, 0, 0, 0);
    p.Number(0x1800, 0, 0, 3).Number(0x1805, 0, 0, 3).Number(0x1805, 0, 1, 9).Number(0x1805, 0, 2, 2);
    p.String(0x1803, 0, 0, "SAS HBA").String(0x1803, 0, 1, "Other").String(0x1803, 0, 2, "25GbE");
    p.Number(0x2110, 0, 0, 2).String(0x2111, 0, 1, "RAID Ctrl (2)").Number(0x2150, 1, 0, 1);
    p.String(0x2155, 1, 0, "RAID-1").Number(0x2153, 1, 0, 1536).Number(0x2130, 0, 0, 1);
    p.Number(0x2131, 0, 0, 0).Number(0x2132, 0, 0, 1).Number(0x2134, 0, 0, 8).Number(0x2135, 0, 0, 572325);
    p.Number(0x0520, 0, 0, 1)
        .Number(0x0521, 0, 0, 1)
        .Number(0x0524, 0, 0, 305)
        .Number(0x0523, 0, 0, 0x015E0113);
    p.Number(0x0700, 0, 0, 1).String(0x0702, 0, 0, "DIMM <A1>").Number(0x070A, 0, 0, 0);
    p.Number(0x0600, 0, 0, 1).Number(0x061D, 0, 0, 2100).Number(0x1480, 0, 0, 1).Number(0x1042, 0x28, 0, 128);
    std::vector<uint8_t> events;
    ReportTestSupport::AppendEventRecord(events, 0, 0x1234, 1709622541, "Boot <done>");
    ReportTestSupport::AppendEventRecord(events, 7, 0x0001, 1, "nobody knows");
    ReportTestSupport::AppendEventRecord(events, 3, 0x000A, 0, "Fan failed");
    return p.Raw(0x0B10, 0, 0, events);
}

class HostCaptureRun : public ::testing::Test
{
protected:
    // Runs the program in the working directory; returns the page it wrote.
    std::string RunReport(std::vector<std::pair<std::string, std::string>> environment = {})
    {
        environment.emplace_back("HOSTCAPTURE_SYSROOT", m_Root.Path());
        const auto run =
            RunProgram(HOSTCAPTURE_EXECUTABLE, {"-output", "report.html"}, m_Work.Path(), environment);
        EXPECT_EQ(run.exitStatus, 0) << run.output;
        return ReadFile(m_Work.Path() + "/report.html");
    }

    // The commands of the report, without the client's own channel-init and cabinet requests.
    static std::vector<SimCommand> Queries(const SimProcess& sim)
    {
        std::vector<SimCommand> queries = sim.RequestedCommands();
        queries.erase(std::remove_if(queries.begin(), queries.end(),
                                     [](const SimCommand& c) { return c.oc == 0xFFA0 || c.oc == 0xE204; }),
                      queries.end());
        return queries;
    }

    TempDir m_Root;
    TempDir m_Work;
};
} // namespace

TEST_F(HostCaptureRun, ServerDataReachesEverySection)
{
    SimProcess sim(m_Root.Path());
    ASSERT_TRUE(sim.StartWithProfileText(Server().Text())) << sim.Error();
    const std::string page = RunReport();

    ExpectInOrder(
        page, {Line("Model", "RX-2540 &lt;M7&gt;"), Line("Power On Duration", "1 days 1 hours 1 minutes"),
               Line("Ident Number", "D3893-B1"), Line("Host Name", "rack07"), Line("IP Address", "10.1.2.3"),
               Line("", "fe80::21b:21ff:fe3c:4d5e"), Line("Tessmark Quorum Data Exchange", "10.40.01")});
    // Sections in order with the daemon's statuses, and each table's rows.
    ExpectInOrder(
        page, {Header(" status-normal", "Environment"),
               Header(" status-unknown", "Cooling Devices"),
               Row("status-normal", "OK", {"FAN1", "In-house", "5280"}),
               Header(" status-warning", "Temperature"),
               Row("status-warning", "Warning", {"N/A", "Unknown Sensor", "81"}),
               Header(" status-warning", "Power Supply"),
               Row("status-warning", "AC Failure", {"N/A", "N/A", "0"}),
               Header(" status-error", "Mass Storage"),
               Header(" status-normal", "Mass Storage Adapters"),
               Row("status-not-present", "N/A", {"SAS HBA", "N/A"}),
               "</tbody>",
               Header(" status-normal", "Tessmark RAID System"),
               Row("status-normal", "Installed</td>\n<td class=\"status-normal icon status\">OK", {"8.9.1"}),
               Row("status-normal", "OK", {"1", "RAID Ctrl (2)"}),
               Header(" status-unknown", "RAID Logical Drives"),
               Row("status-normal", "Operational", {"1", "N/A", "RAID-1", "2"}),
               Row("status-warning", "Operational - S.M.A.R.T. Failure",
                   {"0", "S.M.A.R.T. Failure", "N/A", "SAS", "559"}),
               Header(" status-major", "System Board"),
               Row("status-normal", "OK", {"N/A", "3.05", "2.75", "3.50"}),
               Header(" status-error", "Memory Modules"),
               Row("status-not-present", "Empty Slot", {"DIMM &lt;A1&gt;", " ", " "}),
               Row("status-not-present", "Empty Socket", {"N/A", "N/A", "2.100"}),
               Row("status-warning", "OK", {"N/A"}),
               Header(" status-unknown", "Network"),
               Header(" status-normal", "Network Adapters"),
               Row("status-not-present", "N/A", {"25GbE", "N/A"}),
               Header("", "System Event Log"),
               Row("status-normal", "Info", {"0x120034", "2024/03/05 07:09:01", "Boot &lt;done&gt;"}),
               Row("status-error", "Critical", {"0x000A", " &lt;no date/no time&gt; ", "Fan failed"}),
               "</html>"});
    EXPECT_EQ(page.find("Other"), std::string::npos);
    EXPECT_EQ(page.find("nobody knows"), std::string::npos);
    EXPECT_EQ(page.find("<M7>"), std::string::npos);

    // Members of value 0 stay out, the cabinet always travels, the RAID follow-up goes once.
    const std::vector<SimCommand> queries = Queries(sim);
    for (const SimCommand& query : queries)
    {
        EXPECT_EQ(query.hasOE, query.oe != 0) << query.oc;
        EXPECT_EQ(query.hasOI, query.oi != 0) << query.oc;
        EXPECT_TRUE(query.hasCA) << query.oc;
    }
    EXPECT_EQ(sim.RequestedCommands(0x21DF).size(), 1u);
    EXPECT_EQ(sim.RequestedCommands(0x1805).size(), 6u); // three adapters, for each of the two adapter tables
}

TEST_F(HostCaptureRun, NoFollowUpAfterWarningAndNoClassQueryWithoutAdapters)
{
    SimProcess sim(m_Root.Path());
    ASSERT_TRUE(
        sim.StartWithProfileText(ProfileBuilder().Number(0x1800, 0, 0, 0).Number(0x2120, 0, 0, 2).Text()));
    const std::string page = RunReport();
    EXPECT_NE(page.find("Not Installed</td>\n<td class=\"status-warning icon status\">Warning"),
              std::string::npos);
    const std::vector<SimCommand> queries = Queries(sim);
    EXPECT_EQ(sim.RequestedCommands(0x1800).size(), 2u);
    EXPECT_EQ(sim.RequestedCommands(0x1805).size() + sim.RequestedCommands(0x21DF).size(), 0u);
}

TEST_F(HostCaptureRun, WithoutDaemonEverySectionIsUnknownAndEmpty)
{
    const std::string page = RunReport();
    std::vector<std::string> headers;
    for (const char* title : {"System", "System Board", "Operating System", "System Management Software"})
        headers.push_back(Header("", title));
    for (const char* title :
         {"Environment", "Cooling Devices", "Temperature", "Power Supply", "Power Supply Units",
          "Mass Storage", "Mass Storage Adapters", "Tessmark RAID System", "RAID Adapters",
          "RAID Logical Drives", "RAID Physical Drives", "System Board", "Voltages", "Memory Modules",
          "System Processors", "PCI Slots", "Network", "Network Adapters"})
        headers.push_back(Header(" status-unknown", title));
    headers.push_back(Header("", "System Event Log")); // keeps its construction status: no icon
    ExpectInOrder(page, headers);
    EXPECT_EQ(Count(page, "<div class=\"row\">"), 0u);
    EXPECT_EQ(Count(page, "<table"), 14u);
    EXPECT_EQ(Count(page, "<tbody>\n        </tbody>"), 13u);
    EXPECT_NE(
        page.find(Row("status-not-present",
                      "Not Installed</td>\n<td class=\"status-not-present icon status\">Unknown", {"N/A"})),
        std::string::npos);
}

TEST_F(HostCaptureRun, CatalogueSearchIsTraced)
{
    TempDir install;
    m_Root.Write(
        "opt/TessmarkQDX/vital/etc/plinthd/registry",
        "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Valmerex]\n[Management]\n[Server Control]\n[Setup]\nBinRoot=s=" +
            install.Path() + "\n");
    // The ring-buffer directory variable decides the trace directory when both are set.
    const std::vector<std::pair<std::string, std::string>> tracing = {{"TM_LOG_DEBUG_LEVEL", "4"},
                                                                      {"TM_LOG_FILE_DIR", m_Work.Path()},
                                                                      {"TM_LOG_RINGBUF_DIR", m_Work.Path()}};
    const std::string trace = m_Work.Path() + "/log.hostcapture";
    const std::string local = m_Work.Path() + "/ERRMSG.XML";
    const std::string registered = install.Path() + "/ERRMSG.XML";
    const std::string prefix = "CLogMsgFile         : ";

    install.Write("ERRMSG.XML", "<?xml version=\"1.0\"?>\n<Messages/>\n");
    RunReport(tracing);
    ExpectInOrder(ReadFile(trace),
                  {prefix + "Use event messages file \"ERRMSG.XML\" for decoding",
                   prefix + "Search for file in current directory ...",
                   prefix + "Try to open file \"" + local + "\"",
                   prefix + "Search for file in registered directory ...",
                   prefix + "Try to open file \"" + registered + "\"",
                   prefix + "Event messages successfully opened in \"" + registered + "\"!"});

    install.Write("ERRMSG.XML", "<Messages><Message></Messages>"); // not well formed
    RunReport(tracing);
    ExpectInOrder(ReadFile(trace), {prefix + "Event messages  opened in \"" + registered + "\"!"});

    m_Work.Write("ERRMSG.XML", "<Messages/>"); // the working directory comes first
    RunReport(tracing);
    ExpectInOrder(ReadFile(trace), {prefix + "Event messages successfully opened in \"" + local + "\"!"});
    EXPECT_EQ(ReadFile(trace).find("registered directory"), std::string::npos);
}
