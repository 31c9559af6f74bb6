#pragma once

#include "TableComponent.h"

#include <cstdint>
#include <memory>
#include <string>

class CConfigSpaceQuery;

// Tables of the mass storage and network sections: adapters (by adapter class), the RAID
// manager, RAID adapters, and the logical and physical drives of every RAID adapter.
namespace StorageTables
{
// Adapter classes as the daemon reports them.
constexpr uint32_t kNetworkAdapterClass = 2;
constexpr uint32_t kMassStorageAdapterClass = 3;

std::unique_ptr<TableComponent> BuildAdapterTable(CConfigSpaceQuery& query, uint32_t adapterClass);
std::unique_ptr<TableComponent> BuildRaidManagerTable(CConfigSpaceQuery& query);
std::unique_ptr<TableComponent> BuildRaidAdapterTable(CConfigSpaceQuery& query);
std::unique_ptr<TableComponent> BuildRaidLogicalDriveTable(CConfigSpaceQuery& query);
std::unique_ptr<TableComponent> BuildRaidPhysicalDriveTable(CConfigSpaceQuery& query);

// The single row of the RAID manager table. The daemon's status text is escaped; the markup that
// closes the first status cell and opens the second one is not.
RowHead MakeRaidManagerRowHead(bool installed, uint32_t statusClass, const std::string& statusText);
} // namespace StorageTables
