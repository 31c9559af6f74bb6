// The named queries of the report: each fixes the operation code and, where it has one, the
// extension of one generic query.
#include "CConfigSpaceQuery.h"

namespace
{
// Operation codes shared by several items; the extension tells the items apart.
constexpr uint32_t kOcSystemInfo = 0x0C00;
constexpr uint32_t kOcServerInfo = 0xE001;
// The extension that the PCI slot codes always carry.
constexpr uint32_t kPciSlotExtension = 0x28;
} // namespace

// System information.
std::string CConfigSpaceQuery::GetSystemModel()
{
    return GetString(kOcSystemInfo, 0x0608, 0);
}
std::string CConfigSpaceQuery::GetSystemSerialNumber()
{
    return GetString(kOcSystemInfo, 0x0600, 0);
}
std::string CConfigSpaceQuery::GetChassisId()
{
    return GetString(kOcSystemInfo, 0x0108, 0);
}
std::string CConfigSpaceQuery::GetAssetTag()
{
    return GetString(kOcServerInfo, 0x0210, 0);
}
std::string CConfigSpaceQuery::GetSystemUuid()
{
    return GetString(kOcSystemInfo, 0x1510, 0);
}
std::string CConfigSpaceQuery::GetBoardSerialNumber()
{
    return GetString(kOcSystemInfo, 0x0200, 0);
}
std::string CConfigSpaceQuery::GetBoardIdentNumber()
{
    return GetString(kOcSystemInfo, 0x0201, 0);
}
std::string CConfigSpaceQuery::GetBiosVersion()
{
    return GetString(kOcSystemInfo, 0xA006, 0);
}
std::string CConfigSpaceQuery::GetOsName()
{
    return GetString(kOcSystemInfo, 0xA708, 0);
}
std::string CConfigSpaceQuery::GetHostName()
{
    return GetString(0xE107, 0, 0);
}
std::string CConfigSpaceQuery::GetManagementSoftwareVersion()
{
    return GetString(kOcSystemInfo, 0xA806, 0);
}
std::string CConfigSpaceQuery::GetSystemText0931()
{
    return GetString(0x0931, 0, 0);
}
std::string CConfigSpaceQuery::GetSystemText0930()
{
    return GetString(0x0930, 0, 0);
}
std::string CConfigSpaceQuery::GetRaidManagerVersion(uint32_t extension)
{
    return GetString(kOcSystemInfo, extension, 0);
}
uint32_t CConfigSpaceQuery::GetPowerOnDuration()
{
    return GetNumber(kOcServerInfo, 0x1010, 0);
}
uint32_t CConfigSpaceQuery::GetOsUptime()
{
    return GetNumber(0x011E, 0, 0);
}

// Cooling devices.
uint32_t CConfigSpaceQuery::GetCoolingDeviceCount()
{
    return GetNumber(0x0300, 0, 0);
}
CodedResult CConfigSpaceQuery::GetCoolingDeviceStatus(uint32_t i)
{
    return GetCoded(CodeTable::CoolingDeviceStatus, 0x0301, 0, i);
}
uint32_t CConfigSpaceQuery::GetCoolingDeviceSpeed(uint32_t i)
{
    return GetNumber(0x0302, 0, i);
}
std::string CConfigSpaceQuery::GetCoolingDeviceTypeText(uint32_t i)
{
    return GetCodedText(CodeTable::CoolingDeviceType, 0x0303, 0, i);
}
std::string CConfigSpaceQuery::GetCoolingDeviceDesignation(uint32_t i)
{
    return GetString(0x0304, 0, i);
}

// Temperature sensors.
uint32_t CConfigSpaceQuery::GetTemperatureSensorCount()
{
    return GetNumber(0x0400, 0, 0);
}
CodedResult CConfigSpaceQuery::GetTemperatureSensorStatus(uint32_t i)
{
    return GetCoded(CodeTable::TemperatureStatus, 0x0401, 0, i);
}
uint32_t CConfigSpaceQuery::GetTemperature(uint32_t i)
{
    return GetNumber(0x0402, 0, i);
}
std::string CConfigSpaceQuery::GetTemperatureSensorTypeText(uint32_t i)
{
    return GetCodedText(CodeTable::TemperatureSensorType, 0x0403, 0, i);
}
std::string CConfigSpaceQuery::GetTemperatureSensorDesignation(uint32_t i)
{
    return GetString(0x0404, 0, i);
}

// Power supplies.
uint32_t CConfigSpaceQuery::GetPowerSupplyCount()
{
    return GetNumber(0x0500, 0, 0);
}
CodedResult CConfigSpaceQuery::GetPowerSupplyStatus(uint32_t i)
{
    return GetCoded(CodeTable::PowerSupplyStatus, 0x0501, 0, i);
}
std::string CConfigSpaceQuery::GetPowerSupplyDesignation(uint32_t i)
{
    return GetString(0x0504, 0, i);
}
bool CConfigSpaceQuery::GetPowerSupplyNominalPower(uint32_t i, uint32_t& watts)
{
    return GetNumber(watts, 0x0506, 0, i);
}
bool CConfigSpaceQuery::GetPowerSupplyCurrentPower(uint32_t i, uint32_t& watts)
{
    return GetNumber(watts, 0x0507, 0, i);
}

// Voltages.
uint32_t CConfigSpaceQuery::GetVoltageCount()
{
    return GetNumber(0x0520, 0, 0);
}
CodedResult CConfigSpaceQuery::GetVoltageStatus(uint32_t i)
{
    return GetCoded(CodeTable::VoltageStatus, 0x0521, 0, i);
}
std::string CConfigSpaceQuery::GetVoltageDesignation(uint32_t i)
{
    return GetString(0x0522, 0, i);
}
uint32_t CConfigSpaceQuery::GetVoltageThresholds(uint32_t i)
{
    return GetWord(0x0523, 0, i);
}
uint32_t CConfigSpaceQuery::GetVoltageCurrent(uint32_t i)
{
    return GetNumber(0x0524, 0, i);
}

// Processors.
uint32_t CConfigSpaceQuery::GetProcessorCount()
{
    return GetNumber(0x0600, 0, 0);
}
CodedResult CConfigSpaceQuery::GetProcessorStatus(uint32_t i)
{
    return GetCoded(CodeTable::ProcessorStatus, 0x0601, 0, i);
}
std::string CConfigSpaceQuery::GetProcessorSocket(uint32_t i)
{
    return GetString(0x0602, 0, i);
}
std::string CConfigSpaceQuery::GetProcessorType(uint32_t i)
{
    return GetString(0x0605, 0, i);
}
uint32_t CConfigSpaceQuery::GetProcessorFrequency(uint32_t i)
{
    return GetNumber(0x061D, 0, i);
}

// Memory modules.
uint32_t CConfigSpaceQuery::GetMemoryModuleCount()
{
    return GetNumber(0x0700, 0, 0);
}
CodedResult CConfigSpaceQuery::GetMemoryModuleStatus(uint32_t i)
{
    return GetCoded(CodeTable::MemoryModuleStatus, 0x0701, 0, i);
}
std::string CConfigSpaceQuery::GetMemoryModuleDesignation(uint32_t i)
{
    return GetString(0x0702, 0, i);
}
uint32_t CConfigSpaceQuery::GetMemoryModuleSize(uint32_t i)
{
    return GetNumber(0x070A, 0, i);
}
std::string CConfigSpaceQuery::GetMemoryModuleTypeFirst(uint32_t i)
{
    return GetString(0x070B, 0, i);
}
std::string CConfigSpaceQuery::GetMemoryModuleTypeSecond(uint32_t i)
{
    return GetString(0x070D, 0, i);
}

// PCI slots.
uint32_t CConfigSpaceQuery::GetPciSlotCount()
{
    return GetNumber(0x1480, 0, 0);
}
CodedResult CConfigSpaceQuery::GetPciSlotStatus(uint32_t i)
{
    return GetCoded(CodeTable::PciSlotStatus, 0x1042, kPciSlotExtension, i);
}
std::string CConfigSpaceQuery::GetPciSlotDesignation(uint32_t i)
{
    return GetString(0x1043, kPciSlotExtension, i);
}

// Adapters.
uint32_t CConfigSpaceQuery::GetAdapterCount()
{
    return GetNumber(0x1800, 0, 0);
}
CodedResult CConfigSpaceQuery::GetAdapterStatus(uint32_t i)
{
    return GetCoded(CodeTable::AdapterStatus, 0x1801, 0, i);
}
std::string CConfigSpaceQuery::GetAdapterDesignation(uint32_t i)
{
    return GetString(0x1803, 0, i);
}
std::string CConfigSpaceQuery::GetAdapterLocation(uint32_t i)
{
    return GetString(0x1804, 0, i);
}
uint32_t CConfigSpaceQuery::GetAdapterClass(uint32_t i)
{
    return GetNumber(0x1805, 0, i);
}
uint32_t CConfigSpaceQuery::GetMassStorageStatus()
{
    return GetNumber(0x1820, 3, 0);
}

// RAID.
uint32_t CConfigSpaceQuery::GetRaidAdapterCount()
{
    return GetNumber(0x2110, 0, 0);
}
std::string CConfigSpaceQuery::GetRaidAdapterDesignation(uint32_t i)
{
    return GetString(0x2111, 0, i);
}
CodedResult CConfigSpaceQuery::GetRaidAdapterStatus(uint32_t i)
{
    return GetCoded(CodeTable::RaidAdapterStatus, 0x2116, 0, i);
}
CodedResult CConfigSpaceQuery::GetRaidManagerStatus()
{
    return GetCoded(CodeTable::RaidManagerStatus, 0x2120, 0, 0);
}
uint32_t CConfigSpaceQuery::GetRaidManagerStatusNumber()
{
    return GetNumber(0x2120, 0, 0);
}
uint32_t CConfigSpaceQuery::GetRaidAdaptersGroupStatus()
{
    return GetNumber(0x2121, 0, 0);
}
uint32_t CConfigSpaceQuery::GetRaidLogicalDrivesGroupStatus()
{
    return GetNumber(0x2122, 0, 0);
}
uint32_t CConfigSpaceQuery::GetRaidPhysicalDrivesGroupStatus()
{
    return GetNumber(0x2123, 0, 0);
}
uint32_t CConfigSpaceQuery::GetPhysicalDriveCount(uint32_t a)
{
    return GetNumber(0x2130, a, 0);
}
std::string CConfigSpaceQuery::GetPhysicalDriveSmartText(uint32_t a, uint32_t i)
{
    return GetCodedText(CodeTable::SmartState, 0x2132, a, i);
}
std::string CConfigSpaceQuery::GetPhysicalDriveDesignation(uint32_t a, uint32_t i)
{
    return GetString(0x2133, a, i);
}
std::string CConfigSpaceQuery::GetPhysicalDriveInterfaceText(uint32_t a, uint32_t i)
{
    return GetCodedText(CodeTable::DriveBusType, 0x2134, a, i);
}
uint32_t CConfigSpaceQuery::GetPhysicalDriveSize(uint32_t a, uint32_t i)
{
    return GetNumber(0x2135, a, i);
}
uint32_t CConfigSpaceQuery::GetLogicalDriveCount(uint32_t a)
{
    return GetNumber(0x2150, a, 0);
}
CodedResult CConfigSpaceQuery::GetLogicalDriveStatus(uint32_t a, uint32_t i)
{
    return GetCoded(CodeTable::LogicalDriveStatus, 0x2151, a, i);
}
std::string CConfigSpaceQuery::GetLogicalDriveDesignation(uint32_t a, uint32_t i)
{
    return GetString(0x2152, a, i);
}
uint32_t CConfigSpaceQuery::GetLogicalDriveSize(uint32_t a, uint32_t i)
{
    return GetNumber(0x2153, a, i);
}
std::string CConfigSpaceQuery::GetLogicalDriveRaidLevel(uint32_t a, uint32_t i)
{
    return GetString(0x2155, a, i);
}
bool CConfigSpaceQuery::IssueRaidManagerFollowUp()
{
    uint32_t ignored = 0;
    return GetNumber(ignored, 0x21DF, 0, 0);
}

// Event log and group statuses.
bool CConfigSpaceQuery::GetEventLogRecords(std::vector<uint8_t>& records)
{
    return GetRaw(records, 0x0B10, 0, 0);
}
uint32_t CConfigSpaceQuery::GetGroupStatus(uint32_t group)
{
    return GetNumber(0x2301, group, 0);
}
uint32_t CConfigSpaceQuery::GetSubGroupStatus(uint32_t group, uint32_t sub)
{
    return GetNumber(0x2306, group, sub);
}
