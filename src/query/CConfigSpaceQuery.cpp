#include "CConfigSpaceQuery.h"

#include "CDebug.h"
#include "CObraClientRequestIf.h"
#include "SwitchClientConnection.h"

#include <cstring>

namespace
{
// The status an answer reads as when it carries none (and the status of a query without client).
constexpr uint32_t kNoStatus = 22;

// The slot's "DA", or nullptr when the answer lacks the shape or the member.
const rapidjson::Value* FindData(const CObraRequest& request)
{
    return GetCommandData(request, request.Slot());
}

// The integer value of a JSON number as 64 bits; false for fractions and out-of-range values.
bool IntegerBits(const rapidjson::Value& number, uint64_t& bits, bool& fitsIn32)
{
    if (number.IsUint64())
    {
        bits = number.GetUint64();
        fitsIn32 = number.IsUint() || number.IsInt();
        return true;
    }
    if (number.IsInt64())
    {
        bits = static_cast<uint64_t>(number.GetInt64());
        fitsIn32 = number.IsInt();
        return true;
    }
    return false;
}

void AppendHostOrder(std::vector<uint8_t>& bytes, const void* value, size_t size)
{
    const uint8_t* first = static_cast<const uint8_t*>(value);
    bytes.insert(bytes.end(), first, first + size);
}

// A number as its bytes in host order: 4 bytes when it fits 32 bits, else 8.
bool AppendNumberBytes(const rapidjson::Value& number, std::vector<uint8_t>& bytes)
{
    uint64_t bits = 0;
    bool fitsIn32 = false;
    if (!IntegerBits(number, bits, fitsIn32))
        return false;
    if (fitsIn32)
    {
        const uint32_t low = static_cast<uint32_t>(bits);
        AppendHostOrder(bytes, &low, sizeof(low));
    }
    else
    {
        AppendHostOrder(bytes, &bits, sizeof(bits));
    }
    return true;
}
} // namespace

CConfigSpaceQuery::CConfigSpaceQuery() = default;

CConfigSpaceQuery::~CConfigSpaceQuery()
{
    // A section that forgot its release must not leave an attach reference behind.
    if (m_ConnectedClient != nullptr)
        ReleaseSwitchClient(*this);
}

void CConfigSpaceQuery::Bind(CObraClientRequestIf* client, uint32_t cabinetNumber,
                             const std::string& servicePath)
{
    m_Client = client;
    m_CabinetNumber = cabinetNumber;
    m_ServicePath = servicePath;
}

void CConfigSpaceQuery::Unbind()
{
    m_Client = nullptr;
    m_CabinetNumber = 0;
    m_ServicePath.clear();
}

StatusTextTables& CConfigSpaceQuery::Tables()
{
    // Built on demand so that an object that never connected still gives the code-0 entries.
    if (!m_Tables)
        m_Tables = std::make_unique<StatusTextTables>();
    return *m_Tables;
}

uint32_t CConfigSpaceQuery::Exchange(uint32_t oc, uint32_t oe, uint32_t oi)
{
    if (m_Client == nullptr)
        return kNoStatus;

    // A large previous answer is dropped whole before the next exchange, so that two of them
    // never sit in memory at once; a usual one keeps its shape.
    if (m_Request.DropLargeReply())
        g_Debug.Print(4, "\nCConfigSpaceQuery::Exchange: large previous answer dropped");
    // The slot still holds the previous answer; start it afresh so that only this query's
    // members travel.
    rapidjson::Value& command = m_Request.CommandAtSlot();
    command.SetObject();
    m_Request.SetCommandNumber("OC", oc);
    m_Request.SetCommandNumber("OE", oe, true);
    m_Request.SetCommandNumber("OI", oi, true);
    m_Request.SetCommandNumber("CA", m_CabinetNumber);

    const uint32_t status = ExchangeFilled();
    if (status != 0)
        g_Debug.Print(4,
                      "\nCConfigSpaceQuery::Exchange: OC=0x%04X, OE=0x%04X, OI=0x%08X failed, status=0x%04X",
                      oc, oe, oi, status);
    return status;
}

uint32_t CConfigSpaceQuery::ExchangeFilled()
{
    if (m_Client == nullptr)
        return kNoStatus;
    m_Client->Request(m_Request, m_Timeout);
    // The status is read back from the answer itself: a failed exchange writes its transport
    // code into the slot, and an answer without "ST" reads as 22.
    return GetCmdValue(m_Request, m_Request.Slot(), "ST", kNoStatus);
}

bool CConfigSpaceQuery::IsAnswerWellFormed() const
{
    const rapidjson::Document& document = m_Request.Document();
    const int slot = m_Request.Slot();
    if (slot < 0 || !document.IsObject())
        return false;
    rapidjson::Value::ConstMemberIterator sip = document.FindMember("SIP");
    if (sip == document.MemberEnd() || !sip->value.IsObject())
        return false;
    rapidjson::Value::ConstMemberIterator commands = sip->value.FindMember("CMD");
    if (commands == sip->value.MemberEnd() || !commands->value.IsArray())
        return false;
    if (commands->value.Size() <= static_cast<rapidjson::SizeType>(slot))
        return false;
    const rapidjson::Value& command = commands->value[static_cast<rapidjson::SizeType>(slot)];
    if (!command.IsObject())
        return false;
    rapidjson::Value::ConstMemberIterator data = command.FindMember("DA");
    if (data == command.MemberEnd() || data->value.IsNull())
        return false;
    return data->value.IsNumber() || GetDataSize(m_Request, slot) != 0;
}

bool CConfigSpaceQuery::DecodeNumber(uint32_t& value) const
{
    const rapidjson::Value* data = FindData(m_Request);
    if (data == nullptr || !data->IsNumber())
        return false;
    uint64_t bits = 0;
    bool fitsIn32 = false;
    if (IntegerBits(*data, bits, fitsIn32))
    {
        value = static_cast<uint32_t>(bits);
        return true;
    }
    // A fraction is cut towards zero; one that no 64-bit integer holds is not a value.
    const double fraction = data->GetDouble();
    if (fraction >= 0.0 && fraction < 18446744073709551616.0)
        value = static_cast<uint32_t>(static_cast<uint64_t>(fraction));
    else if (fraction < 0.0 && fraction >= -9223372036854775808.0)
        value = static_cast<uint32_t>(static_cast<int64_t>(fraction));
    else
        return false;
    return true;
}

bool CConfigSpaceQuery::DecodeRaw(std::vector<uint8_t>& bytes) const
{
    const rapidjson::Value* data = FindData(m_Request);
    if (data == nullptr)
        return false;

    if (data->IsObject())
    {
        rapidjson::Value::ConstMemberIterator raw = data->FindMember("RAW");
        if (raw == data->MemberEnd())
            return false;
        if (raw->value.IsString())
        {
            const uint8_t* first = reinterpret_cast<const uint8_t*>(raw->value.GetString());
            bytes.assign(first, first + raw->value.GetStringLength());
            return true;
        }
        if (!raw->value.IsArray())
            return false;
        bytes.reserve(raw->value.Size());
        for (const rapidjson::Value& element : raw->value.GetArray())
        {
            uint64_t bits = 0;
            bool fitsIn32 = false;
            if (!element.IsNumber() || !IntegerBits(element, bits, fitsIn32))
                return false;
            bytes.push_back(static_cast<uint8_t>(bits & 0xFF));
        }
        return true;
    }
    if (data->IsArray())
    {
        for (const rapidjson::Value& element : data->GetArray())
        {
            if (!element.IsString())
                return false;
            const uint8_t* first = reinterpret_cast<const uint8_t*>(element.GetString());
            bytes.insert(bytes.end(), first, first + element.GetStringLength());
            bytes.push_back(0);
        }
        bytes.push_back(0);
        return true;
    }
    if (data->IsString())
    {
        const uint8_t* first = reinterpret_cast<const uint8_t*>(data->GetString());
        bytes.assign(first, first + data->GetStringLength());
        return true;
    }
    if (data->IsNumber())
        return AppendNumberBytes(*data, bytes);
    return false;
}

bool CConfigSpaceQuery::GetNumber(uint32_t& value, uint32_t oc, uint32_t oe, uint32_t oi)
{
    if (Exchange(oc, oe, oi) != 0)
        return false;
    if (GetDataType(m_Request, m_Request.Slot()) != ObraDataType::Number)
    {
        g_Debug.Print(
            4, "\nCConfigSpaceQuery::GetNumber: OC=0x%04X, OE=0x%04X, OI=0x%08X: answer holds no number", oc,
            oe, oi);
        return false;
    }
    uint32_t decoded = 0;
    if (!DecodeNumber(decoded))
        return false;
    value = decoded;
    return true;
}

uint32_t CConfigSpaceQuery::GetNumber(uint32_t oc, uint32_t oe, uint32_t oi)
{
    uint32_t value = 0;
    GetNumber(value, oc, oe, oi);
    return value;
}

std::string CConfigSpaceQuery::GetString(uint32_t oc, uint32_t oe, uint32_t oi)
{
    if (Exchange(oc, oe, oi) != 0)
        return std::string();
    if (GetDataType(m_Request, m_Request.Slot()) != ObraDataType::String || !IsAnswerWellFormed())
    {
        g_Debug.Print(
            4, "\nCConfigSpaceQuery::GetString: OC=0x%04X, OE=0x%04X, OI=0x%08X: answer holds no string", oc,
            oe, oi);
        return std::string();
    }
    const rapidjson::Value* data = FindData(m_Request);
    return std::string(data->GetString(), data->GetStringLength());
}

bool CConfigSpaceQuery::GetRaw(std::vector<uint8_t>& bytes, uint32_t oc, uint32_t oe, uint32_t oi)
{
    bytes.clear();
    if (Exchange(oc, oe, oi) != 0)
        return false;
    std::vector<uint8_t> decoded;
    if (!DecodeRaw(decoded))
    {
        g_Debug.Print(
            4, "\nCConfigSpaceQuery::GetRaw: OC=0x%04X, OE=0x%04X, OI=0x%08X: answer holds no raw data", oc,
            oe, oi);
        return false;
    }
    bytes.swap(decoded);
    return true;
}

bool CConfigSpaceQuery::GetNumericBytes(std::vector<uint8_t>& bytes, uint32_t oc, uint32_t oe, uint32_t oi)
{
    if (Exchange(oc, oe, oi) != 0)
        return false;
    const rapidjson::Value* data = FindData(m_Request);
    return data != nullptr && data->IsNumber() && AppendNumberBytes(*data, bytes);
}

uint32_t CConfigSpaceQuery::GetWord(uint32_t oc, uint32_t oe, uint32_t oi)
{
    std::vector<uint8_t> bytes;
    if (!GetNumericBytes(bytes, oc, oe, oi) || bytes.size() != sizeof(uint32_t))
        return 0;
    uint32_t word = 0;
    std::memcpy(&word, bytes.data(), sizeof(word));
    return word;
}

CodedResult CConfigSpaceQuery::GetCoded(CodeTable table, uint32_t oc, uint32_t oe, uint32_t oi)
{
    uint32_t code = 0;
    GetNumber(code, oc, oe, oi);
    return Tables().LookupState(table, code);
}

std::string CConfigSpaceQuery::GetCodedText(CodeTable table, uint32_t oc, uint32_t oe, uint32_t oi)
{
    uint32_t code = 0;
    GetNumber(code, oc, oe, oi);
    return Tables().LookupText(table, code);
}
