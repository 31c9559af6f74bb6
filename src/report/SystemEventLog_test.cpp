#include "CConfigSpaceQuery.h"
#include "FakeQueryClient.h"
#include "SystemEventLog.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
void AppendLe(std::vector<uint8_t>& out, uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// One record as the controller packs it; length 0 means "the natural length".
std::vector<uint8_t> Record(uint8_t severity, uint16_t code, int32_t time, const std::string& text,
                            bool terminate = true, uint16_t length = 0)
{
    std::vector<uint8_t> record;
    const size_t natural = 16 + text.size() + (terminate ? 1 : 0);
    AppendLe(record, length ? length : static_cast<uint16_t>(natural), 2);
    record.push_back(0xEE); // unused
    record.push_back(severity);
    AppendLe(record, code, 2);
    AppendLe(record, 0xDDDD, 2);
    AppendLe(record, static_cast<uint32_t>(time), 4);
    AppendLe(record, 0xCCCCCCCC, 4);
    record.insert(record.end(), text.begin(), text.end());
    if (terminate)
        record.push_back(0);
    return record;
}

std::vector<uint8_t> Join(std::initializer_list<std::vector<uint8_t>> records)
{
    std::vector<uint8_t> all;
    for (const auto& record : records)
        all.insert(all.end(), record.begin(), record.end());
    return all;
}

// Runs a test body with TZ set to a zone far from UTC, so that local time would show.
class ScopedTimeZone
{
public:
    explicit ScopedTimeZone(const char* zone)
    {
        const char* old = getenv("TZ");
        m_Had = old != nullptr;
        if (m_Had)
            m_Old = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedTimeZone()
    {
        if (m_Had)
            setenv("TZ", m_Old.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    bool m_Had;
    std::string m_Old;
};
} // namespace

TEST(SystemEventLog, DisplayedCodeMovesTheHighByte)
{
    EXPECT_EQ(SystemEventLog::FormatCode(0x1234), "0x120034");
    EXPECT_EQ(SystemEventLog::FormatCode(0x000A), "0x000A");
    EXPECT_EQ(SystemEventLog::FormatCode(0x00FF), "0x00FF");
    EXPECT_EQ(SystemEventLog::FormatCode(0x0100), "0x10000");
    EXPECT_EQ(SystemEventLog::FormatCode(0xFFFF), "0xFF00FF");
}

TEST(SystemEventLog, TimestampsAreUtcOrUnknown)
{
    ScopedTimeZone zone("NZST-12");
    EXPECT_EQ(SystemEventLog::FormatTimestamp(0), " <no date/no time> ");
    EXPECT_EQ(SystemEventLog::FormatTimestamp(-1), " <no date/no time> ");
    EXPECT_EQ(SystemEventLog::FormatTimestamp(1), "1970/01/01 00:00:01");
    EXPECT_EQ(SystemEventLog::FormatTimestamp(1709622541), "2024/03/05 07:09:01");
    EXPECT_EQ(SystemEventLog::FormatTimestamp(0x7FFFFFFF), "2038/01/19 03:14:07");
}

TEST(SystemEventLog, WalksWellFormedRecords)
{
    const auto bytes = Join({Record(0, 0x1234, 1709622541, "Power on"), Record(3, 0x000A, 0, ""),
                             Record(2, 7, 5, "no terminator", false)});
    const auto records = SystemEventLog::ParseRecords(bytes);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].Severity, 0);
    EXPECT_EQ(records[0].Code, 0x1234);
    EXPECT_EQ(records[0].Timestamp, 1709622541);
    EXPECT_EQ(records[0].Message, "Power on");
    EXPECT_EQ(records[1].Message, "");
    EXPECT_EQ(records[2].Message, "no terminator"); // ends at the record's end
}

TEST(SystemEventLog, StopsAtRecordsThatDoNotFit)
{
    const auto good = Record(1, 1, 1, "first");
    // A length below the header stops the walk (and a length of 0 cannot loop for ever).
    EXPECT_EQ(SystemEventLog::ParseRecords(Join({good, Record(1, 2, 2, "x", true, 15), good})).size(), 1u);
    EXPECT_EQ(SystemEventLog::ParseRecords(Join({good, Record(1, 2, 2, "x", true, 0xFFFF)})).size(), 1u);
    std::vector<uint8_t> zeroLength = Join({good, std::vector<uint8_t>(32, 0)});
    EXPECT_EQ(SystemEventLog::ParseRecords(zeroLength).size(), 1u);
    // A record cut short by the end of the data, and trailing bytes shorter than a header.
    auto truncated = Join({good, Record(1, 2, 2, "second")});
    truncated.resize(truncated.size() - 3);
    EXPECT_EQ(SystemEventLog::ParseRecords(truncated).size(), 1u);
    EXPECT_EQ(SystemEventLog::ParseRecords(Join({good, {1, 2, 3}})).size(), 1u);
    EXPECT_TRUE(SystemEventLog::ParseRecords({}).empty());

    // The text stops at the first zero even when the record is longer.
    auto padded = Record(0, 1, 1, std::string("abc\0def", 7));
    const auto records = SystemEventLog::ParseRecords(padded);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Message, "abc");
}

TEST(SystemEventLog, TableShowsSeverityCodeTimeAndEscapedMessage)
{
    ScopedTimeZone zone("EST5");
    const auto bytes = Join({Record(0, 0x1234, 1709622541, "Info <b>"), Record(1, 0x000A, 0, "minor"),
                             Record(9, 0x0001, 1, "unknown severity"), Record(2, 0x0B10, 60, "major"),
                             Record(3, 0xFFFF, 86400, "\xFF\x01 critical")});
    const std::string table = SystemEventLog::BuildTable(bytes)->Render();
    EXPECT_NE(
        table.find("<th>Status</th>\n            <th>Error Code</th>\n            <th>Timestamp</th>\n     "
                   "       <th>Message</th>"),
        std::string::npos);
    const std::string expected =
        "\n          <tr>\n            <td class=\"status-normal icon status\">Info</td>\n            "
        "<td>0x120034</td>\n            <td>2024/03/05 07:09:01</td>\n            <td>Info &lt;b&gt;</td>\n"
        "          </tr>\n          <tr>\n            <td class=\"status-warning icon status\">Minor</td>\n"
        "            <td>0x000A</td>\n            <td> &lt;no date/no time&gt; </td>\n            "
        "<td>minor</td>\n          </tr>\n          <tr>\n            <td class=\"status-major icon "
        "status\">Major</td>\n            <td>0xB0010</td>\n            <td>1970/01/01 00:01:00</td>\n"
        "            <td>major</td>\n          </tr>\n          <tr>\n            <td class=\"status-error "
        "icon status\">Critical</td>\n            <td>0xFF00FF</td>\n            <td>1970/01/02 "
        "00:00:00</td>\n"
        "            <td>\xEF\xBF\xBD\xEF\xBF\xBD critical</td>\n          </tr>\n        </tbody>";
    EXPECT_NE(table.find(expected), std::string::npos) << table;
    EXPECT_EQ(table.find("unknown severity"), std::string::npos);
}

TEST(SystemEventLog, RecordsComeFromTheDaemonsRawQuery)
{
    FakeQueryClient daemon;
    CConfigSpaceQuery query;
    query.Bind(&daemon, 0, "");
    daemon.AnswerRaw(0x0B10, 0, 0, Join({Record(0, 1, 1, "a"), Record(3, 2, 2, "b")}));
    EXPECT_EQ(SystemEventLog::BuildTable(query)->RowCount(), 2u);

    daemon.Fail(0x0B10, 0, 0, 21);
    EXPECT_EQ(SystemEventLog::BuildTable(query)->RowCount(), 0u);
    for (const auto& received : daemon.Received())
    {
        EXPECT_EQ(received.Oc, 0x0B10u);
        EXPECT_FALSE(received.HasOe);
        EXPECT_FALSE(received.HasOi);
        EXPECT_TRUE(received.HasCa);
    }
}
