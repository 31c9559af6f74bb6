#include "StatusTextTables.h"

#include <gtest/gtest.h>

namespace
{
void ExpectState(StatusTextTables& tables, CodeTable table, uint32_t code, uint32_t status, const char* text)
{
    const CodedResult result = tables.LookupState(table, code);
    EXPECT_EQ(result.Status, status) << "table " << static_cast<int>(table) << " code " << code;
    EXPECT_EQ(result.Text, text) << "table " << static_cast<int>(table) << " code " << code;
}
} // namespace

TEST(StatusTextTables, EveryTableHoldsItsFullSetOfCodes)
{
    StatusTextTables tables;
    const size_t sizes[] = {7, 6, 7, 6, 12, 4, 17, 3, 17, 3, 6, 6, 6, 10, 7, 9, 4};
    static_assert(std::size(sizes) == static_cast<size_t>(CodeTable::Count), "one size per table");
    for (size_t i = 0; i < std::size(sizes); ++i)
        EXPECT_EQ(tables.Size(static_cast<CodeTable>(i)), sizes[i]) << "table " << i;
}

TEST(StatusTextTables, DeliberateOdditiesAreKept)
{
    StatusTextTables tables;
    ExpectState(tables, CodeTable::CoolingDeviceStatus, 0, 4, "Disabled");
    ExpectState(tables, CodeTable::TemperatureStatus, 2, 0, "");
    ExpectState(tables, CodeTable::PciSlotStatus, 128, 2, "OK");
    ExpectState(tables, CodeTable::RaidAdapterStatus, 255, 3, "Unknow");
    ExpectState(tables, CodeTable::PhysicalDriveStatus, 14, 5, "Shielded");
    ExpectState(tables, CodeTable::PhysicalDriveStatus, 12, 4, "Failed (missing)");
    ExpectState(tables, CodeTable::PhysicalDriveStatus, 255, 0, "Unknown");
    ExpectState(tables, CodeTable::PowerSupplyStatus, 8, 3, "Fan failure");
    ExpectState(tables, CodeTable::PowerSupplyStatus, 10, 2, "AC Failure");
    ExpectState(tables, CodeTable::MemoryModuleStatus, 2, 4, "Disabled");
    ExpectState(tables, CodeTable::ProcessorStatus, 5, 2, "Not Terminated");
    ExpectState(tables, CodeTable::VoltageStatus, 4, 3, "Not OK");
    ExpectState(tables, CodeTable::LogicalDriveStatus, 2, 2, "Partially Degraded");
    ExpectState(tables, CodeTable::AdapterStatus, 5, 4, "Not Manageable");

    EXPECT_EQ(tables.LookupText(CodeTable::TemperatureSensorType, 3), "In house Sensor");
    EXPECT_EQ(tables.LookupText(CodeTable::CoolingDeviceType, 3), "In-house");
    EXPECT_EQ(tables.LookupText(CodeTable::SmartState, 1), "S.M.A.R.T. Failure");
    EXPECT_EQ(tables.LookupText(CodeTable::DriveBusType, 3), "Firewire IEEE 1394");
    EXPECT_EQ(tables.LookupText(CodeTable::DriveBusType, 255), "Unknown");
}

// A page shows one RAID manager status, and no query reads the general result table; the
// golden page covers every other entry.
TEST(StatusTextTables, EntriesNoSinglePageShows)
{
    StatusTextTables tables;
    ExpectState(tables, CodeTable::RaidManagerStatus, 0, 0, "Unknown");
    ExpectState(tables, CodeTable::RaidManagerStatus, 1, 1, "OK");
    ExpectState(tables, CodeTable::RaidManagerStatus, 2, 2, "Warning");
    ExpectState(tables, CodeTable::RaidManagerStatus, 3, 3, "Error");
    ExpectState(tables, CodeTable::GeneralResult, 0, 1, "OK");
    ExpectState(tables, CodeTable::GeneralResult, 1, 3, "Failure");
    ExpectState(tables, CodeTable::GeneralResult, 255, 0, "Status unknown");
}

TEST(StatusTextTables, UnknownCodesAreAddedToTheirOwnTableOnly)
{
    StatusTextTables tables;
    ExpectState(tables, CodeTable::PowerSupplyStatus, 12, 0, "");
    EXPECT_EQ(tables.Size(CodeTable::PowerSupplyStatus), 13u);
    EXPECT_EQ(tables.LookupText(CodeTable::DriveBusType, 16), "");
    EXPECT_EQ(tables.Size(CodeTable::DriveBusType), 18u);
    EXPECT_EQ(tables.Size(CodeTable::SmartState), 3u) << "the other tables are untouched";
    ExpectState(tables, CodeTable::PowerSupplyStatus, 11, 2, "DC Failure");
    // Out-of-range table selectors give a neutral result instead of touching memory.
    ExpectState(tables, CodeTable::Count, 1, 0, "");
    EXPECT_EQ(tables.Size(CodeTable::Count), 0u);
}
