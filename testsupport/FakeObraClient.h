#pragma once

// In-process stand-in for the daemon client, used by the unit tests and benchmarks of the query
// and report layers. It records every request document it is given and answers from a table of
// canned reply texts, which go through CObraRequest::ParseReply like a real answer does.

#include "CObraClientRequestIf.h"
#include "CObraRequest.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
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

    // A JSON string holding text, control characters escaped.
    static std::string JsonString(const std::string& text)
    {
        std::string json = "\"";
        for (const char c : text)
        {
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(c));
            if (c == '"' || c == '\\')
                json += '\\';
            json += static_cast<unsigned char>(c) < 0x20 ? std::string(escape) : std::string(1, c);
        }
        return json + "\"";
    }
    // Raw answer data: {"RAW": [one number per byte]}.
    static std::string RawJson(const std::vector<uint8_t>& bytes)
    {
        std::string json = "{\"RAW\":[";
        for (size_t i = 0; i < bytes.size(); ++i)
            json += (i != 0 ? "," : "") + std::to_string(bytes[i]);
        return json + "]}";
    }

    void Answer(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& replyText)
    {
        m_Answers[std::make_tuple(oc, oe, oi)] = {replyText, 0};
    }
    // Status 0 with the given "DA" (JSON text).
    void AnswerData(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& dataJson)
    {
        Answer(oc, oe, oi, Reply(dataJson.c_str()));
    }
    void AnswerNumber(uint32_t oc, uint32_t oe, uint32_t oi, uint64_t value)
    {
        AnswerData(oc, oe, oi, std::to_string(value));
    }
    void AnswerString(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& text)
    {
        AnswerData(oc, oe, oi, JsonString(text));
    }
    void AnswerRaw(uint32_t oc, uint32_t oe, uint32_t oi, const std::vector<uint8_t>& bytes)
    {
        AnswerData(oc, oe, oi, RawJson(bytes));
    }
    // The daemon answers with a status and no data (21: no such object).
    void AnswerStatus(uint32_t oc, uint32_t oe, uint32_t oi, uint32_t status)
    {
        Answer(oc, oe, oi, Reply(nullptr, std::to_string(status).c_str()));
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
                       GetCmdValue(request, slot, "OI", 0), std::string()};
        if (RecordRequests)
        {
            sent.Document = request.Serialize();
            Sent.push_back(sent);
        }
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

    size_t CountSent(uint32_t oc) const
    {
        return std::count_if(Sent.begin(), Sent.end(), [oc](const SentQuery& q) { return q.Oc == oc; });
    }

    std::vector<SentQuery> Sent;
    uint32_t LastTimeout = 0;
    // Benchmarks with many thousands of queries turn the record off.
    bool RecordRequests = true;

private:
    struct CannedAnswer
    {
        std::string Text;
        uint32_t Transport;
    };
    std::map<std::tuple<uint32_t, uint32_t, uint32_t>, CannedAnswer> m_Answers;
};
