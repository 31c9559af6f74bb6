#include "SimResponder.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cstring>

namespace
{
std::string Compact(const rapidjson::Value& value)
{
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize());
}

uint32_t MemberNumber(const rapidjson::Value& command, const char* name)
{
    auto found = command.FindMember(name);
    if (found == command.MemberEnd() || !found->value.IsUint())
        return 0;
    return found->value.GetUint();
}

void SetMember(rapidjson::Value& object, const char* name, rapidjson::Value& value,
               rapidjson::Document::AllocatorType& allocator)
{
    auto found = object.FindMember(name);
    if (found != object.MemberEnd())
        found->value = value;
    else
        object.AddMember(rapidjson::StringRef(name), value, allocator);
}

// The reply data of channel-init: the daemon's name and its own descriptor for the channel at
// bytes 65 to 68 (little-endian), the rest zero.
rapidjson::Value RegistrationBlock(int channelFd, rapidjson::Document::AllocatorType& allocator)
{
    unsigned char block[SimResponder::kRegistrationBlockSize] = {};
    std::memcpy(block, "qmxd", 4);
    uint32_t fd = static_cast<uint32_t>(channelFd);
    for (int i = 0; i < 4; ++i)
        block[65 + i] = static_cast<unsigned char>(fd >> (8 * i));
    rapidjson::Value raw(rapidjson::kArrayType);
    for (unsigned char byte : block)
        raw.PushBack(static_cast<unsigned>(byte), allocator);
    rapidjson::Value data(rapidjson::kObjectType);
    data.AddMember("RAW", raw, allocator);
    return data;
}

// A string of exactly repeatBytes bytes: repeatText over and over, the last copy cut short.
rapidjson::Value RepeatedText(const SimAnswer& answer, rapidjson::Document::AllocatorType& allocator)
{
    std::string text;
    text.reserve(answer.repeatBytes);
    while (text.size() < answer.repeatBytes)
        text.append(answer.repeatText, 0, answer.repeatBytes - text.size());
    return rapidjson::Value(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

void MergeFault(const SimFault& fault, SimReply& reply, bool& hasVersion, int& version, bool& hasText)
{
    reply.delayMs = std::max(reply.delayMs, fault.delayMs);
    if (fault.chunks > reply.chunks)
    {
        reply.chunks = fault.chunks;
        reply.chunkGapMs = fault.chunkGapMs;
    }
    reply.shortBy = std::max(reply.shortBy, fault.shortBy);
    reply.hangup = reply.hangup || fault.hangup;
    reply.stall = reply.stall || fault.stall;
    if (fault.hasVersion)
    {
        hasVersion = true;
        version = fault.version;
    }
    if (fault.hasReplyText)
    {
        reply.text = fault.replyText;
        hasText = true;
    }
}
} // namespace

SimReply SimResponder::Answer(const std::string& requestText, int channelFd) const
{
    SimReply reply;
    rapidjson::Document document;
    document.Parse(requestText.c_str());
    if (document.HasParseError())
    {
        // Logged so that tests can see what arrived; answered with an empty command list, which
        // the client reads as a missing status.
        rapidjson::Document note(rapidjson::kObjectType);
        rapidjson::Value text(requestText.c_str(), static_cast<rapidjson::SizeType>(requestText.size()),
                              note.GetAllocator());
        note.AddMember("unparsed", text, note.GetAllocator());
        reply.logLine = Compact(note);
        reply.text = "{\"SIP\":{\"V\":1,\"CMD\":[]}}";
        return reply;
    }
    reply.logLine = Compact(document);

    auto& allocator = document.GetAllocator();
    bool hasVersion = false;
    int version = 1;
    bool hasText = false;
    rapidjson::Value* commands = nullptr;
    if (document.IsObject() && document.HasMember("SIP") && document["SIP"].IsObject() &&
        document["SIP"].HasMember("CMD") && document["SIP"]["CMD"].IsArray())
        commands = &document["SIP"]["CMD"];

    for (rapidjson::SizeType i = 0; commands != nullptr && i < commands->Size(); ++i)
    {
        rapidjson::Value& command = (*commands)[i];
        if (!command.IsObject())
            continue;
        uint32_t oc = MemberNumber(command, "OC");
        uint32_t oe = MemberNumber(command, "OE");
        uint32_t oi = MemberNumber(command, "OI");
        bool builtIn = oc == kChannelInit || oc == kCabinetNumber;
        const SimAnswer* answer = m_Profile.Find(oc, oe, oi);
        if (answer == nullptr && !builtIn)
            answer = &m_Profile.Unanswered();
        if (oc == kChannelInit && oe == kEventChannelKind)
            reply.eventRegistration = true;

        bool omitStatus = false;
        if (answer != nullptr && answer->TakeFault())
        {
            MergeFault(answer->fault, reply, hasVersion, version, hasText);
            omitStatus = answer->fault.omitStatus;
        }

        rapidjson::Value status(0u);
        if (answer != nullptr && answer->status != nullptr)
            status.CopyFrom(*answer->status, allocator);
        if (omitStatus)
            command.RemoveMember("ST");
        else
            SetMember(command, "ST", status, allocator);

        rapidjson::Value data;
        bool hasData = true;
        if (answer != nullptr && answer->hasRepeat)
            data = RepeatedText(*answer, allocator);
        else if (answer != nullptr && answer->data != nullptr)
            data.CopyFrom(*answer->data, allocator);
        else if (oc == kChannelInit)
            data = RegistrationBlock(channelFd, allocator);
        else if (oc == kCabinetNumber)
            data.CopyFrom(m_Profile.Cabinet(), allocator);
        else
            hasData = false;
        if (hasData)
            SetMember(command, "DA", data, allocator);
        else
            command.RemoveMember("DA");
    }

    if (hasVersion && document.IsObject() && document.HasMember("SIP") && document["SIP"].IsObject())
    {
        rapidjson::Value number(version);
        SetMember(document["SIP"], "V", number, allocator);
    }
    if (!hasText)
        reply.text = Compact(document);
    return reply;
}
