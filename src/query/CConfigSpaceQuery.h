#pragma once

#include "CObraRequest.h"
#include "CodedResult.h"
#include "StatusTextTables.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CObraClientRequestIf;
class CSwitchClient;

// The typed queries over the daemon's configuration space that the report sections call. One
// command slot of one request document is filled per query; every failure (no client, transport
// error, non-zero "ST", wrong data kind, malformed answer) yields the neutral value of the result
// kind: 0, an empty string, false, or the code-0 entry of the query's code table.
//
// A query object is connected with ConnectSwitchClient and released with ReleaseSwitchClient;
// unit tests may Bind any request interface directly.
class CConfigSpaceQuery
{
public:
    CConfigSpaceQuery();
    ~CConfigSpaceQuery();
    CConfigSpaceQuery(const CConfigSpaceQuery&) = delete;
    CConfigSpaceQuery& operator=(const CConfigSpaceQuery&) = delete;

    // Connection state, set by the connect and release routines (or by tests). Binding drops
    // the connect routine's claim on the previous client without detaching it.
    void Bind(CObraClientRequestIf* client, uint32_t cabinetNumber, const std::string& servicePath);
    void Unbind();
    CObraClientRequestIf* Client() const { return m_Client; }
    uint32_t CabinetNumber() const { return m_CabinetNumber; }
    const std::string& ServicePath() const { return m_ServicePath; }
    void SetTimeout(uint32_t timeout) { m_Timeout = timeout; }
    StatusTextTables& Tables();
    CObraRequest& Request() { return m_Request; }

    // Generic operations.
    uint32_t GetNumber(uint32_t oc, uint32_t oe, uint32_t oi);
    bool GetNumber(uint32_t& value, uint32_t oc, uint32_t oe, uint32_t oi);
    std::string GetString(uint32_t oc, uint32_t oe, uint32_t oi);
    bool GetRaw(std::vector<uint8_t>& bytes, uint32_t oc, uint32_t oe, uint32_t oi);
    uint32_t GetWord(uint32_t oc, uint32_t oe, uint32_t oi);
    CodedResult GetCoded(CodeTable table, uint32_t oc, uint32_t oe, uint32_t oi);
    std::string GetCodedText(CodeTable table, uint32_t oc, uint32_t oe, uint32_t oi);

    // Derived operations.
    bool ClearDeviceWatchStatus();
    std::vector<uint32_t> GetAdapterIndexes(uint32_t adapterClass);
    // The same among the first maxScanned adapters only (a bound on the class queries that a
    // huge count would cause); reported receives the daemon's count.
    std::vector<uint32_t> GetAdapterIndexes(uint32_t adapterClass, uint32_t maxScanned, uint32_t& reported);
    CodedResult GetPhysicalDriveStatus(uint32_t adapter, uint32_t drive); // with S.M.A.R.T. override

    // System information.
    std::string GetSystemModel();            // 0x0C00 / 0x0608
    std::string GetSystemSerialNumber();     // 0x0C00 / 0x0600
    std::string GetChassisId();              // 0x0C00 / 0x0108
    std::string GetAssetTag();               // 0xE001 / 0x0210
    std::string GetSystemUuid();             // 0x0C00 / 0x1510
    std::string GetBoardSerialNumber();      // 0x0C00 / 0x0200
    std::string GetBoardIdentNumber();       // 0x0C00 / 0x0201
    std::string GetBiosVersion();            // 0x0C00 / 0xA006
    std::string GetOsName();                 // 0x0C00 / 0xA708
    std::string GetHostName();               // 0xE107
    std::string GetManagementSoftwareVersion(); // 0x0C00 / 0xA806
    std::string GetSystemText0931();         // 0x0931 (not used by the report)
    std::string GetSystemText0930();         // 0x0930 (not used by the report)
    std::string GetRaidManagerVersion(uint32_t extension); // 0x0C00 / caller (0xAA03)
    uint32_t GetPowerOnDuration();           // 0xE001 / 0x1010, seconds
    uint32_t GetOsUptime();                  // 0x011E, seconds

    // Cooling devices.
    uint32_t GetCoolingDeviceCount();                 // 0x0300
    CodedResult GetCoolingDeviceStatus(uint32_t i);   // 0x0301
    uint32_t GetCoolingDeviceSpeed(uint32_t i);       // 0x0302
    std::string GetCoolingDeviceTypeText(uint32_t i); // 0x0303
    std::string GetCoolingDeviceDesignation(uint32_t i); // 0x0304

    // Temperature sensors.
    uint32_t GetTemperatureSensorCount();                 // 0x0400
    CodedResult GetTemperatureSensorStatus(uint32_t i);   // 0x0401
    uint32_t GetTemperature(uint32_t i);                  // 0x0402
    std::string GetTemperatureSensorTypeText(uint32_t i); // 0x0403
    std::string GetTemperatureSensorDesignation(uint32_t i); // 0x0404

    // Power supplies.
    uint32_t GetPowerSupplyCount();                          // 0x0500
    CodedResult GetPowerSupplyStatus(uint32_t i);            // 0x0501
    std::string GetPowerSupplyDesignation(uint32_t i);       // 0x0504
    bool GetPowerSupplyNominalPower(uint32_t i, uint32_t& watts); // 0x0506
    bool GetPowerSupplyCurrentPower(uint32_t i, uint32_t& watts); // 0x0507

    // Voltages.
    uint32_t GetVoltageCount();                     // 0x0520
    CodedResult GetVoltageStatus(uint32_t i);       // 0x0521
    std::string GetVoltageDesignation(uint32_t i);  // 0x0522
    uint32_t GetVoltageThresholds(uint32_t i);      // 0x0523 word: low half minimum, high half maximum
    uint32_t GetVoltageCurrent(uint32_t i);         // 0x0524, hundredths of a volt

    // Processors.
    uint32_t GetProcessorCount();                   // 0x0600
    CodedResult GetProcessorStatus(uint32_t i);     // 0x0601
    std::string GetProcessorSocket(uint32_t i);     // 0x0602
    std::string GetProcessorType(uint32_t i);       // 0x0605
    uint32_t GetProcessorFrequency(uint32_t i);     // 0x061D, MHz

    // Memory modules.
    uint32_t GetMemoryModuleCount();                    // 0x0700
    CodedResult GetMemoryModuleStatus(uint32_t i);      // 0x0701
    std::string GetMemoryModuleDesignation(uint32_t i); // 0x0702
    uint32_t GetMemoryModuleSize(uint32_t i);           // 0x070A, MB
    std::string GetMemoryModuleTypeFirst(uint32_t i);   // 0x070B
    std::string GetMemoryModuleTypeSecond(uint32_t i);  // 0x070D

    // PCI slots.
    uint32_t GetPciSlotCount();                       // 0x1480
    CodedResult GetPciSlotStatus(uint32_t i);         // 0x1042 / 0x28
    std::string GetPciSlotDesignation(uint32_t i);    // 0x1043 / 0x28

    // Adapters (mass storage and network together).
    uint32_t GetAdapterCount();                     // 0x1800
    CodedResult GetAdapterStatus(uint32_t i);       // 0x1801
    std::string GetAdapterDesignation(uint32_t i);  // 0x1803
    std::string GetAdapterLocation(uint32_t i);     // 0x1804
    uint32_t GetAdapterClass(uint32_t i);           // 0x1805
    uint32_t GetMassStorageStatus();                // 0x1820 / 3

    // RAID.
    uint32_t GetRaidAdapterCount();                         // 0x2110
    std::string GetRaidAdapterDesignation(uint32_t i);      // 0x2111
    CodedResult GetRaidAdapterStatus(uint32_t i);           // 0x2116
    CodedResult GetRaidManagerStatus();                     // 0x2120 coded
    uint32_t GetRaidManagerStatusNumber();                  // 0x2120 number
    uint32_t GetRaidAdaptersGroupStatus();                  // 0x2121
    uint32_t GetRaidLogicalDrivesGroupStatus();             // 0x2122
    uint32_t GetRaidPhysicalDrivesGroupStatus();            // 0x2123
    uint32_t GetPhysicalDriveCount(uint32_t a);             // 0x2130 / a
    std::string GetPhysicalDriveSmartText(uint32_t a, uint32_t i);     // 0x2132
    std::string GetPhysicalDriveDesignation(uint32_t a, uint32_t i);   // 0x2133
    std::string GetPhysicalDriveInterfaceText(uint32_t a, uint32_t i); // 0x2134
    uint32_t GetPhysicalDriveSize(uint32_t a, uint32_t i);             // 0x2135, MB
    uint32_t GetLogicalDriveCount(uint32_t a);                         // 0x2150 / a
    CodedResult GetLogicalDriveStatus(uint32_t a, uint32_t i);         // 0x2151
    std::string GetLogicalDriveDesignation(uint32_t a, uint32_t i);    // 0x2152
    uint32_t GetLogicalDriveSize(uint32_t a, uint32_t i);              // 0x2153, MB
    std::string GetLogicalDriveRaidLevel(uint32_t a, uint32_t i);      // 0x2155
    bool IssueRaidManagerFollowUp();                                   // 0x21DF, result unused

    // Event log and group statuses.
    bool GetEventLogRecords(std::vector<uint8_t>& records); // 0x0B10 raw
    uint32_t GetGroupStatus(uint32_t group);                 // 0x2301 / g
    uint32_t GetSubGroupStatus(uint32_t group, uint32_t sub); // 0x2306 / g / s

private:
    friend bool ConnectSwitchClient(CConfigSpaceQuery& query, CSwitchClient& client);
    friend void ReleaseSwitchClient(CConfigSpaceQuery& query);

    // Fills the slot, exchanges, and returns the slot's status (22 without a client).
    uint32_t Exchange(uint32_t oc, uint32_t oe, uint32_t oi);
    // Exchanges the document as filled and returns the slot's status (22 without a client).
    uint32_t ExchangeFilled();
    // The answer's shape holds a usable "DA" at the slot (the check before string data is taken).
    bool IsAnswerWellFormed() const;
    // Decodes the slot's numeric "DA"; false for any other kind.
    bool DecodeNumber(uint32_t& value) const;
    // Decodes the slot's "DA", which must be an object holding "RAW", as raw bytes ("RAW" an array
    // of numbers or of strings, a string or a number).
    bool DecodeRaw(std::vector<uint8_t>& bytes) const;
    // Runs the query and reads the slot's "DA" bytes from a numeric answer.
    bool GetNumericBytes(std::vector<uint8_t>& bytes, uint32_t oc, uint32_t oe, uint32_t oi);

    CObraClientRequestIf* m_Client = nullptr;
    uint32_t m_CabinetNumber = 0;
    uint32_t m_Timeout = 0;
    std::string m_ServicePath;
    CObraRequest m_Request;
    std::unique_ptr<StatusTextTables> m_Tables;
    // m_Client is the CSwitchClient that ConnectSwitchClient attached; the release detaches it.
    bool m_AttachedByConnect = false;
};
