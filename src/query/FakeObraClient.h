#pragma once

// In-process stand-in for the daemon client, used by the query layer's unit tests. It records
// every request document it is given and answers from a table of canned reply texts, which go
// through CObraRequest::ParseReply like a real answer does.

#include "CObraClientRequestIf.h"
#include "CObraRequest.h"

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

class FakeObraClient : public CObraClientRequestIf
{
public:
    struct SentQuery
    {
        uint32_t Oc;
        uint32_t Oe;
        uint32_t Oi;
        std::string Document;
    };

    // A reply document with one command; data is JSON text, nullptr leaves "DA" out.
    static std::string Reply(const char* data, const char* status = "0")
    {
        std::string command = status != nullptr ? std::string("\"ST\":") + status : std::string();
        if (data != nullptr)
            command += std::string(command.empty() ? "" : ",") + "\"DA\":" + data;
        return "{\"SIP\":{\"V\":1,\"CMD\":[{" + command + "}]}}";
    }

    void Answer(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& replyText)
    {
        m_Answers[std::make_tuple(oc, oe, oi)] = {replyText, 0};
    }
    void AnswerNumber(uint32_t oc, uint32_t oe, uint32_t oi, uint32_t value)
    {
        Answer(oc, oe, oi, Reply(std::to_string(value).c_str()));
    }
    // The exchange fails in the transport with the given result code.
    void FailTransport(uint32_t oc, uint32_t oe, uint32_t oi, uint32_t code)
    {
        m_Answers[std::make_tuple(oc, oe, oi)] = {std::string(), code};
    }

    uint32_t Request(CObraRequest& request, uint32_t timeout) override
    {
        const int slot = request.Slot();
        SentQuery sent{GetCmdValue(request, slot, "OC", 0), GetCmdValue(request, slot, "OE", 0),
                       GetCmdValue(request, slot, "OI", 0), request.Serialize()};
        Sent.push_back(sent);
        LastTimeout = timeout;

        // Unanswered queries fail like a closed channel.
        CannedAnswer answer{std::string(), 19};
        auto found = m_Answers.find(std::make_tuple(sent.Oc, sent.Oe, sent.Oi));
        if (found != m_Answers.end())
            answer = found->second;
        if (answer.Transport != 0)
        {
            request.SetCommandNumber("ST", answer.Transport);
            return answer.Transport;
        }
        request.ParseReply(answer.Text.c_str());
        return GetCmdValue(request, slot, "ST", 22);
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

    std::vector<SentQuery> Sent;
    uint32_t LastTimeout = 0;

private:
    struct CannedAnswer
    {
        std::string Text;
        uint32_t Transport;
    };
    std::map<std::tuple<uint32_t, uint32_t, uint32_t>, CannedAnswer> m_Answers;
};
