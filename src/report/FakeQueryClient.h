#pragma once

// Test support: an in-process daemon that answers each OBRA query from canned data, so the
// report's table builders run without sockets. Used by the report's tests and benchmark.

#include "CObraClientRequestIf.h"
#include "CObraRequest.h"
#include "ReportTestSupport.h"

#include <map>
#include <tuple>

class FakeQueryClient : public CObraClientRequestIf
{
public:
    // The answer's "DA" as JSON text, with status 0.
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
        Answer(oc, oe, oi, ReportTestSupport::RawJson(bytes));
    }
    void Fail(uint32_t oc, uint32_t oe, uint32_t oi, uint32_t status)
    {
        m_Answers[{oc, oe, oi}] = {status, ""};
    }

    size_t CountReceived(uint32_t oc) const { return m_Received.count(oc) ? m_Received.at(oc) : 0; }
    void ClearReceived() { m_Received.clear(); }

    uint32_t Request(CObraRequest& request, uint32_t) override
    {
        const int slot = request.Slot();
        const uint32_t oc = GetCmdValue(request, slot, "OC", 0);
        ++m_Received[oc];
        const auto answer =
            m_Answers.find({oc, GetCmdValue(request, slot, "OE", 0), GetCmdValue(request, slot, "OI", 0)});
        // A query the daemon has no object for is refused.
        const uint32_t status = answer != m_Answers.end() ? answer->second.first : 21;
        std::string reply = "{\"SIP\":{\"V\":1,\"CMD\":[";
        for (int i = 0; i < slot; ++i)
            reply += "{},";
        reply += "{\"ST\":" + std::to_string(status);
        if (answer != m_Answers.end() && !answer->second.second.empty())
            reply += ",\"DA\":" + answer->second.second;
        reply += "}]}}";
        request.ParseReply(reply.c_str());
        return status;
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

private:
    std::map<std::tuple<uint32_t, uint32_t, uint32_t>, std::pair<uint32_t, std::string>> m_Answers;
    std::map<uint32_t, size_t> m_Received;
};
