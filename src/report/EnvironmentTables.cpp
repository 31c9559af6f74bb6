#include "EnvironmentTables.h"

#include "CConfigSpaceQuery.h"
#include "CellFormat.h"
#include "HtmlText.h"
#include "RowLimit.h"

#include <string>

namespace EnvironmentTables
{
std::unique_ptr<TableComponent> BuildCoolingDeviceTable(CConfigSpaceQuery& query)
{
    auto table = std::make_unique<TableComponent>();
    table->AddColumn("Status");
    table->AddColumn("Designation");
    table->AddColumn("Type");
    table->AddColumn("RPM");
    RowLimit limit("Cooling Devices");
    const uint32_t count = limit.Take("cooling devices (0x0300)", query.GetCoolingDeviceCount());
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetCoolingDeviceStatus(i));
        std::string designation = HtmlText::FromDaemon(query.GetCoolingDeviceDesignation(i));
        std::string type = HtmlText::FromDaemon(query.GetCoolingDeviceTypeText(i));
        std::string speed = CellFormat::Unsigned(query.GetCoolingDeviceSpeed(i));
        table->AddRow(head, {std::move(designation), std::move(type), std::move(speed)});
    }
    limit.AddLeftOutRow(*table, 3);
    return table;
}

std::unique_ptr<TableComponent> BuildTemperatureTable(CConfigSpaceQuery& query)
{
    auto table = std::make_unique<TableComponent>();
    table->AddColumn("Status");
    table->AddColumn("Designation");
    table->AddColumn("Sensor Type");
    table->AddColumn("Temperature (\xC2\xB0"
                     "C)");
    RowLimit limit("Temperature");
    const uint32_t count = limit.Take("temperature sensors (0x0400)", query.GetTemperatureSensorCount());
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetTemperatureSensorStatus(i));
        std::string designation = HtmlText::FromDaemon(query.GetTemperatureSensorDesignation(i));
        std::string type = HtmlText::FromDaemon(query.GetTemperatureSensorTypeText(i));
        std::string degrees = CellFormat::Unsigned(query.GetTemperature(i));
        table->AddRow(head, {std::move(designation), std::move(type), std::move(degrees)});
    }
    limit.AddLeftOutRow(*table, 3);
    return table;
}
} // namespace EnvironmentTables
