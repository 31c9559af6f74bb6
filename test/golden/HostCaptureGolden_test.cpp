// One full run of the real program against the simulated daemon with the golden profile (every
// query answered, every code of every code table sent), compared byte for byte with the
// checked-in page, the messages the user read and the conversation the daemon saw. Any change
// of a text, code, status, number format, query or their order shows here as a diff;
// scripts/regen-golden rewrites the files when the change is intended.
#include "GoldenFile.h"
#include "ProgramRun.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <regex>

namespace
{
// The page's only varying text: the local time of the run between the title and the sections.
const char kDateMark[] = "YYYY-MM-DD hh:mm:ss";

// Replaces the report date by kDateMark; false when the page has no date where it belongs.
bool MaskReportDate(std::string& page)
{
    static const std::regex date("<h3>\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d</h3>");
    std::smatch found;
    if (!std::regex_search(page, found, date))
        return false;
    page.replace(static_cast<size_t>(found.position(0)) + 4, 19, kDateMark);
    return true;
}

std::string Compact(const rapidjson::Value& value)
{
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return buffer.GetString();
}

// Bytes 65 to 68 of the channel registration block: the client's descriptor number, which depends
// on the descriptors that the test runner hands down to the program.
constexpr size_t kDescriptorFirst = 65;
constexpr size_t kDescriptorLast = 68;

// A long byte array of {"RAW": [...]} (the channel registration block) as hexadecimal pairs, the
// descriptor field as "??" and the run of trailing zero bytes left out; empty for anything else.
std::string DescribeRawBlock(const rapidjson::Value& data)
{
    if (!data.IsObject() || data.MemberCount() != 1 || !data.HasMember("RAW") || !data["RAW"].IsArray() ||
        data["RAW"].Size() <= 16)
        return std::string();
    std::string bytes;
    size_t significant = 0;
    for (const auto& element : data["RAW"].GetArray())
    {
        if (!element.IsUint() || element.GetUint() > 0xFF)
            return std::string();
        const size_t index = bytes.size() / 2;
        char pair[4];
        snprintf(pair, sizeof pair, "%02x", element.GetUint());
        const bool descriptor = index >= kDescriptorFirst && index <= kDescriptorLast;
        bytes += descriptor ? "??" : pair;
        if (element.GetUint() != 0 || descriptor)
            significant = bytes.size();
    }
    return "RAW[" + std::to_string(data["RAW"].Size()) + " bytes]:" + bytes.substr(0, significant) + "00...";
}

// One command as "OC=0x0C00 OE=0x0608 CA=259 ...": members in the order they were sent, codes in
// hexadecimal, anything else as compact JSON.
std::string DescribeCommand(const rapidjson::Value& command)
{
    if (!command.IsObject())
        return Compact(command);
    std::string text;
    for (const auto& member : command.GetObject())
    {
        const std::string name = member.name.GetString();
        char number[32];
        if ((name == "OC" || name == "OE" || name == "OI") && member.value.IsUint())
            snprintf(number, sizeof number, "0x%04X", member.value.GetUint());
        else if (name == "CA" && member.value.IsUint())
            snprintf(number, sizeof number, "%u", member.value.GetUint());
        else
            number[0] = '\0';
        std::string value = number[0] ? number : DescribeRawBlock(member.value);
        text += (text.empty() ? "" : " ") + name + "=" + (value.empty() ? Compact(member.value) : value);
    }
    return text;
}

// The request log, one line per command; a document of any other shape as it arrived.
std::string DescribeRequests(const std::vector<std::string>& logLines)
{
    std::string text;
    for (const std::string& line : logLines)
    {
        rapidjson::Document request;
        request.Parse(line.c_str());
        const rapidjson::Value* commands = nullptr;
        if (!request.HasParseError() && request.IsObject() && request.MemberCount() == 1 &&
            request.HasMember("SIP") && request["SIP"].IsObject() && request["SIP"].MemberCount() == 2 &&
            request["SIP"].HasMember("V") && request["SIP"]["V"] == 1 && request["SIP"].HasMember("CMD") &&
            request["SIP"]["CMD"].IsArray())
            commands = &request["SIP"]["CMD"];
        if (commands == nullptr)
        {
            text += "document " + line + "\n";
            continue;
        }
        // Further commands of the same request are marked, so that a change of batching shows.
        const char* mark = "";
        for (const auto& command : commands->GetArray())
        {
            text += mark + DescribeCommand(command) + "\n";
            mark = "  + ";
        }
    }
    return text;
}
} // namespace

TEST(GoldenReport, PageMessagesAndRequestsMatchTheCheckedInRun)
{
    TempDir root;
    TempDir work;
    SimProcess sim(root.Path());
    ASSERT_TRUE(sim.Start(GoldenPath("profile.json"))) << sim.Error();
    const ProgramRun run = RunProgram(HOSTCAPTURE_EXECUTABLE, {"-output", "golden.html", "-clearstatus"},
                                      work.Path(), {{"HOSTCAPTURE_SYSROOT", root.Path()}, {"TZ", "UTC"}});
    ASSERT_EQ(run.exitStatus, 0) << run.output << run.errors;

    std::string page = ReadFile(work.Path() + "/golden.html");
    ASSERT_TRUE(MaskReportDate(page)) << "no report date in the page";
    EXPECT_EQ(CompareWithGolden(page, "report.html"), "");
    EXPECT_EQ(CompareWithGolden(run.output, "run-output.txt"), "");
    EXPECT_EQ(CompareWithGolden(DescribeRequests(sim.RequestLogLines()), "requests.txt"), "");
}
