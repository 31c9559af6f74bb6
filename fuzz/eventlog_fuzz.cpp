// The system event log's packed records, as the daemon hands them over in a raw answer: the
// record walk and the table built and rendered from it.

#include "SystemEventLog.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<uint8_t> bytes(data, data + size);
    for (const SystemEventLog::EventRecord& record : SystemEventLog::ParseRecords(bytes))
    {
        SystemEventLog::FormatCode(record.Code);
        SystemEventLog::FormatTimestamp(record.Timestamp);
    }
    std::unique_ptr<TableComponent> table = SystemEventLog::BuildTable(bytes);
    if (table)
        table->Render();
    return 0;
}
