#include "SimProfile.h"

#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace
{
// Keys beginning with "_" are notes for the reader of the profile and are skipped.
bool IsNote(const std::string& key)
{
    return !key.empty() && key[0] == '_';
}

bool GetInt(const std::string& where, const rapidjson::Value& value, int low, int high, int& out,
            std::string& error)
{
    if (!value.IsInt() || value.GetInt() < low || value.GetInt() > high)
    {
        error =
            where + ": expected a whole number from " + std::to_string(low) + " to " + std::to_string(high);
        return false;
    }
    out = value.GetInt();
    return true;
}

bool GetBool(const std::string& where, const rapidjson::Value& value, bool& out, std::string& error)
{
    if (!value.IsBool())
    {
        error = where + ": expected true or false";
        return false;
    }
    out = value.GetBool();
    return true;
}

std::string Compact(const rapidjson::Value& value)
{
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize());
}
} // namespace

bool ParseProfileNumber(const std::string& text, uint32_t& value)
{
    if (text.empty() || text[0] == '-' || text[0] == '+' || text[0] == ' ')
        return false;
    bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* begin = text.c_str() + (hex ? 2 : 0);
    char* end = nullptr;
    errno = 0;
    unsigned long long number = std::strtoull(begin, &end, hex ? 16 : 10);
    if (errno != 0 || end == begin || *end != '\0' || number > UINT32_MAX)
        return false;
    value = static_cast<uint32_t>(number);
    return true;
}

SimProfile::SimProfile() : m_UnansweredStatus(4), m_Cabinet(0u)
{
    m_Unanswered.status = &m_UnansweredStatus;
}

bool SimProfile::Load(const std::string& path, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
    {
        error = "cannot read profile " + path;
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (!Parse(text.str(), error))
    {
        error = path + ": " + error;
        return false;
    }
    return true;
}

bool SimProfile::Parse(const std::string& text, std::string& error)
{
    constexpr unsigned kFlags = rapidjson::kParseCommentsFlag | rapidjson::kParseTrailingCommasFlag;
    m_Document.Parse<kFlags>(text.c_str(), text.size());
    if (m_Document.HasParseError())
    {
        error = std::string("JSON error at offset ") + std::to_string(m_Document.GetErrorOffset()) + ": " +
                rapidjson::GetParseError_En(m_Document.GetParseError());
        return false;
    }
    if (!m_Document.IsObject())
    {
        error = "the profile must be a JSON object";
        return false;
    }
    for (auto& member : m_Document.GetObject())
    {
        std::string name = member.name.GetString();
        const rapidjson::Value& value = member.value;
        if (IsNote(name))
            continue;
        if (name == "cabinet")
        {
            if (!(value.IsUint() || (value.IsObject() && value.HasMember("RAW"))))
            {
                error = "\"cabinet\": expected a number or an object holding \"RAW\"";
                return false;
            }
            m_Cabinet.CopyFrom(value, m_Document.GetAllocator());
        }
        else if (name == "unanswered")
        {
            if (!ParseAnswer("\"unanswered\"", value, m_Unanswered, error))
                return false;
            if (m_Unanswered.status == nullptr)
                m_Unanswered.status = &m_UnansweredStatus;
        }
        else if (name == "answers")
        {
            if (!ParseAnswers(value, error))
                return false;
        }
        else if (name == "events")
        {
            if (!ParseEvents(value, error))
                return false;
        }
        else if (name == "counts")
        {
            if (!value.IsUint())
            {
                error = "\"counts\": expected a number from 0 to 4294967295";
                return false;
            }
            m_CountData.SetUint(value.GetUint());
            m_CountAnswer.data = &m_CountData;
            m_HasCounts = true;
        }
        else if (name == "push_on_register")
        {
            if (!GetBool("\"push_on_register\"", value, m_PushOnRegister, error))
                return false;
        }
        else
        {
            error = "unknown member \"" + name + "\" (notes must begin with \"_\")";
            return false;
        }
    }
    return true;
}

bool SimProfile::ParseKey(const std::string& text, Key& key)
{
    std::vector<std::string> parts;
    std::string::size_type start = 0;
    while (true)
    {
        std::string::size_type slash = text.find('/', start);
        parts.push_back(text.substr(start, slash - start));
        if (slash == std::string::npos)
            break;
        start = slash + 1;
    }
    if (parts.size() > 3)
        return false;
    uint32_t oc = 0;
    if (!ParseProfileNumber(parts[0], oc) || oc > 0xFFFF)
        return false;
    int64_t rest[2] = {0, 0};
    for (size_t i = 1; i < parts.size(); ++i)
    {
        uint32_t number = 0;
        if (parts[i] == "*")
            rest[i - 1] = -1;
        else if (ParseProfileNumber(parts[i], number))
            rest[i - 1] = number;
        else
            return false;
    }
    key = Key(oc, rest[0], rest[1]);
    return true;
}

bool SimProfile::ParseAnswers(const rapidjson::Value& answers, std::string& error)
{
    if (!answers.IsObject())
    {
        error = "\"answers\" must be an object";
        return false;
    }
    for (auto& member : answers.GetObject())
    {
        std::string name = member.name.GetString();
        if (IsNote(name))
            continue;
        std::string where = "answer \"" + name + "\"";
        Key key;
        if (!ParseKey(name, key))
        {
            error = where + ": the key must be \"OC\", \"OC/OE\" or \"OC/OE/OI\" with hexadecimal (0x..) "
                            "or decimal numbers, \"*\" for any OE or OI";
            return false;
        }
        if (m_Answers.count(key) != 0)
        {
            error = where + ": the same command is answered twice";
            return false;
        }
        if (!ParseAnswer(where, member.value, m_Answers[key], error))
            return false;
    }
    return true;
}

bool SimProfile::ParseAnswer(const std::string& where, const rapidjson::Value& value, SimAnswer& answer,
                             std::string& error)
{
    if (!value.IsObject())
    {
        error = where + ": expected an object with \"ST\", \"DA\" and/or \"fault\"";
        return false;
    }
    for (auto& member : value.GetObject())
    {
        std::string name = member.name.GetString();
        if (IsNote(name))
            continue;
        if (name == "ST")
        {
            if (!member.value.IsUint() && !member.value.IsString())
            {
                error = where + ": \"ST\" must be a number or a string";
                return false;
            }
            answer.status = &member.value;
        }
        else if (name == "DA")
            answer.data = &member.value;
        else if (name == "repeat")
        {
            if (!ParseRepeat(where + " \"repeat\"", member.value, answer, error))
                return false;
        }
        else if (name == "fault")
        {
            answer.hasFault = true;
            if (!ParseFault(where + " fault", member.value, answer.fault, error))
                return false;
        }
        else
        {
            error = where + ": unknown member \"" + name + "\"";
            return false;
        }
    }
    return true;
}

bool SimProfile::ParseFault(const std::string& where, const rapidjson::Value& value, SimFault& fault,
                            std::string& error)
{
    if (!value.IsObject())
    {
        error = where + ": expected an object";
        return false;
    }
    for (auto& member : value.GetObject())
    {
        std::string name = member.name.GetString();
        std::string at = where + " \"" + name + "\"";
        const rapidjson::Value& item = member.value;
        bool ok = true;
        if (IsNote(name))
            continue;
        if (name == "delay_ms")
            ok = GetInt(at, item, 0, 600000, fault.delayMs, error);
        else if (name == "chunks")
            ok = GetInt(at, item, 0, 100000, fault.chunks, error);
        else if (name == "chunk_gap_ms")
            ok = GetInt(at, item, 0, 60000, fault.chunkGapMs, error);
        else if (name == "version")
        {
            fault.hasVersion = true;
            ok = GetInt(at, item, INT_MIN, INT_MAX, fault.version, error);
        }
        else if (name == "short_by")
            ok = GetInt(at, item, 1, 1 << 30, fault.shortBy, error);
        else if (name == "hangup")
            ok = GetBool(at, item, fault.hangup, error);
        else if (name == "omit_status")
            ok = GetBool(at, item, fault.omitStatus, error);
        else if (name == "count")
            ok = GetInt(at, item, 0, INT_MAX, fault.count, error);
        else if (name == "stall")
            ok = GetBool(at, item, fault.stall, error);
        else if (name == "reply_text")
        {
            if (!item.IsString())
            {
                error = at + ": expected a string";
                return false;
            }
            fault.hasReplyText = true;
            fault.replyText.assign(item.GetString(), item.GetStringLength());
        }
        else
        {
            error = where + ": unknown member \"" + name + "\"";
            return false;
        }
        if (!ok)
            return false;
    }
    return true;
}

bool SimProfile::ParseEvents(const rapidjson::Value& events, std::string& error)
{
    if (!events.IsArray())
    {
        error = "\"events\" must be an array of event documents";
        return false;
    }
    for (auto& event : events.GetArray())
    {
        if (!event.IsObject())
        {
            error = "\"events\": every event must be a JSON object such as {\"SIP\": {...}}";
            return false;
        }
        m_Events.push_back(Compact(event));
    }
    return true;
}

const SimAnswer* SimProfile::Find(uint32_t oc, uint32_t oe, uint32_t oi) const
{
    const Key tries[] = {Key(oc, oe, oi), Key(oc, oe, -1), Key(oc, -1, oi), Key(oc, -1, -1)};
    for (const Key& key : tries)
    {
        auto found = m_Answers.find(key);
        if (found != m_Answers.end())
            return &found->second;
    }
    if (m_HasCounts && IsCountQuery(oc))
        return &m_CountAnswer;
    return nullptr;
}

bool SimProfile::IsCountQuery(uint32_t oc)
{
    // The member counts the daemon reports: cooling devices, temperature sensors, power
    // supplies, voltages, processors, memory modules, PCI slots, adapters, RAID adapters, and
    // the physical and logical drives of a RAID adapter.
    static const uint32_t kCounts[] = {0x0300, 0x0400, 0x0500, 0x0520, 0x0600, 0x0700,
                                       0x1480, 0x1800, 0x2110, 0x2130, 0x2150};
    return std::find(std::begin(kCounts), std::end(kCounts), oc) != std::end(kCounts);
}

bool SimProfile::ParseRepeat(const std::string& where, const rapidjson::Value& value, SimAnswer& answer,
                             std::string& error)
{
    auto text = value.IsObject() ? value.FindMember("text") : rapidjson::Value::ConstMemberIterator();
    auto bytes = value.IsObject() ? value.FindMember("bytes") : rapidjson::Value::ConstMemberIterator();
    if (!value.IsObject() || value.MemberCount() != 2 || text == value.MemberEnd() ||
        !text->value.IsString() || text->value.GetStringLength() == 0 || bytes == value.MemberEnd() ||
        !bytes->value.IsUint())
    {
        error = where + ": expected {\"text\": \"<not empty>\", \"bytes\": <number>}";
        return false;
    }
    answer.hasRepeat = true;
    answer.repeatText.assign(text->value.GetString(), text->value.GetStringLength());
    answer.repeatBytes = bytes->value.GetUint();
    return true;
}
