#pragma once

#include "TableComponent.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

class CConfigSpaceQuery;

// The system event log as the management controller keeps it: packed variable-length records,
// each a 16-byte header (length, severity, code, time stamp) followed by a zero-terminated text.
// The bytes come from the daemon and are not trusted: a record whose length is below the header
// or reaches past the end of the data stops the walk.
namespace SystemEventLog
{
constexpr size_t kHeaderSize = 16;

struct EventRecord
{
    uint8_t Severity = 0;
    uint16_t Code = 0;
    int32_t Timestamp = 0; // seconds since 1970 UTC; 0 or less is unknown
    std::string Message;   // raw bytes up to the terminating zero or the record's end
};

struct SeverityInfo
{
    ReportStatus Status;
    const char* Name;
};

// Severity byte -> {status of the row icon, name shown beside it}. Built once.
const std::map<uint8_t, SeverityInfo>& SeverityTable();

// Walks the packed records in order, as far as they are well formed.
std::vector<EventRecord> ParseRecords(const std::vector<uint8_t>& bytes);
// The same walk, one record at a time: the table is built without a second copy of every
// message beside the record bytes.
void ForEachRecord(const std::vector<uint8_t>& bytes, const std::function<void(const EventRecord&)>& visit);

// The high byte of the code moved to bits 16-23, the low byte kept, as "0x%04X".
std::string FormatCode(uint16_t code);
// UTC "%Y/%m/%d %H:%M:%S", or " <no date/no time> " when the time is unknown or unprintable.
std::string FormatTimestamp(int32_t timestamp);

// The table "Status", "Error Code", "Timestamp", "Message"; the row head shows the severity name
// beside its icon. Records of an unknown severity are left out.
std::unique_ptr<TableComponent> BuildTable(const std::vector<uint8_t>& records);
// Reads the records from the daemon (empty on failure) and builds the table.
std::unique_ptr<TableComponent> BuildTable(CConfigSpaceQuery& query);
} // namespace SystemEventLog
