// The daemon's replies, from the bytes on the socket to the report's tables: the input is the
// byte stream the daemon sends on the request channel (length-prefixed frames, one per
// request). A socket pair carries it into the client's own frame reader; each reply is parsed
// into the request document, and the query accessors and table builders read from it.

#include "BoardTables.h"
#include "CConfigSpaceQuery.h"
#include "CObraClientRequestIf.h"
#include "CObraRequest.h"
#include "Clock.h"
#include "EnvironmentTables.h"
#include "FuzzSupport.h"
#include "HostCaptureInformation.h"
#include "JsonTransport.h"
#include "StorageTables.h"
#include "SystemEventLog.h"

#include <cstdio>
#include <cstdlib>
#include <set>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
// A request client whose channel is one end of a socket pair; the other end holds the fuzzed
// byte stream and has shut down its sending side, so the reader meets the end of the stream
// instead of waiting for more.
class StreamClient : public CObraClientRequestIf
{
public:
    StreamClient(int channel, int peer) : m_Channel(channel), m_Peer(peer) {}

    uint32_t Request(CObraRequest& request, uint32_t timeout) override
    {
        // The requests pile up at the peer, which never answers them: drain them so the send
        // side never fills.
        char sink[4096];
        while (recv(m_Peer, sink, sizeof sink, MSG_DONTWAIT) > 0)
        {
        }
        uint32_t result = kTransportNoChannel;
        if (!m_Exhausted)
        {
            // The reply replaces the document, and it need not repeat the operation code.
            const uint32_t askedOc = GetCmdValue(request, request.Slot(), "OC", 0);
            std::string reply;
            result = SendRequestOnFd(m_Channel, request.Serialize().c_str(), reply, timeout);
            if (result == kTransportOk)
            {
                request.ParseReply(reply);
                BoundCount(request, askedOc);
            }
            // After a failed read the stream is out of step or at its end, like a channel the
            // daemon closed: everything after it fails without touching the socket.
            m_Exhausted = result != kTransportOk;
        }
        if (result != kTransportOk)
            request.SetCommandNumber("ST", result);
        return GetCmdValue(request, request.Slot(), "ST", 22);
    }
    bool Attach(const char*) override { return true; }
    void Detach() override {}
    bool RequestCabinetNumber(uint32_t& cabinetNumber) override
    {
        cabinetNumber = 0;
        return true;
    }
    bool SetApplicationName(const char*) override { return true; }
    bool IsInterfaceSupported(const char*) override { return true; }
    bool GetInterfaceName(std::string& name) override
    {
        name = "JsonRequest";
        return true;
    }
    uint32_t GetLastErrorCode() override { return 0; }
    void GetLastErrorText(std::string& text) override { text = "NO ERROR"; }

private:
    // The report loops over as many rows as the daemon counts. A count of four billion is a
    // question of run time, not of memory safety, and would make every such input a time-out:
    // counts above 8 are folded into 0..8 after the reply went through transport and parse.
    static void BoundCount(CObraRequest& request, uint32_t askedOc)
    {
        static const std::set<uint32_t> kCountCodes = {0x0300, 0x0400, 0x0500, 0x0520, 0x0600, 0x0700,
                                                       0x1480, 0x1800, 0x2110, 0x2130, 0x2150};
        const int slot = request.Slot();
        if (kCountCodes.count(askedOc) == 0)
            return;
        const rapidjson::Value* data = GetCommandData(request, slot);
        if (data == nullptr || !data->IsNumber() || (data->IsUint() && data->GetUint() <= 8))
            return;
        const uint64_t folded = data->IsUint64() ? data->GetUint64() % 9 : 3;
        request.CommandAtSlot()["DA"].SetUint(static_cast<unsigned>(folded));
    }

    int m_Channel;
    int m_Peer;
    bool m_Exhausted = false;
};

void Exercise(CConfigSpaceQuery& query)
{
    // Identity lines and the typed accessors of every result kind.
    query.GetSystemModel();
    query.GetOsName();
    query.GetPowerOnDuration();
    query.GetVoltageThresholds(0);
    query.GetRaidManagerStatus();
    std::vector<uint8_t> bytes;
    query.GetRaw(bytes, 0x0B10, 0, 0);
    HostCaptureInformation::GetIpAddresses(query);

    std::vector<std::unique_ptr<TableComponent>> tables;
    tables.push_back(EnvironmentTables::BuildCoolingDeviceTable(query));
    tables.push_back(EnvironmentTables::BuildTemperatureTable(query));
    tables.push_back(BoardTables::BuildVoltageTable(query));
    tables.push_back(BoardTables::BuildMemoryModuleTable(query));
    tables.push_back(BoardTables::BuildProcessorTable(query));
    tables.push_back(BoardTables::BuildPciSlotTable(query));
    tables.push_back(BoardTables::BuildPowerSupplyTable(query));
    tables.push_back(StorageTables::BuildAdapterTable(query, StorageTables::kMassStorageAdapterClass));
    tables.push_back(StorageTables::BuildRaidManagerTable(query));
    tables.push_back(StorageTables::BuildRaidAdapterTable(query));
    tables.push_back(StorageTables::BuildRaidLogicalDriveTable(query));
    tables.push_back(StorageTables::BuildRaidPhysicalDriveTable(query));
    tables.push_back(SystemEventLog::BuildTable(query));
    for (auto& table : tables)
    {
        if (table)
            table->Render();
    }
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::PrivateSysRoot();
    // A reply that stops short would otherwise cost ten real one-second passes.
    static CFakeClock clock;
    CClock::Install(&clock);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The whole stream must fit into the socket at once (scripts/fuzz passes -max_len).
    if (size > 65536)
        return -1;
    int fds[2];
    FuzzSupport::QueueOnSocket(data, size, fds);

    {
        // One query object for the whole run, as the report keeps one per section: its code
        // tables are built once, not per input.
        static CConfigSpaceQuery query;
        StreamClient client(fds[0], fds[1]);
        query.Bind(&client, 0, "/opt/TessmarkQDX/bin/tmqdx");
        query.SetTimeout(1);
        Exercise(query);
        query.Unbind();
    }
    close(fds[0]);
    close(fds[1]);
    return 0;
}
