#include "SystemEventLog.h"

#include "CConfigSpaceQuery.h"
#include "HtmlEscape.h"
#include "HtmlText.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace
{
// Offsets within a record header. Multi-byte fields are little-endian, the controller's order.
constexpr size_t kLengthOffset = 0;
constexpr size_t kSeverityOffset = 3;
constexpr size_t kCodeOffset = 4;
constexpr size_t kTimestampOffset = 8;

uint16_t ReadU16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t ReadU32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

const char kNoDate[] = " <no date/no time> ";
} // namespace

namespace SystemEventLog
{
const std::map<uint8_t, SeverityInfo>& SeverityTable()
{
    static const std::map<uint8_t, SeverityInfo> table = {
        {0, {StatusNormal, "Info"}},
        {1, {StatusWarning, "Minor"}},
        {2, {StatusMajor, "Major"}},
        {3, {StatusError, "Critical"}},
    };
    return table;
}

std::vector<EventRecord> ParseRecords(const std::vector<uint8_t>& bytes)
{
    std::vector<EventRecord> records;
    ForEachRecord(bytes, [&](const EventRecord& event) { records.push_back(event); });
    return records;
}

void ForEachRecord(const std::vector<uint8_t>& bytes, const std::function<void(const EventRecord&)>& visit)
{
    EventRecord event;
    size_t offset = 0;
    while (bytes.size() - offset >= kHeaderSize)
    {
        const uint8_t* record = bytes.data() + offset;
        const size_t length = ReadU16(record + kLengthOffset);
        if (length < kHeaderSize || length > bytes.size() - offset)
            break;

        event.Severity = record[kSeverityOffset];
        event.Code = ReadU16(record + kCodeOffset);
        event.Timestamp = static_cast<int32_t>(ReadU32(record + kTimestampOffset));
        const char* text = reinterpret_cast<const char*>(record + kHeaderSize);
        const size_t textSpace = length - kHeaderSize;
        const void* terminator = memchr(text, 0, textSpace);
        event.Message.assign(text, terminator ? static_cast<const char*>(terminator) - text : textSpace);
        visit(event);

        offset += length;
    }
}

std::string FormatCode(uint16_t code)
{
    const uint32_t displayed = ((static_cast<uint32_t>(code) << 8) & 0xFF0000) | (code & 0xFF);
    char buffer[16];
    snprintf(buffer, sizeof buffer, "0x%04X", displayed);
    return buffer;
}

std::string FormatTimestamp(int32_t timestamp)
{
    if (timestamp <= 0)
        return kNoDate;
    const time_t seconds = timestamp;
    struct tm utc;
    if (!gmtime_r(&seconds, &utc))
        return kNoDate;
    char buffer[64];
    if (strftime(buffer, sizeof buffer, "%Y/%m/%d %H:%M:%S", &utc) == 0)
        return kNoDate;
    return buffer;
}

std::unique_ptr<TableComponent> BuildTable(const std::vector<uint8_t>& records)
{
    auto table = std::make_unique<TableComponent>();
    table->AddColumn("Status");
    table->AddColumn("Error Code");
    table->AddColumn("Timestamp");
    table->AddColumn("Message");

    const auto& severities = SeverityTable();
    ForEachRecord(records, [&](const EventRecord& event) {
        const auto severity = severities.find(event.Severity);
        if (severity == severities.end())
            return;
        RowHead head;
        head.Status = severity->second.Status;
        head.Text = severity->second.Name;
        table->AddRow(head, {FormatCode(event.Code), HtmlEscape(FormatTimestamp(event.Timestamp)),
                             HtmlText::FromDaemon(event.Message)});
    });
    return table;
}

std::unique_ptr<TableComponent> BuildTable(CConfigSpaceQuery& query)
{
    std::vector<uint8_t> records;
    if (!query.GetEventLogRecords(records))
        records.clear();
    // The bytes are all the table needs; a large answer need not stay beside them.
    query.Request().DropLargeReply();
    return BuildTable(records);
}
} // namespace SystemEventLog
