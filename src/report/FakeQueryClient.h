#pragma once

// Test support: an in-process daemon that answers each OBRA query from canned data, so the
// report's table builders can be driven without sockets. Used by the report's tests and benchmark.

#include "CObraClientRequestIf.h"
#include "CObraRequest.h"
#include "ReportTestSupport.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <tuple>
#include <vector>

class FakeQueryClient : public CObraClientRequestIf
{
public:
    struct Query
    {
        uint32_t Oc, Oe, Oi;
        bool HasOe, HasOi, HasCa;
    };

    // The "DA" of the answer as JSON text, with status 0.
    void Answer(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& dataJson)
    {
        m_Answers[{oc, oe, oi}] = {0, dataJson};
    }
    void AnswerNumber(uint32_t oc, uint32_t oe, uint32_t oi, uint64_t value)
    {
        Answer(oc, oe, oi, std::to_string(value));
    }
    void AnswerString(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& text)
    {
        Answer(oc, oe, oi, ReportTestSupport::JsonString(text));
    }
    void AnswerRaw(uint32_t oc, uint32_t oe, uint32_t oi, const std::vector<uint8_t>& bytes)
    {
        std::string json = "{\"RAW\":[";
        for (size_t i = 0; i < bytes.size(); ++i)
        {
            if (i != 0)
                json += ',';
            json += std::to_string(bytes[i]);
        }
        json += "]}";
        Answer(oc, oe, oi, json);
    }
    void Fail(uint32_t oc, uint32_t oe, uint32_t oi, uint32_t status)
    {
        m_Answers[{oc, oe, oi}] = {status, ""};
    }

    const std::vector<Query>& Received() const { return m_Received; }
    size_t CountReceived(uint32_t oc) const
    {
        size_t count = 0;
        for (const Query& query : m_Received)
            count += query.Oc == oc;
        return count;
    }
    void ClearReceived() { m_Received.clear(); }
    void SetRecording(bool on) { m_Recording = on; }

    // CObraClientRequestIf
    bool Attach(const char*) override { return true; }
    void Detach() override {}
    uint32_t Request(CObraRequest& request, uint32_t) override
    {
        const int slot = request.Slot();
        const rapidjson::Value* command = GetCommand(request, slot);
        Query query{GetCmdValue(request, slot, "OC", 0),
                    GetCmdValue(request, slot, "OE", 0),
                    GetCmdValue(request, slot, "OI", 0),
                    false,
                    false,
                    false};
        if (command != nullptr && command->IsObject())
        {
            query.HasOe = command->HasMember("OE");
            query.HasOi = command->HasMember("OI");
            query.HasCa = command->HasMember("CA");
        }
        if (m_Recording)
            m_Received.push_back(query);

        uint32_t status = 21; // what the daemon says to a query it has no object for
        std::string data;
        const auto answer = m_Answers.find({query.Oc, query.Oe, query.Oi});
        if (answer != m_Answers.end())
        {
            status = answer->second.first;
            data = answer->second.second;
        }
        std::string reply = "{\"SIP\":{\"V\":1,\"CMD\":[";
        for (int i = 0; i < slot; ++i)
            reply += "{},";
        reply += "{\"OC\":" + std::to_string(query.Oc) + ",\"ST\":" + std::to_string(status);
        if (!data.empty())
            reply += ",\"DA\":" + data;
        reply += "}]}}";
        request.ParseReply(reply.c_str());
        return status;
    }
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

private:
    std::map<std::tuple<uint32_t, uint32_t, uint32_t>, std::pair<uint32_t, std::string>> m_Answers;
    std::vector<Query> m_Received;
    bool m_Recording = true;
};
