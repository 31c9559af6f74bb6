#include "HostStatus.h"
#include "MetricsHost.h"
#include "MetricsWriter.h"
#include "PageMetrics.h"
#include "SummaryTestPages.h"

#include <gtest/gtest.h>

using namespace SummaryTestPages;

// Rows the page carries for what it could not show, and names it had to cut.
TEST(PageMetrics, LeftOutRowsCutTextsRepeatedNamesAndMissingValues)
{
    HostPage page;
    page.Readable = true;
    page.Identity.TimeStamp = "not a date";
    PageSection drives = Health("Mass Storage", "RAID Physical Drives", StatusUnknown);
    PageTable table;
    table.Headings = {"Status", "Adapter ID", "Designation", "Size (GByte)"};
    const std::string longName = std::string(5000, 'd') + " [cut: 59995904 bytes]";
    table.Rows = {Row(StatusNormal, "Operational", {"0", "HDD", "1"}),
                  Row(StatusWarning, "Rebuilding", {"0", "HDD", "N/A"}),
                  Row(StatusNotPresent, "Offline", {"0", "HDD", " "}),
                  Row(StatusUnknown, "Unknown", {"1", longName, "2"}),
                  Row(StatusUnknown, "4096 more left out, and those of 3 more adapters", {"", "", ""})};
    drives.Tables.push_back(table);
    PageSection log =
        Health(HostStatusRules::kEventLogTitle, HostStatusRules::kEventLogTitle, StatusNotPresent);
    PageTable events;
    events.Headings = {"Status", "Error Code", "Timestamp", "Message"};
    events.Rows = {Row(StatusError, "Critical", {"0x0001", "2026/11/20 10:00:00", "a"}),
                   Row(StatusError, "Critical", {"0x0001", " <no date/no time> ", "b"}),
                   Row(StatusError, "Critical", {"0x0001", "2026/11/24 23:59:59", "c"}),
                   Row(StatusNormal, "Info", {"0x0002", "2026/11/25 00:00:00", "d"})};
    log.Tables.push_back(events);
    page.Sections = {drives, log};

    MetricsWriter writer;
    PageMetrics metrics(writer);
    writer.BeginCollection("h");
    metrics.AddPage(page);
    auto series = Series(writer.Text());
    const std::string drive = "hostcapture_member_state{host=\"h\",group=\"Mass Storage\",section=\"RAID "
                              "Physical Drives\",member=";
    const std::string size = "hostcapture_size_bytes{host=\"h\",section=\"RAID Physical Drives\",member=";
    const std::pair<std::string, const char*> present[] = {
        {drive + "\"HDD\"}", "0"},
        {drive + "\"HDD (2)\"}", "1"}, // the same designation twice: the second gets a number
        {drive + MetricsWriter::QuoteLabel(longName) + "}", "NaN"},
        {size + "\"HDD\"}", "1073741824"},
        {size + MetricsWriter::QuoteLabel(longName) + "}", "2147483648"},
        {"hostcapture_section_state{host=\"h\",group=\"Mass Storage\",section=\"RAID Physical Drives\"}",
         "NaN"},
        {"hostcapture_members_left_out{host=\"h\",section=\"RAID Physical Drives\"}", "4096"},
        {"hostcapture_event_log_entries{host=\"h\",severity=\"critical\"}", "3"},
        {"hostcapture_event_log_entries{host=\"h\",severity=\"info\"}", "1"},
        {"hostcapture_event_log_entries{host=\"h\",severity=\"major\"}", "0"},
        {"hostcapture_event_log_newest_timestamp_seconds{host=\"h\",severity=\"critical\"}", "1795564799"},
    };
    for (const auto& p : present)
    {
        auto found = series.find(p.first);
        ASSERT_NE(found, series.end()) << p.first << "\n" << writer.Text();
        EXPECT_EQ(found->second, p.second) << p.first;
    }
    const std::string absent[] = {
        drive + "\"HDD (3)\"}",                           // not present: no state
        size + "\"HDD (2)\"}",                            // "N/A": no reading
        size + "\"HDD (3)\"}",                            // a blank: no reading
        "hostcapture_page_timestamp_seconds{host=\"h\"}", // a date line that is no date
        "hostcapture_event_log_newest_timestamp_seconds{host=\"h\",severity=\"major\"}",
    };
    for (const std::string& key : absent)
        EXPECT_EQ(series.count(key), 0u) << key;
    for (const auto& s : series)
        EXPECT_EQ(s.first.find("left out"), std::string::npos)
            << "the left-out row is no member: " << s.first;
    EXPECT_LE(MetricsWriter::QuoteLabel(longName).size(), MetricsWriter::kMaxLabelBytes + 2);
}

TEST(PageMetrics, HostIsTheCollectionOrThePagesHostName)
{
    auto page = [](const char* collection, const char* hostName)
    {
        HostPage p;
        p.Collection = collection;
        p.Identity.HostName = hostName;
        return p;
    };
    const struct
    {
        PageFile File;
        HostPage Page;
        const char* Host;
    } cases[] = {
        // In a host's folder below the folder given: the folder, whatever the page claims.
        {{"reports/bravo/20260101T000000Z.html", "bravo/20260101T000000Z.html"},
         page("bravo", "alpha.example.net"),
         "bravo"},
        {{"reports/charlie/x.failed", "charlie/x.failed"}, page("charlie", ""), "charlie"},
        // Directly in the folder given (the service's state folder) or named: the page's host name.
        {{"/var/lib/hostcapture/HostCapture_20261125.html", "HostCapture_20261125.html"},
         page("hostcapture", "alpha.example.net"),
         "alpha.example.net"},
        {{"/tmp/pages/broken.html", "broken.html"}, page("pages", ""), "broken.html"},
        {{"nosuch/", ""}, page("", ""), "nosuch/"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(MetricsHost::Of(c.File, c.Page), c.Host) << c.File.Path;
}
