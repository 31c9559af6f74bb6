#pragma once

#include "TableComponent.h"

#include <memory>

class CConfigSpaceQuery;

// Tables of the environment group: cooling devices and temperature sensors. Thresholds are not
// shown; a sensor's state reaches the reader through its row head only.
namespace EnvironmentTables
{
std::unique_ptr<TableComponent> BuildCoolingDeviceTable(CConfigSpaceQuery& query);
std::unique_ptr<TableComponent> BuildTemperatureTable(CConfigSpaceQuery& query);
} // namespace EnvironmentTables
