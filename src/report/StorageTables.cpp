#include "StorageTables.h"

#include "CConfigSpaceQuery.h"
#include "CellFormat.h"
#include "HtmlText.h"
#include "RowLimit.h"

#include <vector>

namespace
{
const char* RaidStatusCssClass(uint32_t statusClass)
{
    switch (statusClass)
    {
    case 0:
        return "status-not-present";
    case 1:
        return "status-normal";
    case 2:
        return "status-warning";
    case 3:
        return "status-error";
    default:
        return "";
    }
}

constexpr uint32_t kRaidManagerVersionExtension = 0xAA03;
} // namespace

namespace StorageTables
{
std::unique_ptr<TableComponent> BuildAdapterTable(CConfigSpaceQuery& query, uint32_t adapterClass)
{
    auto table = std::make_unique<TableComponent>();
    table->AddColumn("Status");
    table->AddColumn("Designation");
    table->AddColumn("Location");
    // Only the adapters that fit the table are asked for their class; the others are left out
    // unread, whichever table they would have belonged to.
    RowLimit limit(adapterClass == kNetworkAdapterClass ? "Network Adapters" : "Mass Storage Adapters");
    uint32_t reported = 0;
    const std::vector<uint32_t> indexes = query.GetAdapterIndexes(adapterClass, limit.Room(), reported);
    limit.Take("adapters (0x1800)", reported);
    for (const uint32_t index : indexes)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetAdapterStatus(index));
        // One statement per daemon text: the raw answer is gone before the next one is read.
        std::string designation = HtmlText::FromDaemon(query.GetAdapterDesignation(index));
        std::string location = HtmlText::FromDaemon(query.GetAdapterLocation(index));
        table->AddRow(head, {std::move(designation), std::move(location)});
    }
    limit.AddLeftOutRow(*table, 2);
    return table;
}

RowHead MakeRaidManagerRowHead(bool installed, uint32_t statusClass, const std::string& statusText)
{
    RowHead head;
    head.Status = installed ? 1 : 4;
    head.Text = installed ? "Installed" : "Not Installed";
    // The row head closes its own cell and opens a second status cell, so one row fills both
    // status columns of the table.
    head.Text += "</td>\n<td class=\"";
    head.Text += RaidStatusCssClass(statusClass);
    head.Text += " icon status\">";
    head.Text += HtmlText::FromDaemon(statusText);
    return head;
}

std::unique_ptr<TableComponent> BuildRaidManagerTable(CConfigSpaceQuery& query)
{
    auto table = std::make_unique<TableComponent>();
    table->AddColumn("ZARN Status");
    table->AddColumn("RAID Status");
    table->AddColumn("ZARNVersion");

    const std::string version = query.GetRaidManagerVersion(kRaidManagerVersionExtension);
    const CodedResult status = query.GetRaidManagerStatus();
    if (status.Status == 1)
        query.IssueRaidManagerFollowUp(); // the daemon expects it after a normal status; answer unused

    table->AddRow(MakeRaidManagerRowHead(!version.empty(), status.Status, status.Text),
                  {HtmlText::FromDaemon(version)});
    return table;
}

std::unique_ptr<TableComponent> BuildRaidAdapterTable(CConfigSpaceQuery& query)
{
    auto table = std::make_unique<TableComponent>();
    table->AddColumn("Status");
    table->AddColumn("ID");
    table->AddColumn("Designation");
    RowLimit limit("RAID Adapters");
    const uint32_t adapterCount = limit.Take("RAID adapters (0x2110)", query.GetRaidAdapterCount());
    for (uint32_t adapter = 0; adapter < adapterCount; ++adapter)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetRaidAdapterStatus(adapter));
        table->AddRow(head, {CellFormat::Unsigned(adapter),
                             HtmlText::FromDaemon(query.GetRaidAdapterDesignation(adapter))});
    }
    limit.AddLeftOutRow(*table, 2);
    return table;
}

std::unique_ptr<TableComponent> BuildRaidLogicalDriveTable(CConfigSpaceQuery& query)
{
    auto table = std::make_unique<TableComponent>();
    table->AddColumn("Status");
    table->AddColumn("Adapter ID");
    table->AddColumn("Designation");
    table->AddColumn("RAID Level");
    table->AddColumn("Size (GByte)");
    RowLimit limit("RAID Logical Drives");
    const uint32_t adapterCount = limit.Visit("RAID adapters (0x2110)", query.GetRaidAdapterCount());
    for (uint32_t adapter = 0; adapter < adapterCount; ++adapter)
    {
        const uint32_t driveCount =
            limit.Take("logical drives (0x2150)", query.GetLogicalDriveCount(adapter));
        for (uint32_t drive = 0; drive < driveCount; ++drive)
        {
            const RowHead head = CellFormat::RowHeadFromCoded(query.GetLogicalDriveStatus(adapter, drive));
            std::string designation = HtmlText::FromDaemon(query.GetLogicalDriveDesignation(adapter, drive));
            std::string raidLevel = HtmlText::FromDaemon(query.GetLogicalDriveRaidLevel(adapter, drive));
            std::string size = CellFormat::Gigabytes(query.GetLogicalDriveSize(adapter, drive));
            table->AddRow(head, {CellFormat::Unsigned(adapter), std::move(designation), std::move(raidLevel),
                                 std::move(size)});
        }
    }
    limit.AddLeftOutRow(*table, 4);
    return table;
}

std::unique_ptr<TableComponent> BuildRaidPhysicalDriveTable(CConfigSpaceQuery& query)
{
    auto table = std::make_unique<TableComponent>();
    table->AddColumn("Status");
    table->AddColumn("Adapter ID");
    table->AddColumn("S.M.A.R.T");
    table->AddColumn("Designation");
    table->AddColumn("Interface");
    table->AddColumn("Size (GByte)");
    RowLimit limit("RAID Physical Drives");
    const uint32_t adapterCount = limit.Visit("RAID adapters (0x2110)", query.GetRaidAdapterCount());
    for (uint32_t adapter = 0; adapter < adapterCount; ++adapter)
    {
        const uint32_t driveCount =
            limit.Take("physical drives (0x2130)", query.GetPhysicalDriveCount(adapter));
        for (uint32_t drive = 0; drive < driveCount; ++drive)
        {
            const RowHead head = CellFormat::RowHeadFromCoded(query.GetPhysicalDriveStatus(adapter, drive));
            std::string smart = HtmlText::FromDaemon(query.GetPhysicalDriveSmartText(adapter, drive));
            std::string designation = HtmlText::FromDaemon(query.GetPhysicalDriveDesignation(adapter, drive));
            std::string busType = HtmlText::FromDaemon(query.GetPhysicalDriveInterfaceText(adapter, drive));
            std::string size = CellFormat::Gigabytes(query.GetPhysicalDriveSize(adapter, drive));
            table->AddRow(head, {CellFormat::Unsigned(adapter), std::move(smart), std::move(designation),
                                 std::move(busType), std::move(size)});
        }
    }
    limit.AddLeftOutRow(*table, 5);
    return table;
}
} // namespace StorageTables
