#pragma once

// Test support for the report: a builder for daemon simulator profiles and packed event-log
// records. Used by the report's end-to-end tests and its benchmark; not part of the library.

#include "FakeObraClient.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace ReportTestSupport
{
// A profile for qmxd-sim: answers keyed "OC/OE/OI" (hexadecimal), "ST" 0 unless given.
class ProfileBuilder
{
public:
    ProfileBuilder& Data(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& dataJson)
    {
        m_Answers[Key(oc, oe, oi)] = "{\"DA\":" + dataJson + "}";
        return *this;
    }
    ProfileBuilder& Number(uint32_t oc, uint32_t oe, uint32_t oi, uint64_t value)
    {
        return Data(oc, oe, oi, std::to_string(value));
    }
    ProfileBuilder& String(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& text)
    {
        return Data(oc, oe, oi, FakeObraClient::JsonString(text));
    }
    ProfileBuilder& Raw(uint32_t oc, uint32_t oe, uint32_t oi, const std::vector<uint8_t>& bytes)
    {
        return Data(oc, oe, oi, FakeObraClient::RawJson(bytes));
    }
    ProfileBuilder& Status(uint32_t oc, uint32_t oe, uint32_t oi, uint32_t status)
    {
        m_Answers[Key(oc, oe, oi)] = "{\"ST\":" + std::to_string(status) + "}";
        return *this;
    }

    std::string Text() const
    {
        std::string text = "{\n\"cabinet\": 0,\n\"unanswered\": {\"ST\": 4},\n\"answers\": {";
        bool first = true;
        for (const auto& answer : m_Answers)
        {
            text += first ? "\n" : ",\n";
            first = false;
            text += "\"" + answer.first + "\": " + answer.second;
        }
        return text + "\n}\n}\n";
    }

private:
    static std::string Key(uint32_t oc, uint32_t oe, uint32_t oi)
    {
        char key[48];
        snprintf(key, sizeof key, "0x%04X/0x%X/0x%X", oc, oe, oi);
        return key;
    }

    std::map<std::string, std::string> m_Answers;
};

// One event-log record as the management controller packs it (little-endian fields).
inline void AppendEventRecord(std::vector<uint8_t>& out, uint8_t severity, uint16_t code, int32_t time,
                              const std::string& text)
{
    const auto put = [&out](uint32_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i)
            out.push_back(static_cast<uint8_t>(value >> (8 * i)));
    };
    put(static_cast<uint32_t>(16 + text.size() + 1), 2);
    put(severity << 8, 2); // byte 2 unused, byte 3 the severity
    put(code, 2);
    put(0, 2);
    put(static_cast<uint32_t>(time), 4);
    put(0, 4);
    out.insert(out.end(), text.begin(), text.end());
    out.push_back(0);
}

} // namespace ReportTestSupport
