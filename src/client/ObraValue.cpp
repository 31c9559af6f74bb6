#include "ObraValue.h"

bool NumberLowBits(const rapidjson::Value& number, uint32_t& bits)
{
    if (number.IsUint64())
    {
        bits = static_cast<uint32_t>(number.GetUint64());
        return true;
    }
    if (number.IsInt64())
    {
        bits = static_cast<uint32_t>(static_cast<uint64_t>(number.GetInt64()));
        return true;
    }
    if (!number.IsNumber())
        return false;
    const double fraction = number.GetDouble();
    if (fraction >= 0.0 && fraction < 18446744073709551616.0)
        bits = static_cast<uint32_t>(static_cast<uint64_t>(fraction));
    else if (fraction < 0.0 && fraction >= -9223372036854775808.0)
        bits = static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(fraction)));
    else
        return false;
    return true;
}

const rapidjson::Value* RawArray(const rapidjson::Value& data)
{
    if (!data.IsObject())
        return nullptr;
    auto raw = data.FindMember("RAW");
    if (raw == data.MemberEnd() || !raw->value.IsArray())
        return nullptr;
    return &raw->value;
}

bool RawArrayBytes(const rapidjson::Value& raw, std::vector<uint8_t>& bytes)
{
    bytes.reserve(bytes.size() + raw.Size());
    for (const rapidjson::Value& element : raw.GetArray())
    {
        uint32_t bits = 0;
        if (!(element.IsUint64() || element.IsInt64()) || !NumberLowBits(element, bits))
            return false;
        bytes.push_back(static_cast<uint8_t>(bits & 0xFF));
    }
    return true;
}
