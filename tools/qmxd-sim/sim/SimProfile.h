#pragma once

#include "SimAnswer.h"

#include <rapidjson/document.h>

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

// The daemon's knowledge: a hand-editable JSON file (comments and trailing commas allowed) that
// says what to answer for each (OC, OE, OI), which cabinet number to report and which events to
// push. README.md beside this folder describes the format. A profile is immutable once loaded,
// except for the use counters of limited faults.
class SimProfile
{
public:
    SimProfile();
    SimProfile(const SimProfile&) = delete;
    SimProfile& operator=(const SimProfile&) = delete;

    // Reads and checks a profile; on failure error says what is wrong and where.
    bool Load(const std::string& path, std::string& error);
    bool Parse(const std::string& text, std::string& error);

    // The answer for a command: the exact key first, then keys with "*" for OI, for OE, for both.
    // Null when the profile has none.
    const SimAnswer* Find(uint32_t oc, uint32_t oe, uint32_t oi) const;
    // The answer for commands that the profile does not know ("unanswered", default {"ST": 4}).
    const SimAnswer& Unanswered() const { return m_Unanswered; }
    // The reply data of the cabinet-number command: a number or an object holding "RAW".
    const rapidjson::Value& Cabinet() const { return m_Cabinet; }
    // The events, each as compact JSON text, in profile order.
    const std::vector<std::string>& Events() const { return m_Events; }
    // Whether a freshly registered event channel receives the events at once (default true).
    bool PushOnRegister() const { return m_PushOnRegister; }
    size_t AnswerCount() const { return m_Answers.size(); }

private:
    // OE and OI are -1 for "*".
    using Key = std::tuple<uint32_t, int64_t, int64_t>;

    bool ParseAnswers(const rapidjson::Value& answers, std::string& error);
    bool ParseAnswer(const std::string& where, const rapidjson::Value& value, SimAnswer& answer,
                     std::string& error);
    bool ParseFault(const std::string& where, const rapidjson::Value& value, SimFault& fault,
                    std::string& error);
    bool ParseEvents(const rapidjson::Value& events, std::string& error);
    static bool ParseRepeat(const std::string& where, const rapidjson::Value& value, SimAnswer& answer,
                            std::string& error);
    static bool IsCountQuery(uint32_t oc);
    static bool ParseKey(const std::string& text, Key& key);

    rapidjson::Document m_Document;
    std::map<Key, SimAnswer> m_Answers;
    SimAnswer m_Unanswered;
    rapidjson::Value m_UnansweredStatus;
    rapidjson::Value m_Cabinet;
    std::vector<std::string> m_Events;
    bool m_PushOnRegister = true;
    // "counts": the answer of every member-count query that "answers" does not list.
    bool m_HasCounts = false;
    rapidjson::Value m_CountData;
    SimAnswer m_CountAnswer;
};

// Reads "0x1A" as hexadecimal and "26" as decimal; the whole text must be a number below 2^32.
bool ParseProfileNumber(const std::string& text, uint32_t& value);
