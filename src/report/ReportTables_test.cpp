#include "BoardTables.h"
#include "CConfigSpaceQuery.h"
#include "EnvironmentTables.h"
#include "FakeQueryClient.h"
#include "StorageTables.h"

#include <gtest/gtest.h>

namespace
{
// The rendered cells of one table row, in order, the row head text first.
std::string Row(ReportStatus status, const std::string& text, const std::vector<std::string>& cells)
{
    std::string row = "\n          <tr>\n            <td class=\"";
    row += TableComponent::RowClass(status);
    row += " icon status\">" + text + "</td>";
    for (const std::string& cell : cells)
        row += "\n            <td>" + cell + "</td>";
    return row + "\n          </tr>";
}

size_t Count(const std::string& haystack, const std::string& needle)
{
    size_t count = 0;
    for (size_t at = haystack.find(needle); at != std::string::npos; at = haystack.find(needle, at + 1))
        ++count;
    return count;
}

class ReportTables : public ::testing::Test
{
protected:
    ReportTables() { m_Query.Bind(&m_Daemon, 0, "/opt/TessmarkQDX/bin/tmqdx"); }

    FakeQueryClient m_Daemon;
    CConfigSpaceQuery m_Query;
};
} // namespace

TEST_F(ReportTables, AdapterTableKeepsOnlyTheAskedClassInIndexOrder)
{
    m_Daemon.AnswerNumber(0x1800, 0, 0, 4);
    const uint32_t classes[] = {3, 2, 7, 3};
    for (uint32_t i = 0; i < 4; ++i)
    {
        m_Daemon.AnswerNumber(0x1805, 0, i, classes[i]);
        m_Daemon.AnswerNumber(0x1801, 0, i, i == 3 ? 3 : 1);
        m_Daemon.AnswerString(0x1803, 0, i, "Adapter " + std::to_string(i));
        m_Daemon.AnswerString(0x1804, 0, i, "Slot " + std::to_string(i));
    }
    m_Daemon.AnswerString(0x1804, 0, 3, "");

    const std::string storage =
        StorageTables::BuildAdapterTable(m_Query, StorageTables::kMassStorageAdapterClass)->Render();
    EXPECT_NE(storage.find(Row(1, "OK", {"Adapter 0", "Slot 0"}) + Row(3, "Critical", {"Adapter 3", "N/A"})),
              std::string::npos)
        << storage;
    EXPECT_EQ(storage.find("Adapter 1"), std::string::npos);
    EXPECT_EQ(storage.find("Adapter 2"), std::string::npos);

    const std::string network =
        StorageTables::BuildAdapterTable(m_Query, StorageTables::kNetworkAdapterClass)->Render();
    EXPECT_EQ(Count(network, "<tr>"), 2u); // heading and one row
    EXPECT_NE(network.find(Row(1, "OK", {"Adapter 1", "Slot 1"})), std::string::npos);
}

TEST_F(ReportTables, NoAdaptersMeansHeadingsOnlyAndNoClassQueries)
{
    m_Daemon.AnswerNumber(0x1800, 0, 0, 0);
    const std::string table = StorageTables::BuildAdapterTable(m_Query, 3)->Render();
    EXPECT_NE(table.find("<th>Status</th>\n            <th>Designation</th>\n            <th>Location</th>"),
              std::string::npos);
    EXPECT_EQ(Count(table, "<tr>"), 1u);
    EXPECT_EQ(m_Daemon.CountReceived(0x1805), 0u);
}

TEST_F(ReportTables, RaidTablesWalkEveryAdapterAndDrive)
{
    m_Daemon.AnswerNumber(0x2110, 0, 0, 2);
    m_Daemon.AnswerNumber(0x2116, 0, 0, 0);
    m_Daemon.AnswerString(0x2111, 0, 0, "RAID Ctrl 7");
    m_Daemon.AnswerNumber(0x2116, 0, 1, 255);
    m_Daemon.AnswerString(0x2111, 0, 1, "RAID Ctrl 9");

    m_Daemon.AnswerNumber(0x2150, 0, 0, 0);
    m_Daemon.AnswerNumber(0x2150, 1, 0, 2);
    m_Daemon.AnswerNumber(0x2151, 1, 0, 0);
    m_Daemon.AnswerString(0x2152, 1, 0, "System");
    m_Daemon.AnswerString(0x2155, 1, 0, "RAID-1");
    m_Daemon.AnswerNumber(0x2153, 1, 0, 1048576);
    m_Daemon.AnswerNumber(0x2151, 1, 1, 1);
    m_Daemon.AnswerString(0x2152, 1, 1, "Data");
    m_Daemon.AnswerString(0x2155, 1, 1, "RAID-5");
    m_Daemon.AnswerNumber(0x2153, 1, 1, 2560);

    m_Daemon.AnswerNumber(0x2130, 0, 0, 2);
    m_Daemon.AnswerNumber(0x2130, 1, 0, 0);
    // Drive 0: operational, S.M.A.R.T. failure: the row head turns to a warning.
    m_Daemon.AnswerNumber(0x2131, 0, 0, 0);
    m_Daemon.AnswerNumber(0x2132, 0, 0, 1);
    m_Daemon.AnswerString(0x2133, 0, 0, "HDD <0>");
    m_Daemon.AnswerNumber(0x2134, 0, 0, 8);
    m_Daemon.AnswerNumber(0x2135, 0, 0, 1536);
    // Drive 1: failed; every other answer missing.
    m_Daemon.AnswerNumber(0x2131, 0, 1, 11);

    const std::string adapters = StorageTables::BuildRaidAdapterTable(m_Query)->Render();
    EXPECT_NE(adapters.find(Row(1, "OK", {"0", "RAID Ctrl 7"}) + Row(3, "Unknow", {"1", "RAID Ctrl 9"})),
              std::string::npos)
        << adapters;

    const std::string logical = StorageTables::BuildRaidLogicalDriveTable(m_Query)->Render();
    EXPECT_NE(logical.find(Row(1, "Operational", {"1", "System", "RAID-1", "1024"}) +
                           Row(2, "Degraded", {"1", "Data", "RAID-5", "2"})),
              std::string::npos)
        << logical;

    const std::string physical = StorageTables::BuildRaidPhysicalDriveTable(m_Query)->Render();
    EXPECT_NE(
        physical.find("<th>Status</th>\n            <th>Adapter ID</th>\n            <th>S.M.A.R.T</th>"),
        std::string::npos);
    EXPECT_NE(physical.find(Row(2, "Operational - S.M.A.R.T. Failure",
                                {"0", "S.M.A.R.T. Failure", "HDD &lt;0&gt;", "SAS", "2"}) +
                            Row(3, "Failed", {"0", "S.M.A.R.T. OK", "N/A", "SCSI", "0"})),
              std::string::npos)
        << physical;
}

TEST_F(ReportTables, NoRaidAdapterMeansHeadingsOnly)
{
    m_Daemon.AnswerNumber(0x2110, 0, 0, 0);
    EXPECT_EQ(Count(StorageTables::BuildRaidAdapterTable(m_Query)->Render(), "<tr>"), 1u);
    EXPECT_EQ(Count(StorageTables::BuildRaidLogicalDriveTable(m_Query)->Render(), "<tr>"), 1u);
    EXPECT_EQ(Count(StorageTables::BuildRaidPhysicalDriveTable(m_Query)->Render(), "<tr>"), 1u);
    EXPECT_EQ(m_Daemon.CountReceived(0x2150) + m_Daemon.CountReceived(0x2130), 0u);
}

TEST_F(ReportTables, RaidManagerRowForEveryStatusClass)
{
    struct Case
    {
        uint32_t code;
        const char* cssClass;
        const char* text;
        size_t followUps;
    };
    // Codes 0 to 3 carry classes 0 to 3; code 7 is unknown to the table: class 0, empty text.
    const Case cases[] = {{1, "status-normal", "OK", 1},
                          {2, "status-warning", "Warning", 0},
                          {3, "status-error", "Error", 0},
                          {0, "status-not-present", "Unknown", 0},
                          {7, "status-not-present", "", 0}};
    for (const Case& c : cases)
    {
        for (const bool installed : {true, false})
        {
            SCOPED_TRACE(std::to_string(c.code) + (installed ? " installed" : " not installed"));
            m_Daemon.ClearReceived();
            if (installed)
                m_Daemon.AnswerString(0x0C00, 0xAA03, 0, "7.2 <beta>");
            else
                m_Daemon.Fail(0x0C00, 0xAA03, 0, 21);
            m_Daemon.AnswerNumber(0x2120, 0, 0, c.code);

            const std::string table = StorageTables::BuildRaidManagerTable(m_Query)->Render();
            const std::string expected = std::string("\n            <td class=\"") +
                                         (installed ? "status-normal" : "status-not-present") +
                                         " icon status\">" + (installed ? "Installed" : "Not Installed") +
                                         "</td>\n<td class=\"" + c.cssClass + " icon status\">" + c.text +
                                         "</td>\n            <td>" +
                                         (installed ? "7.2 &lt;beta&gt;" : "N/A") + "</td>";
            EXPECT_NE(table.find(expected), std::string::npos) << table;
            EXPECT_NE(table.find("<th>ZARN Status</th>\n            <th>RAID Status</th>\n            "
                                 "<th>ZARNVersion</th>"),
                      std::string::npos);
            EXPECT_EQ(m_Daemon.CountReceived(0x21DF), c.followUps);
        }
    }
}

TEST(RaidManagerRow, ClassOutsideTheKnownOnesLeavesOnlyIconAndStatus)
{
    const RowHead head = StorageTables::MakeRaidManagerRowHead(true, 9, "Odd & <new>");
    EXPECT_EQ(head.Status, 1u);
    EXPECT_EQ(head.Text, "Installed</td>\n<td class=\" icon status\">Odd &amp; &lt;new&gt;");
}

TEST_F(ReportTables, VoltageTableFormatsReadingsAndSignedThresholds)
{
    m_Daemon.AnswerNumber(0x0520, 0, 0, 2);
    m_Daemon.AnswerNumber(0x0521, 0, 0, 1);
    m_Daemon.AnswerString(0x0522, 0, 0, "12V");
    m_Daemon.AnswerNumber(0x0524, 0, 0, 1205);
    m_Daemon.AnswerNumber(0x0523, 0, 0, 0x0BB8FD44);
    m_Daemon.AnswerNumber(0x0521, 0, 1, 4);
    // Voltage 1 answers nothing else: 0.00 everywhere, "N/A" designation.

    const std::string table = BoardTables::BuildVoltageTable(m_Query)->Render();
    EXPECT_NE(table.find(Row(1, "OK", {"12V", "12.05", "-7.00", "30.00"}) +
                         Row(3, "Not OK", {"N/A", "0.00", "0.00", "0.00"})),
              std::string::npos)
        << table;
}

TEST_F(ReportTables, MemoryModuleTableSizesAndTypes)
{
    m_Daemon.AnswerNumber(0x0700, 0, 0, 4);
    const uint32_t sizes[] = {16384, 1023, 0, 1536};
    for (uint32_t i = 0; i < 4; ++i)
    {
        m_Daemon.AnswerNumber(0x0701, 0, i, 1);
        m_Daemon.AnswerString(0x0702, 0, i, "DIMM <A" + std::to_string(i) + ">");
        m_Daemon.AnswerNumber(0x070A, 0, i, sizes[i]);
    }
    m_Daemon.AnswerString(0x070B, 0, 0, "DDR4");
    m_Daemon.AnswerString(0x070D, 0, 0, "RDIMM");
    m_Daemon.AnswerString(0x070D, 0, 1, "LRDIMM");
    m_Daemon.AnswerString(0x070B, 0, 3, "DDR5");

    const std::string table = BoardTables::BuildMemoryModuleTable(m_Query)->Render();
    EXPECT_NE(table.find(Row(1, "OK", {"DIMM &lt;A0&gt;", "16", "DDR4 RDIMM"}) +
                         Row(1, "OK", {"DIMM &lt;A1&gt;", "0", " LRDIMM"}) +
                         Row(1, "OK", {"DIMM &lt;A2&gt;", " ", " "}) +
                         Row(1, "OK", {"DIMM &lt;A3&gt;", "1", "DDR5 "})),
              std::string::npos)
        << table;

    m_Daemon.AnswerNumber(0x0700, 0, 0, 0);
    const std::string empty = BoardTables::BuildMemoryModuleTable(m_Query)->Render();
    EXPECT_EQ(Count(empty, "<th>"), 4u);
    EXPECT_EQ(Count(empty, "<tr>"), 1u);
}

TEST_F(ReportTables, ProcessorPciAndPowerSupplyTables)
{
    m_Daemon.AnswerNumber(0x0600, 0, 0, 1);
    m_Daemon.AnswerNumber(0x0601, 0, 0, 1);
    m_Daemon.AnswerString(0x0602, 0, 0, "CPU1");
    m_Daemon.AnswerString(0x0605, 0, 0, "Xenon 9000");
    m_Daemon.AnswerNumber(0x061D, 0, 0, 2400);
    EXPECT_NE(BoardTables::BuildProcessorTable(m_Query)->Render().find(
                  Row(1, "OK", {"CPU1", "Xenon 9000", "2.400"})),
              std::string::npos);

    m_Daemon.AnswerNumber(0x1480, 0, 0, 2);
    m_Daemon.AnswerNumber(0x1042, 0x28, 0, 128);
    m_Daemon.AnswerString(0x1043, 0x28, 0, "PCIE-1");
    m_Daemon.AnswerNumber(0x1042, 0x28, 1, 4);
    m_Daemon.AnswerString(0x1043, 0x28, 1, "PCIE-2");
    EXPECT_NE(BoardTables::BuildPciSlotTable(m_Query)->Render().find(Row(2, "OK", {"PCIE-1"}) +
                                                                     Row(4, "Empty Slot", {"PCIE-2"})),
              std::string::npos);

    m_Daemon.AnswerNumber(0x0500, 0, 0, 2);
    m_Daemon.AnswerNumber(0x0501, 0, 0, 1);
    m_Daemon.AnswerString(0x0504, 0, 0, "PSU1");
    m_Daemon.AnswerNumber(0x0506, 0, 0, 800);
    m_Daemon.AnswerNumber(0x0507, 0, 0, 212);
    m_Daemon.AnswerNumber(0x0501, 0, 1, 12); // not in the code table
    m_Daemon.AnswerString(0x0504, 0, 1, "PSU2");
    m_Daemon.Fail(0x0506, 0, 1, 21);
    m_Daemon.AnswerNumber(0x0507, 0, 1, 0);
    const std::string power = BoardTables::BuildPowerSupplyTable(m_Query)->Render();
    EXPECT_NE(power.find(Row(1, "OK", {"PSU1", "800", "212"}) + Row(0, "", {"PSU2", "N/A", "0"})),
              std::string::npos)
        << power;
}

TEST_F(ReportTables, EnvironmentTablesShowUnsignedReadings)
{
    m_Daemon.AnswerNumber(0x0300, 0, 0, 2);
    m_Daemon.AnswerNumber(0x0301, 0, 0, 1);
    m_Daemon.AnswerString(0x0304, 0, 0, "FAN1 SYS");
    m_Daemon.AnswerNumber(0x0303, 0, 0, 3);
    m_Daemon.AnswerNumber(0x0302, 0, 0, 5280);
    m_Daemon.AnswerNumber(0x0301, 0, 1, 2);
    m_Daemon.AnswerString(0x0304, 0, 1, "FAN2 SYS");
    m_Daemon.AnswerNumber(0x0303, 0, 1, 3);
    m_Daemon.AnswerNumber(0x0302, 0, 1, 0);
    const std::string fans = EnvironmentTables::BuildCoolingDeviceTable(m_Query)->Render();
    EXPECT_NE(fans.find(Row(1, "OK", {"FAN1 SYS", "In-house", "5280"}) +
                        Row(3, "Fail", {"FAN2 SYS", "In-house", "0"})),
              std::string::npos)
        << fans;

    m_Daemon.AnswerNumber(0x0400, 0, 0, 2);
    m_Daemon.AnswerNumber(0x0401, 0, 0, 1);
    m_Daemon.AnswerString(0x0404, 0, 0, "Ambient");
    m_Daemon.AnswerNumber(0x0403, 0, 0, 2);
    m_Daemon.AnswerNumber(0x0402, 0, 0, 24);
    m_Daemon.AnswerNumber(0x0401, 0, 1, 2);          // code absent from the table
    m_Daemon.AnswerNumber(0x0402, 0, 1, 0xFFFFFFFB); // a reading of -5 still prints unsigned
    const std::string temperatures = EnvironmentTables::BuildTemperatureTable(m_Query)->Render();
    EXPECT_NE(temperatures.find("<th>Temperature (\xC2\xB0"
                                "C)</th>"),
              std::string::npos);
    EXPECT_NE(temperatures.find(Row(1, "OK", {"Ambient", "Ambient Sensor", "24"}) +
                                Row(0, "", {"N/A", "Unknown Sensor", "4294967291"})),
              std::string::npos)
        << temperatures;
    EXPECT_EQ(temperatures.find("<td>-"), std::string::npos);
}

TEST(ReportTablesWithoutDaemon, EveryTableHasHeadingsOnly)
{
    CConfigSpaceQuery unbound;
    std::vector<std::unique_ptr<TableComponent>> tables;
    tables.push_back(EnvironmentTables::BuildCoolingDeviceTable(unbound));
    tables.push_back(EnvironmentTables::BuildTemperatureTable(unbound));
    tables.push_back(BoardTables::BuildVoltageTable(unbound));
    tables.push_back(BoardTables::BuildMemoryModuleTable(unbound));
    tables.push_back(BoardTables::BuildProcessorTable(unbound));
    tables.push_back(BoardTables::BuildPciSlotTable(unbound));
    tables.push_back(BoardTables::BuildPowerSupplyTable(unbound));
    tables.push_back(StorageTables::BuildAdapterTable(unbound, 3));
    tables.push_back(StorageTables::BuildRaidAdapterTable(unbound));
    tables.push_back(StorageTables::BuildRaidLogicalDriveTable(unbound));
    tables.push_back(StorageTables::BuildRaidPhysicalDriveTable(unbound));
    for (const auto& table : tables)
        EXPECT_EQ(table->RowCount(), 0u);

    const std::string raid = StorageTables::BuildRaidManagerTable(unbound)->Render();
    EXPECT_NE(
        raid.find(
            "\"status-not-present icon status\">Not Installed</td>\n<td class=\"status-not-present icon "
            "status\">Unknown</td>\n            <td>N/A</td>"),
        std::string::npos)
        << raid;
}
