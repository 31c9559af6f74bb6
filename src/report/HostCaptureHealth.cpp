#include "HostCaptureHealth.h"

#include "BoardTables.h"
#include "CLogMsgFile.h"
#include "CollapsibleComposite.h"
#include "EnvironmentTables.h"
#include "StorageTables.h"
#include "SwitchClientConnection.h"
#include "SystemEventLog.h"

#include <functional>
#include <memory>

namespace
{
// Component groups as the daemon numbers them.
enum : uint32_t
{
    kGroupEnvironment = 0,
    kGroupPowerSupply = 1,
    kGroupMassStorage = 2,
    kGroupSystemBoard = 3,
    kGroupNetwork = 5,
};

using SectionPtr = std::unique_ptr<CollapsibleComposite>;

// Every section is built the same way: its content (a table, or a group's first sub-section),
// then its title, then the status the daemon gives it (0, unknown, when that cannot be read).
// The status is asked only after the content has been built, which fixes the order of the
// conversation with the daemon.
SectionPtr MakeSection(std::unique_ptr<HTMLComponent> content, const char* title,
                       const std::function<uint32_t()>& readStatus)
{
    auto section = std::make_unique<CollapsibleComposite>();
    section->Add(content.release());
    section->SetTitle(title);
    section->SetStatus(readStatus());
    return section;
}

SectionPtr BuildEnvironment(CConfigSpaceQuery& q)
{
    auto cooling = MakeSection(EnvironmentTables::BuildCoolingDeviceTable(q), "Cooling Devices",
                               [&] { return q.GetSubGroupStatus(kGroupEnvironment, 0); });
    auto group =
        MakeSection(std::move(cooling), "Environment", [&] { return q.GetGroupStatus(kGroupEnvironment); });
    group->Add(MakeSection(EnvironmentTables::BuildTemperatureTable(q), "Temperature",
                           [&] { return q.GetSubGroupStatus(kGroupEnvironment, 2); })
                   .release());
    return group;
}

SectionPtr BuildPowerSupply(CConfigSpaceQuery& q)
{
    auto units = MakeSection(BoardTables::BuildPowerSupplyTable(q), "Power Supply Units",
                             [&] { return q.GetSubGroupStatus(kGroupPowerSupply, 0); });
    return MakeSection(std::move(units), "Power Supply", [&] { return q.GetGroupStatus(kGroupPowerSupply); });
}

SectionPtr BuildMassStorage(CConfigSpaceQuery& q)
{
    auto adapters = MakeSection(StorageTables::BuildAdapterTable(q, StorageTables::kMassStorageAdapterClass),
                                "Mass Storage Adapters", [&] { return q.GetMassStorageStatus(); });
    auto group =
        MakeSection(std::move(adapters), "Mass Storage", [&] { return q.GetGroupStatus(kGroupMassStorage); });
    group->Add(MakeSection(StorageTables::BuildRaidManagerTable(q), "Tessmark RAID System",
                           [&] { return q.GetRaidManagerStatusNumber(); })
                   .release());
    group->Add(MakeSection(StorageTables::BuildRaidAdapterTable(q), "RAID Adapters",
                           [&] { return q.GetRaidAdaptersGroupStatus(); })
                   .release());
    group->Add(MakeSection(StorageTables::BuildRaidLogicalDriveTable(q), "RAID Logical Drives",
                           [&] { return q.GetRaidLogicalDrivesGroupStatus(); })
                   .release());
    group->Add(MakeSection(StorageTables::BuildRaidPhysicalDriveTable(q), "RAID Physical Drives",
                           [&] { return q.GetRaidPhysicalDrivesGroupStatus(); })
                   .release());
    return group;
}

SectionPtr BuildSystemBoard(CConfigSpaceQuery& q)
{
    auto voltages = MakeSection(BoardTables::BuildVoltageTable(q), "Voltages",
                                [&] { return q.GetSubGroupStatus(kGroupSystemBoard, 0); });
    auto group =
        MakeSection(std::move(voltages), "System Board", [&] { return q.GetGroupStatus(kGroupSystemBoard); });
    group->Add(MakeSection(BoardTables::BuildMemoryModuleTable(q), "Memory Modules",
                           [&] { return q.GetSubGroupStatus(kGroupSystemBoard, 1); })
                   .release());
    group->Add(MakeSection(BoardTables::BuildProcessorTable(q), "System Processors",
                           [&] { return q.GetSubGroupStatus(kGroupSystemBoard, 2); })
                   .release());
    // Sub-group 3 of the system board is not reported.
    group->Add(MakeSection(BoardTables::BuildPciSlotTable(q), "PCI Slots",
                           [&] { return q.GetSubGroupStatus(kGroupSystemBoard, 4); })
                   .release());
    return group;
}

SectionPtr BuildNetwork(CConfigSpaceQuery& q)
{
    auto adapters = MakeSection(StorageTables::BuildAdapterTable(q, StorageTables::kNetworkAdapterClass),
                                "Network Adapters", [&] { return q.GetSubGroupStatus(kGroupNetwork, 0); });
    return MakeSection(std::move(adapters), "Network", [&] { return q.GetGroupStatus(kGroupNetwork); });
}

// The event log has no status of its own in the daemon's group scheme: the section keeps the
// status it is constructed with (not present, so its header shows no icon); each row carries
// the icon of its event's severity.
SectionPtr BuildEventLog(CConfigSpaceQuery& q)
{
    // The catalogue is located once per run, so the trace tells which one the installation has.
    CLogMsgFile catalogue;
    catalogue.Open();

    auto section = std::make_unique<CollapsibleComposite>();
    section->Add(SystemEventLog::BuildTable(q).release());
    section->SetTitle("System Event Log");
    return section;
}
} // namespace

HostCaptureHealth::HostCaptureHealth()
{
    SetTitle("System Health");
    ConnectSwitchClient(m_Query);
}

HostCaptureHealth::~HostCaptureHealth()
{
    ReleaseSwitchClient(m_Query);
}

std::string HostCaptureHealth::Render()
{
    Add(BuildEnvironment(m_Query).release());
    Add(BuildPowerSupply(m_Query).release());
    Add(BuildMassStorage(m_Query).release());
    Add(BuildSystemBoard(m_Query).release());
    Add(BuildNetwork(m_Query).release());
    Add(BuildEventLog(m_Query).release());
    // Everything is read: a large last answer need not stay while the page is rendered.
    m_Query.Request().DropLargeReply();
    return RenderTopLevelFrame();
}
