// Request exchanges of the client and the cabinet-number request it makes for itself.
#include "CSwitchClient.h"

#include "CCancellation.h"
#include "CDebug.h"
#include "JsonTransport.h"
#include "ObraValue.h"

#include <algorithm>
#include <vector>

namespace
{
constexpr uint32_t kOpCabinetNumber = 0xE204;
constexpr uint32_t kMissingStatus = 22;

// The cabinet number in the reply's "DA": raw bytes (little-endian), a number, or a boolean.
// A single raw element is read as the number itself (not cut to a byte); two or more elements are
// the bytes of a little-endian number.
uint32_t CabinetNumberFromReply(const CObraRequest& reply)
{
    const rapidjson::Value* member = GetCommandData(reply, 0);
    if (member == nullptr)
        return 0;
    const rapidjson::Value& data = *member;
    uint32_t value = 0;
    if (data.IsNumber())
        return NumberLowBits(data, value) ? value : 0;
    if (data.IsBool())
        return data.GetBool() ? 1 : 0;
    const rapidjson::Value* raw = RawArray(data);
    std::vector<uint8_t> bytes;
    if (raw == nullptr || !RawArrayBytes(*raw, bytes) || bytes.empty())
        return 0;
    if (bytes.size() == 1)
        return NumberLowBits((*raw)[0], value) ? value : 0;
    // Two bytes make a 16-bit number, three or more the first four bytes of a 32-bit one.
    const size_t count = std::min<size_t>(bytes.size(), 4);
    for (size_t i = 0; i < count; ++i)
        value += static_cast<uint32_t>(bytes[i]) << (8 * i);
    return value;
}
} // namespace

uint32_t CSwitchClient::Request(CObraRequest& request, uint32_t timeout)
{
    rapidjson::StringBuffer text;
    std::string reply;
    uint32_t result = kTransportNoChannel;
    if (CCancellation::IsRequested())
    {
        // A run that is asked to stop asks the daemon nothing more: the request fails at once,
        // like one without a channel, and the caller fills in its neutral value.
        g_Debug.Print(2, "\nCSwitchClient::Request: run is stopping - request not sent");
        reply.clear();
    }
    else
    {
        request.Serialize(text);
        pthread_mutex_lock(&m_ClientMutex);
        result = SendRequestOnFd(m_FdRequestChannel, text.GetString(), reply, timeout);
        pthread_mutex_unlock(&m_ClientMutex);
    }
    g_Debug.Print(4, "\nCSwitchClient::Request: reply data: %s", reply.c_str());

    if (result != kTransportOk)
    {
        // The failure becomes the command's status, so the answer reads like any other.
        g_Debug.Print(1, "\nCSwitchClient::Request: request failed with rc=%d", static_cast<int>(result));
        request.SetCommandNumber("ST", result);
    }
    else
    {
        // Parsed in place: the request takes the text over, its strings point into it.
        request.ParseReply(reply);
    }

    const int slot = request.Slot();
    if (g_Debug.GetLevel() >= 3)
    {
        g_Debug.Print(3,
                      "\nCSwitchClient::Request: Receive response OC=0x%04X, OE=0x%04X, CB=0x%08X, "
                      "OI=0x%08X, Status=0x%04X",
                      GetCmdValue(request, slot, "OC", 0), GetCmdValue(request, slot, "OE", 0),
                      GetCmdValue(request, slot, "CA", 0), GetCmdValue(request, slot, "OI", 0),
                      GetCmdValue(request, slot, "ST", kMissingStatus));
    }
    return GetCmdValue(request, slot, "ST", kMissingStatus);
}

bool CSwitchClient::RequestCabinetNumber(uint32_t& cabinetNumber)
{
    g_Debug.Print(2, "\nCSwitchClient       : Requesting server cabinet number...");
    CObraRequest request(0);
    request.SetCommandNumber("OC", kOpCabinetNumber);
    uint32_t status = Request(request, 0);
    if (status != 0)
    {
        g_Debug.Print(1, "\nCSwitchClient       : ## ERROR! Failed to request server cabinet number (0x%02X)",
                      status);
        return false;
    }
    cabinetNumber = CabinetNumberFromReply(request);
    g_Debug.Print(2, "\nCSwitchClient       : -> server cabinet number = %d (0x%02X)",
                  static_cast<int>(cabinetNumber), cabinetNumber);
    return true;
}
