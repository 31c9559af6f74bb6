#include "CObraRequest.h"

#include "CDebug.h"
#include "ObraValue.h"
#include "ReplyValueBudget.h"

#include <rapidjson/writer.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{
// The first member of an object with a fixed name, like FindMember, but with the length known
// at compile time the comparison needs no library call: every accessor goes through here.
template <size_t N> rapidjson::Value* FixedMember(rapidjson::Value& object, const char (&name)[N])
{
    for (auto member = object.MemberBegin(); member != object.MemberEnd(); ++member)
    {
        if (member->name.GetStringLength() == N - 1 && memcmp(member->name.GetString(), name, N - 1) == 0)
            return &member->value;
    }
    return nullptr;
}

// The "CMD" array when the document has the envelope {"SIP": {... "CMD": [...]}}.
rapidjson::Value* CommandArray(rapidjson::Document& document)
{
    if (!document.IsObject())
        return nullptr;
    rapidjson::Value* sip = FixedMember(document, "SIP");
    if (sip == nullptr || !sip->IsObject())
        return nullptr;
    rapidjson::Value* commands = FixedMember(*sip, "CMD");
    if (commands == nullptr || !commands->IsArray())
        return nullptr;
    return commands;
}

const rapidjson::Value* CommandArray(const rapidjson::Document& document)
{
    return CommandArray(const_cast<rapidjson::Document&>(document));
}

using TextWriter = rapidjson::Writer<rapidjson::StringBuffer>;

// Writes a value without recursion: replies are accepted however deeply they nest, and a
// recursive writer would run out of stack on them where the parser did not.
void WriteIteratively(const rapidjson::Value& root, TextWriter& writer)
{
    struct Frame
    {
        const rapidjson::Value* value;
        rapidjson::SizeType next;
    };
    std::vector<Frame> stack;

    auto writeScalarOrOpen = [&](const rapidjson::Value& value)
    {
        switch (value.GetType())
        {
        case rapidjson::kNullType:
            writer.Null();
            break;
        case rapidjson::kFalseType:
            writer.Bool(false);
            break;
        case rapidjson::kTrueType:
            writer.Bool(true);
            break;
        case rapidjson::kStringType:
            writer.String(value.GetString(), value.GetStringLength());
            break;
        case rapidjson::kNumberType:
            if (value.IsInt())
                writer.Int(value.GetInt());
            else if (value.IsUint())
                writer.Uint(value.GetUint());
            else if (value.IsInt64())
                writer.Int64(value.GetInt64());
            else if (value.IsUint64())
                writer.Uint64(value.GetUint64());
            else
                writer.Double(value.GetDouble());
            break;
        case rapidjson::kObjectType:
            writer.StartObject();
            stack.push_back({&value, 0});
            break;
        case rapidjson::kArrayType:
            writer.StartArray();
            stack.push_back({&value, 0});
            break;
        }
    };

    writeScalarOrOpen(root);
    while (!stack.empty())
    {
        Frame& top = stack.back();
        const rapidjson::Value& container = *top.value;
        if (container.IsObject())
        {
            if (top.next == container.MemberCount())
            {
                writer.EndObject(container.MemberCount());
                stack.pop_back();
                continue;
            }
            const auto& member = *(container.MemberBegin() + top.next);
            ++top.next;
            writer.Key(member.name.GetString(), member.name.GetStringLength());
            writeScalarOrOpen(member.value); // may reallocate the stack: top is not used after
        }
        else
        {
            if (top.next == container.Size())
            {
                writer.EndArray(container.Size());
                stack.pop_back();
                continue;
            }
            const rapidjson::Value& element = container[top.next];
            ++top.next;
            writeScalarOrOpen(element);
        }
    }
}

// strtoul over a JSON string, which may hold zero bytes (conversion stops there, as at any other
// unfit character).
uint32_t ConvertNumberText(const rapidjson::Value& text)
{
    std::string digits(text.GetString(), text.GetStringLength());
    size_t length = digits.size();
    if (length >= 3 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X'))
        return static_cast<uint32_t>(std::strtoul(digits.c_str() + 2, nullptr, 16));
    if (length >= 2 && digits[0] == '0')
        return static_cast<uint32_t>(std::strtoul(digits.c_str() + 1, nullptr, 8));
    return static_cast<uint32_t>(std::strtoul(digits.c_str(), nullptr, 10));
}

// Bytes that one number of a data array stands for.
uint32_t NumberWidth(const rapidjson::Value& number)
{
    if (!number.IsUint64())
        return 8;
    uint64_t value = number.GetUint64();
    if (value < 0x100)
        return 1;
    if (value < 0x10000)
        return 2;
    if (value <= 0xFFFFFFFFull)
        return 4;
    return 8;
}

uint32_t ArrayDataSize(const rapidjson::Value& array)
{
    if (array.Empty())
        return 0;
    bool allStrings = true;
    bool allNumbers = true;
    for (const auto& element : array.GetArray())
    {
        allStrings = allStrings && element.IsString();
        allNumbers = allNumbers && element.IsNumber();
    }
    uint32_t size = 0;
    if (allStrings)
    {
        for (const auto& element : array.GetArray())
            size += element.GetStringLength() + 1;
        return size + 1;
    }
    if (allNumbers)
    {
        for (const auto& element : array.GetArray())
            size += NumberWidth(element);
        return size;
    }
    return 0;
}
} // namespace

CObraRequest::CObraRequest(int slot) : m_Slot(slot)
{
    Reset();
}

bool CObraRequest::DropLargeReply()
{
    if (m_ReplyText.capacity() <= kKeptReplyCapacity)
        return false;
    Reset();
    return true;
}

void CObraRequest::Reset()
{
    // Nothing of the old content is used again, so its memory can go at once; a large reply text
    // goes too (a small one is kept to be filled again).
    m_Document.SetNull();
    m_Document.GetAllocator().Clear();
    if (m_ReplyText.capacity() > kKeptReplyCapacity)
        std::string().swap(m_ReplyText);
    m_Document.SetObject();
    auto& allocator = m_Document.GetAllocator();
    rapidjson::Value sip(rapidjson::kObjectType);
    sip.AddMember("V", 1, allocator);
    sip.AddMember("CMD", rapidjson::Value(rapidjson::kArrayType), allocator);
    m_Document.AddMember("SIP", sip, allocator);
}

rapidjson::Value& CObraRequest::CommandAtSlot()
{
    rapidjson::Value* commands = CommandArray(m_Document);
    if (commands == nullptr)
    {
        Reset();
        commands = CommandArray(m_Document);
    }
    // A negative slot cannot address a command; it is given the first one rather than nothing.
    rapidjson::SizeType index = m_Slot < 0 ? 0 : static_cast<rapidjson::SizeType>(m_Slot);
    auto& allocator = m_Document.GetAllocator();
    while (commands->Size() <= index)
        commands->PushBack(rapidjson::Value(rapidjson::kObjectType), allocator);
    rapidjson::Value& command = (*commands)[index];
    if (!command.IsObject())
        command.SetObject();
    return command;
}

void CObraRequest::SetCommandNumber(const char* key, uint32_t value, bool removeIfZero)
{
    if (key == nullptr)
        return;
    if (removeIfZero && value == 0)
    {
        RemoveCommandMember(key);
        return;
    }
    rapidjson::Value& command = CommandAtSlot();
    auto member = command.FindMember(key);
    if (member != command.MemberEnd())
    {
        member->value.SetUint(value);
        return;
    }
    auto& allocator = m_Document.GetAllocator();
    command.AddMember(rapidjson::Value(key, allocator), rapidjson::Value(value), allocator);
}

void CObraRequest::RemoveCommandMember(const char* key)
{
    if (key == nullptr)
        return;
    rapidjson::Value& command = CommandAtSlot();
    command.RemoveMember(key);
}

std::string CObraRequest::Serialize() const
{
    rapidjson::StringBuffer text;
    Serialize(text);
    return std::string(text.GetString(), text.GetSize());
}

void CObraRequest::Serialize(rapidjson::StringBuffer& text) const
{
    text.Clear();
    TextWriter writer(text);
    WriteIteratively(m_Document, writer);
}

bool CObraRequest::ParseReply(const char* text)
{
    if (text == nullptr)
    {
        Reset();
        return false;
    }
    // Copied before the document goes: the text may be one of its own strings.
    m_ReplyText.assign(text);
    return ParseReplyText();
}

bool CObraRequest::ParseReply(std::string& text)
{
    m_ReplyText.swap(text);
    return ParseReplyText();
}

bool CObraRequest::ParseReplyText()
{
    // The document's old strings are gone with their text; its values go with the allocator's
    // memory. Parsing is iterative, so however deeply a reply nests it cannot exhaust the stack.
    m_Document.SetNull();
    m_Document.GetAllocator().Clear();
    char* text = &m_ReplyText[0];
    if (ReplyValueBudget::ExceedsValues(text, m_ReplyText.size(), ReplyValueBudget::kMaxReplyValues))
    {
        g_Debug.Print(1,
                      "\nCObraRequest::ParseReply: reply of %zu bytes holds more than %zu values - refused",
                      m_ReplyText.size(), ReplyValueBudget::kMaxReplyValues);
        std::string().swap(m_ReplyText);
        Reset();
        return false;
    }
    m_Document.ParseInsitu<rapidjson::kParseIterativeFlag>(text);
    bool accepted = false;
    if (!m_Document.HasParseError() && m_Document.IsObject())
    {
        auto sip = m_Document.FindMember("SIP");
        if (sip != m_Document.MemberEnd() && sip->value.IsObject())
        {
            auto version = sip->value.FindMember("V");
            accepted = version != sip->value.MemberEnd() && version->value.IsNumber() &&
                       version->value.GetDouble() == 1.0;
        }
    }
    if (!accepted)
        Reset();
    return accepted;
}

const rapidjson::Value* GetCommand(const CObraRequest& request, int slot)
{
    const rapidjson::Value* commands = CommandArray(request.Document());
    if (commands == nullptr || slot < 0 || static_cast<rapidjson::SizeType>(slot) >= commands->Size())
        return nullptr;
    const rapidjson::Value& command = (*commands)[static_cast<rapidjson::SizeType>(slot)];
    return command.IsObject() ? &command : nullptr;
}

const rapidjson::Value* GetCommandData(const CObraRequest& request, int slot)
{
    const rapidjson::Value* command = GetCommand(request, slot);
    if (command == nullptr)
        return nullptr;
    auto data = command->FindMember("DA");
    return data == command->MemberEnd() ? nullptr : &data->value;
}

uint32_t GetCmdValue(const CObraRequest& request, int slot, const char* key, uint32_t defaultValue)
{
    const rapidjson::Value* command = GetCommand(request, slot);
    if (command == nullptr || key == nullptr)
        return defaultValue;
    auto member = command->FindMember(key);
    if (member == command->MemberEnd())
        return defaultValue;
    const rapidjson::Value& value = member->value;
    if (value.IsString())
        return ConvertNumberText(value);
    uint32_t bits = 0;
    return NumberLowBits(value, bits) ? bits : defaultValue;
}

ObraDataType GetDataType(const CObraRequest& request, int slot)
{
    const rapidjson::Value* data = GetCommandData(request, slot);
    if (data == nullptr)
        return ObraDataType::None;
    switch (data->GetType())
    {
    case rapidjson::kNullType:
        return ObraDataType::Null;
    case rapidjson::kFalseType:
        return ObraDataType::False;
    case rapidjson::kTrueType:
        return ObraDataType::True;
    case rapidjson::kObjectType:
        return ObraDataType::Object;
    case rapidjson::kArrayType:
        return ObraDataType::Array;
    case rapidjson::kStringType:
        return ObraDataType::String;
    case rapidjson::kNumberType:
        return ObraDataType::Number;
    }
    return ObraDataType::None;
}

uint32_t GetDataSize(const CObraRequest& request, int slot)
{
    const rapidjson::Value* member = GetCommandData(request, slot);
    if (member == nullptr)
        return 0;
    const rapidjson::Value& data = *member;
    switch (data.GetType())
    {
    case rapidjson::kNumberType:
        if (data.IsInt() || data.IsUint())
            return 4;
        if (data.IsInt64() || data.IsUint64())
            return 8;
        return 0;
    case rapidjson::kStringType:
        return data.GetStringLength() + 1;
    case rapidjson::kFalseType:
    case rapidjson::kTrueType:
        return 1;
    case rapidjson::kArrayType:
        return ArrayDataSize(data);
    case rapidjson::kObjectType:
    {
        auto raw = data.FindMember("RAW");
        if (raw == data.MemberEnd())
            return 0;
        if (raw->value.IsArray())
            return raw->value.Size();
        if (raw->value.IsString())
            return raw->value.GetStringLength();
        return 0;
    }
    case rapidjson::kNullType:
        return 0;
    }
    return 0;
}
