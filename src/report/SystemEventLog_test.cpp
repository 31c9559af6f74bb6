#include "ReportTestSupport.h"
#include "SystemEventLog.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

using ReportTestSupport::AppendEventRecord;

TEST(SystemEventLog, CodeAndTimeForms)
{
    EXPECT_EQ(SystemEventLog::FormatCode(0x1234), "0x120034");
    EXPECT_EQ(SystemEventLog::FormatCode(0x000A), "0x000A");
    EXPECT_EQ(SystemEventLog::FormatCode(0xFFFF), "0xFF00FF");

    ScopedEnv zone("TZ", "NZST-12"); // local time would show a different day
    tzset();
    EXPECT_EQ(SystemEventLog::FormatTimestamp(0), " <no date/no time> ");
    EXPECT_EQ(SystemEventLog::FormatTimestamp(-1), " <no date/no time> ");
    EXPECT_EQ(SystemEventLog::FormatTimestamp(1709622541), "2024/03/05 07:09:01");
    EXPECT_EQ(SystemEventLog::FormatTimestamp(0x7FFFFFFF), "2038/01/19 03:14:07");
}

TEST(SystemEventLog, WalkStopsAtRecordsThatDoNotFit)
{
    std::vector<uint8_t> good;
    AppendEventRecord(good, 1, 0x0203, 7, "first");
    auto withTail = [&](std::vector<uint8_t> tail)
    {
        std::vector<uint8_t> bytes = good;
        bytes.insert(bytes.end(), tail.begin(), tail.end());
        return SystemEventLog::ParseRecords(bytes);
    };
    std::vector<uint8_t> second;
    AppendEventRecord(second, 2, 1, 1, "second");
    ASSERT_EQ(withTail(second).size(), 2u);

    auto shortLength = second;
    shortLength[0] = 15; // below the header
    EXPECT_EQ(withTail(shortLength).size(), 1u);
    EXPECT_EQ(withTail(std::vector<uint8_t>(40, 0)).size(), 1u); // length 0 must not loop
    auto pastEnd = second;
    pastEnd[0] = 0xFF;
    EXPECT_EQ(withTail(pastEnd).size(), 1u);
    EXPECT_EQ(withTail({1, 2, 3}).size(), 1u); // less than a header left

    // A message without its zero ends at the record's end; one with an early zero stops there.
    auto unterminated = second;
    unterminated.pop_back();
    unterminated[0] = static_cast<uint8_t>(unterminated.size());
    auto records = withTail(unterminated);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].Code, 0x0203);
    EXPECT_EQ(records[0].Timestamp, 7);
    EXPECT_EQ(records[1].Message, "second");
    auto earlyZero = second;
    earlyZero[16 + 3] = 0;
    EXPECT_EQ(withTail(earlyZero)[1].Message, "sec");
}

TEST(SystemEventLog, TableRowsBySeverity)
{
    std::vector<uint8_t> bytes;
    AppendEventRecord(bytes, 0, 0x1234, 1709622541, "Info <b>");
    AppendEventRecord(bytes, 9, 0x0001, 1, "unknown severity");
    AppendEventRecord(bytes, 1, 0x000A, 0, "minor");
    AppendEventRecord(bytes, 2, 0x0B10, 60, "major");
    AppendEventRecord(bytes, 3, 0xFFFF, 86400, "\xFF critical");
    const std::string table = SystemEventLog::BuildTable(bytes)->Render();
    const std::string rows[] = {
        "\"status-normal icon status\">Info</td>\n            <td>0x120034</td>\n            <td>2024/03/05 "
        "07:09:01</td>\n            <td>Info &lt;b&gt;</td>",
        "\"status-warning icon status\">Minor</td>\n            <td>0x000A</td>\n            <td> &lt;no "
        "date/no "
        "time&gt; </td>\n            <td>minor</td>",
        "\"status-major icon status\">Major</td>\n            <td>0xB0010</td>\n            <td>1970/01/01 "
        "00:01:00</td>",
        "\"status-error icon status\">Critical</td>\n            <td>0xFF00FF</td>\n            "
        "<td>1970/01/02 "
        "00:00:00</td>\n            <td>\xEF\xBF\xBD critical</td>"};
    size_t previous = 0;
    for (const std::string& row : rows)
    {
        const size_t at = table.find(row, previous);
        ASSERT_NE(at, std::string::npos) << row << "\n" << table;
        previous = at;
    }
    EXPECT_EQ(table.find("unknown severity"), std::string::npos);
}
