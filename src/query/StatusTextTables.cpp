#include "StatusTextTables.h"

#include <initializer_list>

namespace
{
// Report status numbers, as the icons show them.
constexpr uint32_t kUnknown = 0;
constexpr uint32_t kNormal = 1;
constexpr uint32_t kWarning = 2;
constexpr uint32_t kError = 3;
constexpr uint32_t kNotPresent = 4;
constexpr uint32_t kNotPresentInTables = 5;

struct StateEntry
{
    uint32_t Code;
    uint32_t Status;
    const char* Text;
};

struct TextEntry
{
    uint32_t Code;
    const char* Text;
};

void FillState(std::map<uint32_t, CodedResult>& table, std::initializer_list<StateEntry> entries)
{
    for (const StateEntry& entry : entries)
        table[entry.Code] = CodedResult{entry.Status, entry.Text};
}

// Text tables share the map type of the state tables; their status stays 0 and is never shown.
void FillText(std::map<uint32_t, CodedResult>& table, std::initializer_list<TextEntry> entries)
{
    for (const TextEntry& entry : entries)
        table[entry.Code] = CodedResult{kUnknown, entry.Text};
}
} // namespace

StatusTextTables::StatusTextTables()
{
    auto table = [this](CodeTable which) -> std::map<uint32_t, CodedResult>&
    { return m_Tables[static_cast<int>(which)]; };

    FillState(table(CodeTable::CoolingDeviceStatus), {{0, kNotPresent, "Disabled"},
                                                      {1, kNormal, "OK"},
                                                      {2, kError, "Fail"},
                                                      {3, kWarning, "Pre-Fail"},
                                                      {4, kWarning, "Redundant Fail"},
                                                      {5, kNotPresent, "Not Manageable"},
                                                      {6, kNotPresent, "Not Present"}});

    FillText(table(CodeTable::CoolingDeviceType), {{0, "Unknown"},
                                                   {1, "CPU on-chip"},
                                                   {2, "Reserved"},
                                                   {3, "In-house"},
                                                   {4, "Power supply"},
                                                   {5, "Component"}});

    // Code 2 has no entry on purpose: it reads as the default entry (unknown icon, no text).
    FillState(table(CodeTable::TemperatureStatus), {{0, kNotPresent, "N/A"},
                                                    {1, kNormal, "OK"},
                                                    {3, kError, "Fail"},
                                                    {4, kWarning, "Warning"},
                                                    {5, kError, "Critical"},
                                                    {6, kNormal, "OK"},
                                                    {7, kWarning, "Warning"}});

    FillText(table(CodeTable::TemperatureSensorType), {{0, "Unknown Sensor"},
                                                       {1, "CPU Sensor"},
                                                       {2, "Ambient Sensor"},
                                                       {3, "In house Sensor"},
                                                       {4, "IO board Sensor"},
                                                       {5, "Power Plane Sensor"}});

    FillState(table(CodeTable::PowerSupplyStatus), {{0, kNotPresent, "Not Present"},
                                                    {1, kNormal, "OK"},
                                                    {2, kError, "Present and failed"},
                                                    {3, kWarning, "AC Failure"},
                                                    {4, kWarning, "DC Failure"},
                                                    {5, kError, "Temperature Critical"},
                                                    {6, kNotPresent, "Not Manageable"},
                                                    {7, kWarning, "Fan Prefailure"},
                                                    {8, kError, "Fan failure"},
                                                    {9, kWarning, "Cold Standby"},
                                                    {10, kWarning, "AC Failure"},
                                                    {11, kWarning, "DC Failure"}});

    // 255 keeps its spelling "Unknow" and is deliberately shown with the error icon.
    FillState(table(CodeTable::RaidAdapterStatus),
              {{0, kNormal, "OK"}, {1, kWarning, "Warning"}, {2, kError, "Error"}, {255, kError, "Unknow"}});

    FillState(table(CodeTable::PhysicalDriveStatus), {{0, kNormal, "Operational"},
                                                      {1, kNormal, "Copyback"},
                                                      {2, kNormal, "Available"},
                                                      {3, kError, "Unconfigured and failed"},
                                                      {4, kNormal, "Dedicated hot spare"},
                                                      {5, kNormal, "Global hot spare"},
                                                      {6, kNormal, "Rebuilding"},
                                                      {7, kNormal, "Rebuild necessary"},
                                                      {8, kError, "Rebuild failed"},
                                                      {9, kNormal, "JBOD disk"},
                                                      {10, kNormal, "Migrating"},
                                                      {11, kError, "Failed"},
                                                      {12, kNotPresent, "Failed (missing)"},
                                                      {13, kNotPresent, "Offline"},
                                                      {14, kNotPresentInTables, "Shielded"},
                                                      {15, kNormal, "Auto replace hot spare"},
                                                      {255, kUnknown, "Unknown"}});

    FillText(table(CodeTable::SmartState),
             {{0, "S.M.A.R.T. OK"}, {1, "S.M.A.R.T. Failure"}, {255, "S.M.A.R.T. status unknown"}});

    FillText(table(CodeTable::DriveBusType), {{0, "SCSI"},
                                              {1, "ATAPI"},
                                              {2, "PATA"},
                                              {3, "Firewire IEEE 1394"},
                                              {4, "SSA"},
                                              {5, "Fibre"},
                                              {6, "USB"},
                                              {7, "SATA"},
                                              {8, "SAS"},
                                              {9, "RAID"},
                                              {10, "MMC"},
                                              {11, "SD card bus"},
                                              {12, "AHCI"},
                                              {13, "PCIE"},
                                              {14, "LMD"},
                                              {15, "NVMe"},
                                              {255, "Unknown"}});

    FillState(table(CodeTable::GeneralResult),
              {{0, kNormal, "OK"}, {1, kError, "Failure"}, {255, kUnknown, "Status unknown"}});

    FillState(table(CodeTable::LogicalDriveStatus), {{0, kNormal, "Operational"},
                                                     {1, kWarning, "Degraded"},
                                                     {2, kWarning, "Partially Degraded"},
                                                     {3, kError, "Failed"},
                                                     {4, kWarning, "Impacted"},
                                                     {255, kUnknown, "Unknown"}});

    FillState(table(CodeTable::AdapterStatus), {{0, kNotPresent, "N/A"},
                                                {1, kNormal, "OK"},
                                                {2, kWarning, "Warning"},
                                                {3, kError, "Critical"},
                                                {4, kNotPresent, "Not Present"},
                                                {5, kNotPresent, "Not Manageable"}});

    FillState(table(CodeTable::VoltageStatus), {{0, kNotPresent, "N/A"},
                                                {1, kNormal, "OK"},
                                                {2, kWarning, "Too Low"},
                                                {3, kWarning, "Too High"},
                                                {4, kError, "Not OK"},
                                                {5, kWarning, "Pre-Failure"}});

    FillState(table(CodeTable::MemoryModuleStatus), {{0, kNotPresent, "Empty Slot"},
                                                     {1, kNormal, "OK"},
                                                     {2, kNotPresent, "Disabled"},
                                                     {3, kError, "Error"},
                                                     {4, kError, "Failure"},
                                                     {5, kWarning, "Pre-Failure"},
                                                     {6, kNormal, "Hot Spare"},
                                                     {7, kNormal, "Mirror"},
                                                     {8, kNormal, "RAID"},
                                                     {9, kNormal, "Hidden"}});

    FillState(table(CodeTable::ProcessorStatus), {{0, kNotPresent, "Empty Socket"},
                                                  {1, kNormal, "OK"},
                                                  {2, kNotPresent, "Disabled"},
                                                  {3, kError, "Error"},
                                                  {4, kError, "Failure"},
                                                  {5, kWarning, "Not Terminated"},
                                                  {6, kWarning, "Pre-Failure"}});

    // Code 128 deliberately reads "OK" but carries the warning icon.
    FillState(table(CodeTable::PciSlotStatus), {{0, kNormal, "OK"},
                                                {1, kNormal, "OK"},
                                                {2, kWarning, "Warning"},
                                                {3, kError, "Critical"},
                                                {4, kNotPresent, "Empty Slot"},
                                                {5, kUnknown, "Unknown"},
                                                {128, kWarning, "OK"},
                                                {130, kWarning, "Warning"},
                                                {131, kError, "Critical"}});

    FillState(table(CodeTable::RaidManagerStatus),
              {{0, kUnknown, "Unknown"}, {1, kNormal, "OK"}, {2, kWarning, "Warning"}, {3, kError, "Error"}});
}

CodedResult StatusTextTables::LookupState(CodeTable table, uint32_t code)
{
    const int index = static_cast<int>(table);
    if (index < 0 || index >= static_cast<int>(CodeTable::Count))
        return CodedResult();
    // operator[] inserts the default {0, ""} for a code the table does not know, so the next
    // lookup of the same code finds it.
    return m_Tables[index][code];
}

std::string StatusTextTables::LookupText(CodeTable table, uint32_t code)
{
    return LookupState(table, code).Text;
}

size_t StatusTextTables::Size(CodeTable table) const
{
    const int index = static_cast<int>(table);
    if (index < 0 || index >= static_cast<int>(CodeTable::Count))
        return 0;
    return m_Tables[index].size();
}
