#include "EventLogComparison.h"

#include "CutText.h"

#include <string>
#include <unordered_map>

namespace
{
struct Columns
{
    int Code = -1, Stamp = -1, Message = -1;

    explicit Columns(const PageTable& table)
    {
        // By heading, so that a column moved in a later version of the page keeps its meaning.
        for (size_t i = 1; i < table.Headings.size(); ++i)
        {
            int cell = static_cast<int>(i) - 1;
            if (table.Headings[i] == "Error Code")
                Code = cell;
            else if (table.Headings[i] == "Timestamp")
                Stamp = cell;
            else if (table.Headings[i] == "Message")
                Message = cell;
        }
    }
};

const std::string& Cell(const PageRow& row, int index)
{
    static const std::string none;
    return index >= 0 && static_cast<size_t>(index) < row.Cells.size() ? row.Cells[index] : none;
}

struct OlderEntry
{
    const std::string* Message;
    bool Matched = false;
};
} // namespace

namespace EventLogComparison
{
std::vector<NewEvent> NewEntries(const PageTable& older, const PageTable& newer)
{
    // The older entries by time stamp; within one stamp an equal text is taken first, a text that
    // only agrees with a cut one after that.
    Columns oldColumns(older), newColumns(newer);
    std::unordered_map<std::string, std::vector<OlderEntry>> byStamp;
    for (const PageRow& row : older.Rows)
        byStamp[Cell(row, oldColumns.Stamp)].push_back({&Cell(row, oldColumns.Message)});

    std::vector<NewEvent> fresh;
    for (const PageRow& row : newer.Rows)
    {
        const std::string& stamp = Cell(row, newColumns.Stamp);
        const std::string& message = Cell(row, newColumns.Message);
        bool known = false;
        auto bucket = byStamp.find(stamp);
        if (bucket != byStamp.end())
        {
            for (int pass = 0; pass < 2 && !known; ++pass)
                for (OlderEntry& entry : bucket->second)
                    if (!entry.Matched &&
                        (pass == 0 ? *entry.Message == message : CutText::Same(*entry.Message, message)))
                    {
                        entry.Matched = known = true;
                        break;
                    }
        }
        if (!known)
            fresh.push_back({row.Status, row.Text, Cell(row, newColumns.Code), stamp, message});
    }
    return fresh;
}
} // namespace EventLogComparison
