#include "CObraRequest.h"
#include "ReplyValueBudget.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace
{
const char* const kSkeleton = R"({"SIP":{"V":1,"CMD":[]}})";

// A request holding the reply {"SIP":{"V":1,"CMD":[<commands>]}}.
bool LoadCommands(CObraRequest& request, const std::string& commands)
{
    return request.ParseReply((R"({"SIP":{"V":1,"CMD":[)" + commands + "]}}").c_str());
}
} // namespace

TEST(CObraRequest, BuildsCommandsAtItsSlot)
{
    CObraRequest request(2);
    EXPECT_EQ(request.Serialize(), kSkeleton);
    request.SetCommandNumber("OC", 0xE204);
    request.SetCommandNumber("OE", 7);
    request.SetCommandNumber("OE", 9); // replaces, does not duplicate
    request.SetCommandNumber("OI", 0, true);
    request.SetCommandNumber("CA", 0);
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[{},{},{"OC":57860,"OE":9,"CA":0}]}})");
    request.SetCommandNumber("OE", 0, true);
    request.RemoveCommandMember("CA");
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[{},{},{"OC":57860}]}})");

    // A document that lost its shape is rebuilt before the slot is filled.
    request.Document().SetArray();
    request.SetCommandNumber("OC", 1);
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[{},{},{"OC":1}]}})");
    request.Reset();
    EXPECT_EQ(request.Serialize(), kSkeleton);
}

TEST(CObraRequest, AcceptsOnlyVersionOneEnvelopes)
{
    CObraRequest request;
    for (const char* bad : {R"({"SIP":{"V":2,"CMD":[{"ST":0}]}})", R"({"SIP":{"CMD":[{"ST":0}]}})",
                            R"({"SIP":[1]})", R"([{"SIP":{"V":1}}])", R"({"SIP":{"V":1,"CMD":[)",
                            R"({"SIP":{"V":"1"}})", "", R"({"SIP":{"V":1}} trailing)"})
    {
        ASSERT_TRUE(LoadCommands(request, R"({"ST":0})"));
        EXPECT_EQ(GetCmdValue(request, 0, "ST", 22), 0u);
        EXPECT_FALSE(request.ParseReply(bad)) << bad;
        EXPECT_EQ(request.Serialize(), kSkeleton) << bad;
    }
    EXPECT_FALSE(request.ParseReply(nullptr));
}

TEST(CObraRequest, SurvivesDeeplyNestedReplies)
{
    const size_t depth = 200000;
    std::string reply =
        R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":)" + std::string(depth, '[') + std::string(depth, ']') + "}]}}";
    CObraRequest request;
    ASSERT_TRUE(request.ParseReply(reply.c_str()));
    EXPECT_EQ(GetDataSize(request, 0), 0u);
    EXPECT_EQ(request.Serialize(), reply); // a reused document goes out again as it is
    std::string unbalanced = R"({"SIP":{"V":1,"CMD":[{"DA":)" + std::string(depth, '{');
    EXPECT_FALSE(request.ParseReply(unbalanced.c_str()));
}

TEST(CObraRequest, ReadsNumbersAndNumberTexts)
{
    const std::pair<const char*, uint32_t> values[] = {
        {R"("0x0")", 0},    {R"("0X1f")", 31}, {R"("010")", 8}, {R"("10")", 10}, {R"("0")", 0},
        {R"("0x")", 0},     {R"("12ab")", 12}, {R"("089")", 0}, {R"("")", 0},    {"4294967301", 5},
        {"-1", 0xFFFFFFFF}, {"7.9", 7},        {"true", 22},    {"null", 22},    {"[1]", 22},
    };
    CObraRequest request;
    for (const auto& value : values)
    {
        ASSERT_TRUE(LoadCommands(request, std::string(R"({"ST":)") + value.first + "}"));
        EXPECT_EQ(GetCmdValue(request, 0, "ST", 22), value.second) << value.first;
    }
    ASSERT_TRUE(LoadCommands(request, R"({"OC":1},5,{"OC":3})"));
    EXPECT_EQ(GetCmdValue(request, 0, "OE", 99), 99u);
    EXPECT_EQ(GetCmdValue(request, 1, "OC", 99), 99u); // no object at the slot
    EXPECT_EQ(GetCmdValue(request, 2, "OC", 99), 3u);
    EXPECT_EQ(GetCmdValue(request, 3, "OC", 99), 99u);
    EXPECT_EQ(GetCmdValue(request, -1, "OC", 99), 99u);
}

TEST(CObraRequest, SizesDataByKind)
{
    const std::pair<const char*, uint32_t> sizes[] = {
        {"[1, 300, 70000]", 7},
        {"[255]", 1},
        {"[256]", 2},
        {"[65535]", 2},
        {"[65536]", 4},
        {"[4294967295]", 4},
        {"[4294967296]", 8},
        {"[4294967296, 65535]", 10},
        {R"(["ab", "c"])", 6},
        {"[]", 0},
        {R"([1, "a"])", 0},
        {"[[1]]", 0},
        {"-5", 4},
        {"4294967295", 4},
        {"5000000000", 8},
        {"1.5", 0},
        {R"("abc")", 4},
        {"false", 1},
        {R"({"RAW": [1, 2, 3]})", 3},
        {R"({"RAW": "abcd"})", 4},
        {R"({"X": [1]})", 0},
        {"null", 0},
    };
    CObraRequest request;
    EXPECT_EQ(GetDataSize(request, 0), 0u);
    EXPECT_EQ(GetDataType(request, 0), ObraDataType::None);
    for (const auto& size : sizes)
    {
        ASSERT_TRUE(LoadCommands(request, std::string(R"({"DA":)") + size.first + "}"));
        EXPECT_EQ(GetDataSize(request, 0), size.second) << size.first;
    }
    ASSERT_TRUE(LoadCommands(request, R"({"DA":true},{"DA":{}},{"DA":1.5},{"ST":0})"));
    EXPECT_EQ(GetDataType(request, 0), ObraDataType::True);
    EXPECT_EQ(GetDataType(request, 1), ObraDataType::Object);
    EXPECT_EQ(GetDataType(request, 2), ObraDataType::Number);
    EXPECT_EQ(GetDataType(request, 3), ObraDataType::None);
}

TEST(CObraRequest, RefusesRepliesWhoseTreeWouldOutgrowTheBudget)
{
    // Separators inside strings do not count; each ",", ":", "[" and "{" outside them does.
    struct Case
    {
        const char* text;
        size_t limit;
        bool exceeds;
    } cases[] = {
        {"[1,2,3]", 3, false},        {"[1,2,3]", 2, true},           {R"(["a,b,c,d,e"])", 1, false},
        {R"(["a\",b,c"])", 1, false}, {R"({"a":[{},{}]})", 6, false}, {R"({"a":[{},{}]})", 5, true},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ReplyValueBudget::ExceedsValues(c.text, strlen(c.text), c.limit), c.exceeds) << c.text;

    const size_t values = ReplyValueBudget::kMaxReplyValues;
    std::string numbers;
    numbers.reserve(2 * values + 64);
    for (size_t i = 0; i < values - 20; ++i) // the envelope adds 14
        numbers += "0,";
    CObraRequest request;
    ASSERT_TRUE(LoadCommands(request, R"({"ST":0,"DA":{"RAW":[)" + numbers + "0]}}"))
        << "just below the bound";
    EXPECT_TRUE(request.DropLargeReply());
    EXPECT_EQ(request.Serialize(), kSkeleton);
    EXPECT_FALSE(request.DropLargeReply()) << "a usual reply is kept";
    numbers += "0,0,0,0,0,0,0,0,0,";
    EXPECT_FALSE(LoadCommands(request, R"({"ST":0,"DA":{"RAW":[)" + numbers + "0]}}"));
    EXPECT_EQ(request.Serialize(), kSkeleton);
}
