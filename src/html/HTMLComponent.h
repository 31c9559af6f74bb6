#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Report status number: selects the status icon of a section header or a table row.
using ReportStatus = uint32_t;
enum : ReportStatus
{
    StatusUnknown = 0,
    StatusNormal = 1,
    StatusWarning = 2,
    StatusError = 3,
    StatusNotPresent = 4,
    StatusNoneInHeader = 5, // not-present icon in tables, no icon in headers
    StatusMajor = 6,
};

// The head of a table row: its status icon and the text beside it.
struct RowHead
{
    ReportStatus Status = StatusUnknown;
    std::string Text;
};

// A node of the report tree that writes its own HTML. Every component accepts every call; a call
// that does not suit it is ignored (AddValue on a table, for example).
class HTMLComponent
{
public:
    virtual ~HTMLComponent() = default;

    // Takes ownership of the child.
    virtual void Add(HTMLComponent* child);
    virtual void AddValue(const std::string& title, const std::string& value);
    virtual void SetTitle(const std::string& title);
    virtual void AddColumn(const std::string& heading);
    virtual void AddRow(const RowHead& head, const std::vector<std::string>& cells);
    virtual void SetStatus(ReportStatus status);
    virtual std::string Render() = 0;
};
