#pragma once

#include "TableComponent.h"

#include <memory>

class CConfigSpaceQuery;

// Tables of the system board (voltages, memory modules, processors, PCI slots) and of the power
// supply units.
namespace BoardTables
{
std::unique_ptr<TableComponent> BuildVoltageTable(CConfigSpaceQuery& query);
std::unique_ptr<TableComponent> BuildMemoryModuleTable(CConfigSpaceQuery& query);
std::unique_ptr<TableComponent> BuildProcessorTable(CConfigSpaceQuery& query);
std::unique_ptr<TableComponent> BuildPciSlotTable(CConfigSpaceQuery& query);
std::unique_ptr<TableComponent> BuildPowerSupplyTable(CConfigSpaceQuery& query);
} // namespace BoardTables
