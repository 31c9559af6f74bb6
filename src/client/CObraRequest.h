#pragma once

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>

#include <cstdint>
#include <string>

// Kind of a command's "DA" member. None means the document lacks the shape or the member.
enum class ObraDataType
{
    None = 0,
    Null,
    False,
    True,
    Object,
    Array,
    String,
    Number,
};

// One OBRA document {"SIP": {"V": 1, "CMD": [commands]}} and the command slot that the caller
// fills and reads back. The same shape travels in both directions: an exchange replaces the
// content with the daemon's answer.
class CObraRequest
{
public:
    explicit CObraRequest(int slot = 0);
    CObraRequest(const CObraRequest&) = delete;
    CObraRequest& operator=(const CObraRequest&) = delete;

    // Rebuilds the skeleton {"SIP": {"V": 1, "CMD": []}}.
    void Reset();
    // Resets the document when its content came from a large reply (more than
    // kKeptReplyCapacity bytes of text), so that text and tree are freed before the next
    // exchange brings another one, and none of it travels back in the next request. True when
    // it did. A usual reply is kept as it is.
    bool DropLargeReply();
    static constexpr size_t kKeptReplyCapacity = 64 * 1024;

    rapidjson::Document& Document() { return m_Document; }
    const rapidjson::Document& Document() const { return m_Document; }
    int Slot() const { return m_Slot; }
    void SetSlot(int slot) { m_Slot = slot; }

    // The command object at the slot, appending empty objects to "CMD" while it is shorter
    // (the skeleton is rebuilt first when the document lacks the shape).
    rapidjson::Value& CommandAtSlot();

    // Sets (or, with removeIfZero and a zero value, removes) an unsigned member of the slot.
    void SetCommandNumber(const char* key, uint32_t value, bool removeIfZero = false);
    void RemoveCommandMember(const char* key);

    // Compact serialisation of the whole document.
    std::string Serialize() const;
    // The same into a buffer that the caller keeps between calls (it is cleared first), so that
    // a serialisation per exchange costs no allocation once the buffer has grown.
    void Serialize(rapidjson::StringBuffer& text) const;
    // Replaces the content with a parsed reply. Accepted only when it parses, is an object, "SIP"
    // is an object and "SIP"."V" equals 1; otherwise the skeleton is left and false returned.
    // Parsing is iterative, so deeply nested input cannot exhaust the stack.
    bool ParseReply(const char* text);
    // The same for a reply text that the request may take over: it is parsed in place (the
    // document's strings point into it), and text gets the request's previous reply buffer back,
    // ready to be filled again.
    bool ParseReply(std::string& text);

private:
    bool ParseReplyText();

    // Each reset and each reply starts the document's memory afresh.
    rapidjson::Document m_Document;
    // The reply text the document was parsed from in place; its strings live here until the
    // next reset or reply.
    std::string m_ReplyText;
    int m_Slot;
};

// Accessors for the command at a slot, with the defaults of a missing shape or member.
uint32_t GetCmdValue(const CObraRequest& request, int slot, const char* key, uint32_t defaultValue);
ObraDataType GetDataType(const CObraRequest& request, int slot);
uint32_t GetDataSize(const CObraRequest& request, int slot);
// The slot's command object, or nullptr when the document lacks the shape.
const rapidjson::Value* GetCommand(const CObraRequest& request, int slot);
// The slot's "DA" member, or nullptr when the document lacks the shape or the member.
const rapidjson::Value* GetCommandData(const CObraRequest& request, int slot);
