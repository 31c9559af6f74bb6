#include "BoardTables.h"

#include "CConfigSpaceQuery.h"
#include "CellFormat.h"
#include "HtmlText.h"
#include "RowLimit.h"

#include <string>

namespace
{
std::unique_ptr<TableComponent> NewTable(std::initializer_list<const char*> headings)
{
    auto table = std::make_unique<TableComponent>();
    for (const char* heading : headings)
        table->AddColumn(heading);
    return table;
}

// A failed power reading shows "N/A"; a reading of 0 is a real 0.
std::string PowerCell(bool answered, uint32_t watts)
{
    return answered ? CellFormat::Unsigned(watts) : "N/A";
}
} // namespace

namespace BoardTables
{
std::unique_ptr<TableComponent> BuildVoltageTable(CConfigSpaceQuery& query)
{
    auto table = NewTable({"Status", "Designation", "Current (V)", "Minimum (V)", "Maximum (V)"});
    RowLimit limit("Voltages");
    const uint32_t count = limit.Take("voltage sensors (0x0520)", query.GetVoltageCount());
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetVoltageStatus(i));
        std::string designation = HtmlText::FromDaemon(query.GetVoltageDesignation(i));
        std::string current = CellFormat::Volts(query.GetVoltageCurrent(i));
        const uint32_t thresholds = query.GetVoltageThresholds(i);
        table->AddRow(head,
                      {std::move(designation), std::move(current), CellFormat::ThresholdMinimum(thresholds),
                       CellFormat::ThresholdMaximum(thresholds)});
    }
    limit.AddLeftOutRow(*table, 4);
    return table;
}

std::unique_ptr<TableComponent> BuildMemoryModuleTable(CConfigSpaceQuery& query)
{
    auto table = NewTable({"Status", "Socket", "Size (GByte)", "Type"});
    RowLimit limit("Memory Modules");
    const uint32_t count = limit.Take("memory modules (0x0700)", query.GetMemoryModuleCount());
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetMemoryModuleStatus(i));
        std::string socket = HtmlText::FromDaemon(query.GetMemoryModuleDesignation(i));
        std::string size = CellFormat::MemorySize(query.GetMemoryModuleSize(i));
        // The joining blank is always there, so a module without type texts shows a blank cell.
        // Each part enters the page on its own (the same text as the joined one, as no UTF-8
        // sequence spans the blank), so two huge parts are never joined in memory.
        std::string type = HtmlText::FromDaemon(query.GetMemoryModuleTypeFirst(i));
        type += ' ';
        type += HtmlText::FromDaemon(query.GetMemoryModuleTypeSecond(i));
        table->AddRow(head, {std::move(socket), std::move(size), std::move(type)});
    }
    limit.AddLeftOutRow(*table, 3);
    return table;
}

std::unique_ptr<TableComponent> BuildProcessorTable(CConfigSpaceQuery& query)
{
    auto table = NewTable({"Status", "Socket", "Type", "Current Frequency (GHz)"});
    RowLimit limit("System Processors");
    const uint32_t count = limit.Take("processors (0x0600)", query.GetProcessorCount());
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetProcessorStatus(i));
        std::string socket = HtmlText::FromDaemon(query.GetProcessorSocket(i));
        std::string type = HtmlText::FromDaemon(query.GetProcessorType(i));
        std::string frequency = CellFormat::Gigahertz(query.GetProcessorFrequency(i));
        table->AddRow(head, {std::move(socket), std::move(type), std::move(frequency)});
    }
    limit.AddLeftOutRow(*table, 3);
    return table;
}

std::unique_ptr<TableComponent> BuildPciSlotTable(CConfigSpaceQuery& query)
{
    auto table = NewTable({"Status", "Designation"});
    RowLimit limit("PCI Slots");
    const uint32_t count = limit.Take("PCI slots (0x1480)", query.GetPciSlotCount());
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetPciSlotStatus(i));
        table->AddRow(head, {HtmlText::FromDaemon(query.GetPciSlotDesignation(i))});
    }
    limit.AddLeftOutRow(*table, 1);
    return table;
}

std::unique_ptr<TableComponent> BuildPowerSupplyTable(CConfigSpaceQuery& query)
{
    auto table = NewTable({"Status", "Designation", "Nominal Power (W)", "Current Power (W)"});
    RowLimit limit("Power Supply Units");
    const uint32_t count = limit.Take("power supplies (0x0500)", query.GetPowerSupplyCount());
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetPowerSupplyStatus(i));
        std::string designation = HtmlText::FromDaemon(query.GetPowerSupplyDesignation(i));
        uint32_t nominalWatts = 0;
        const bool nominalAnswered = query.GetPowerSupplyNominalPower(i, nominalWatts);
        uint32_t currentWatts = 0;
        const bool currentAnswered = query.GetPowerSupplyCurrentPower(i, currentWatts);
        table->AddRow(head, {std::move(designation), PowerCell(nominalAnswered, nominalWatts),
                             PowerCell(currentAnswered, currentWatts)});
    }
    limit.AddLeftOutRow(*table, 3);
    return table;
}
} // namespace BoardTables
