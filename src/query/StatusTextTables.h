#pragma once

#include "CodedResult.h"

#include <cstdint>
#include <map>
#include <string>

// The seventeen code tables, in the order in which they are filled.
enum class CodeTable
{
    CoolingDeviceStatus,    // 0x0301 (state)
    CoolingDeviceType,      // 0x0303 (text)
    TemperatureStatus,      // 0x0401 (state)
    TemperatureSensorType,  // 0x0403 (text)
    PowerSupplyStatus,      // 0x0501 (state)
    RaidAdapterStatus,      // 0x2116 (state)
    PhysicalDriveStatus,    // 0x2131 (state)
    SmartState,             // 0x2132 (text)
    DriveBusType,           // 0x2134 (text)
    GeneralResult,          // consulted by no query (state)
    LogicalDriveStatus,     // 0x2151 (state)
    AdapterStatus,          // 0x1801 (state)
    VoltageStatus,          // 0x0521 (state)
    MemoryModuleStatus,     // 0x0701 (state)
    ProcessorStatus,        // 0x0601 (state)
    PciSlotStatus,          // 0x1042 / 0x28 (state)
    RaidManagerStatus,      // 0x2120 (state)
    Count
};

// Turns daemon codes into texts and report status numbers. A code missing from its table is
// inserted with status 0 and an empty text, so later lookups find it.
class StatusTextTables
{
public:
    StatusTextTables();

    CodedResult LookupState(CodeTable table, uint32_t code);
    std::string LookupText(CodeTable table, uint32_t code);
    size_t Size(CodeTable table) const;

private:
    std::map<uint32_t, CodedResult> m_Tables[static_cast<int>(CodeTable::Count)];
};
