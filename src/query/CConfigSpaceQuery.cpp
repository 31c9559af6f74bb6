#include "CConfigSpaceQuery.h"

#include "CDebug.h"
#include "CObraClientRequestIf.h"
#include "ObraValue.h"
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
    if (m_AttachedByConnect)
        ReleaseSwitchClient(*this);
}

void CConfigSpaceQuery::Bind(CObraClientRequestIf* client, uint32_t cabinetNumber,
                             const std::string& servicePath)
{
    m_Client = client;
    m_AttachedByConnect = false;
    m_CabinetNumber = cabinetNumber;
    m_ServicePath = servicePath;
}

void CConfigSpaceQuery::Unbind()
{
    m_Client = nullptr;
    m_AttachedByConnect = false;
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
    const rapidjson::Value* data = FindData(m_Request);
    if (data == nullptr || data->IsNull())
        return false;
    return data->IsNumber() || GetDataSize(m_Request, m_Request.Slot()) != 0;
}

bool CConfigSpaceQuery::DecodeNumber(uint32_t& value) const
{
    const rapidjson::Value* data = FindData(m_Request);
    return data != nullptr && NumberLowBits(*data, value);
}

bool CConfigSpaceQuery::DecodeRaw(std::vector<uint8_t>& bytes) const
{
    // Raw data always travels as {"RAW": ...}; a bare string, number or array in "DA" is the
    // answer of some other kind of query and no raw data.
    const rapidjson::Value* data = FindData(m_Request);
    if (data == nullptr || !data->IsObject())
        return false;
    rapidjson::Value::ConstMemberIterator member = data->FindMember("RAW");
    if (member == data->MemberEnd())
        return false;
    const rapidjson::Value& raw = member->value;

    if (raw.IsString())
    {
        const uint8_t* first = reinterpret_cast<const uint8_t*>(raw.GetString());
        bytes.assign(first, first + raw.GetStringLength());
        return true;
    }
    if (raw.IsNumber())
        return AppendNumberBytes(raw, bytes);
    if (!raw.IsArray())
        return false;
    if (!raw.Empty() && raw[0].IsString())
    {
        // Strings: each with its terminating zero byte, and one more zero byte at the end.
        for (const rapidjson::Value& element : raw.GetArray())
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
    // Numbers: one byte each, the low 8 bits.
    return RawArrayBytes(raw, bytes);
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
