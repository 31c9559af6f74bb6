#include "EnvironmentTables.h"

#include "CConfigSpaceQuery.h"
#include "CellFormat.h"
#include "HtmlText.h"

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
    const uint32_t count = query.GetCoolingDeviceCount();
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetCoolingDeviceStatus(i));
        std::string designation = HtmlText::FromDaemon(query.GetCoolingDeviceDesignation(i));
        std::string type = HtmlText::FromDaemon(query.GetCoolingDeviceTypeText(i));
        std::string speed = CellFormat::Unsigned(query.GetCoolingDeviceSpeed(i));
        table->AddRow(head, {std::move(designation), std::move(type), std::move(speed)});
    }
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
    const uint32_t count = query.GetTemperatureSensorCount();
    for (uint32_t i = 0; i < count; ++i)
    {
        const RowHead head = CellFormat::RowHeadFromCoded(query.GetTemperatureSensorStatus(i));
        std::string designation = HtmlText::FromDaemon(query.GetTemperatureSensorDesignation(i));
        std::string type = HtmlText::FromDaemon(query.GetTemperatureSensorTypeText(i));
        std::string degrees = CellFormat::Unsigned(query.GetTemperature(i));
        table->AddRow(head, {std::move(designation), std::move(type), std::move(degrees)});
    }
    return table;
}
} // namespace EnvironmentTables
