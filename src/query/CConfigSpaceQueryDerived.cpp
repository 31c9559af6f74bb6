#include "CConfigSpaceQuery.h"

#include "CDebug.h"

#include <algorithm>
#include <cstdint>

namespace
{
constexpr uint32_t kOcClearDeviceWatchStatus = 0x180A;
constexpr uint32_t kOcAdapterCount = 0x1800;
constexpr uint32_t kOcAdapterClass = 0x1805;
constexpr uint32_t kOcPhysicalDriveStatus = 0x2131;
constexpr uint32_t kOcPhysicalDriveSmartState = 0x2132;

constexpr uint32_t kStatusNormal = 1;
constexpr uint32_t kStatusWarning = 2;
const char* const kSmartFailure = "S.M.A.R.T. Failure";
} // namespace

bool CConfigSpaceQuery::ClearDeviceWatchStatus()
{
    if (Client() == nullptr)
        return false;

    // The one write of the program: "DA" carries the order and "ST" 0 goes along on purpose.
    m_Request.CommandAtSlot().SetObject();
    m_Request.SetCommandNumber("OC", kOcClearDeviceWatchStatus);
    m_Request.SetCommandNumber("DA", 1);
    m_Request.SetCommandNumber("ST", 0);
    m_Request.SetCommandNumber("CA", m_CabinetNumber);

    const uint32_t status = ExchangeFilled();
    const ObraDataType dataType = GetDataType(m_Request, m_Request.Slot());
    bool cleared = status == 0 && dataType != ObraDataType::None;
    if (cleared && dataType == ObraDataType::String)
        cleared = IsAnswerWellFormed();
    g_Debug.Print(4, "\nCConfigSpaceQuery::ClearDeviceWatchStatus: status=0x%04X, data kind=%d -> %s", status,
                  static_cast<int>(dataType), cleared ? "cleared" : "not cleared");
    return cleared;
}

std::vector<uint32_t> CConfigSpaceQuery::GetAdapterIndexes(uint32_t adapterClass)
{
    uint32_t reported = 0;
    return GetAdapterIndexes(adapterClass, UINT32_MAX, reported);
}

std::vector<uint32_t> CConfigSpaceQuery::GetAdapterIndexes(uint32_t adapterClass, uint32_t maxScanned,
                                                           uint32_t& reported)
{
    std::vector<uint32_t> indexes;
    const uint32_t wantedClass = adapterClass & 0xFF;
    reported = GetNumber(kOcAdapterCount, 0, 0);
    const uint32_t count = std::min(reported, maxScanned);
    for (uint32_t index = 0; index < count; ++index)
    {
        if (GetNumber(kOcAdapterClass, 0, index) == wantedClass)
            indexes.push_back(index);
    }
    return indexes;
}

CodedResult CConfigSpaceQuery::GetPhysicalDriveStatus(uint32_t adapter, uint32_t drive)
{
    CodedResult status = GetCoded(CodeTable::PhysicalDriveStatus, kOcPhysicalDriveStatus, adapter, drive);
    // A drive that works but predicts its own failure must not look healthy.
    if (status.Status != kStatusNormal)
        return status;
    if (GetCodedText(CodeTable::SmartState, kOcPhysicalDriveSmartState, adapter, drive) == kSmartFailure)
    {
        status.Status = kStatusWarning;
        status.Text += " - ";
        status.Text += kSmartFailure;
    }
    return status;
}
