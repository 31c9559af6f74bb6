#include "CObraRequest.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
const char* const kSkeleton = R"({"SIP":{"V":1,"CMD":[]}})";

// A request holding the reply {"SIP":{"V":1,"CMD":[<command>]}}.
void LoadCommand(CObraRequest& request, const std::string& command)
{
    std::string reply = R"({"SIP":{"V":1,"CMD":[)" + command + "]}}";
    ASSERT_TRUE(request.ParseReply(reply.c_str())) << reply;
}

uint32_t DataSizeOf(const std::string& data)
{
    CObraRequest request;
    LoadCommand(request, R"({"DA":)" + data + "}");
    return GetDataSize(request, 0);
}

uint32_t StatusOf(const std::string& status)
{
    CObraRequest request;
    LoadCommand(request, R"({"ST":)" + status + "}");
    return GetCmdValue(request, 0, "ST", 22);
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
    EXPECT_TRUE(request.ParseReply(R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":"x"}]},"extra":true})"));
    EXPECT_EQ(GetCmdValue(request, 0, "ST", 22), 0u);

    for (const char* bad : {R"({"SIP":{"V":2,"CMD":[{"ST":0}]}})", R"({"SIP":{"CMD":[{"ST":0}]}})",
                            R"({"SIP":[1]})", R"([{"SIP":{"V":1}}])", R"({"SIP":{"V":1,"CMD":[)", "",
                            R"({"SIP":{"V":"1","CMD":[{"ST":0}]}})", R"({"SIP":{"V":1}} trailing)"})
    {
        EXPECT_TRUE(request.ParseReply(R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})"));
        EXPECT_FALSE(request.ParseReply(bad)) << bad;
        EXPECT_EQ(request.Serialize(), kSkeleton) << bad;
        EXPECT_EQ(GetCmdValue(request, 0, "ST", 22), 22u) << bad;
    }
    EXPECT_FALSE(request.ParseReply(nullptr));
}

TEST(CObraRequest, SurvivesDeeplyNestedReplies)
{
    const size_t depth = 200000;
    std::string nested(depth, '[');
    nested += std::string(depth, ']');
    std::string reply = R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":)" + nested + "}]}}";

    CObraRequest request;
    ASSERT_TRUE(request.ParseReply(reply.c_str()));
    EXPECT_EQ(GetDataType(request, 0), ObraDataType::Array);
    EXPECT_EQ(GetDataSize(request, 0), 0u);
    // The same document goes out again when the caller reuses it for the next command.
    EXPECT_EQ(request.Serialize(), reply);

    std::string unbalanced = R"({"SIP":{"V":1,"CMD":[{"DA":)" + std::string(depth, '{');
    EXPECT_FALSE(request.ParseReply(unbalanced.c_str()));
}

TEST(CObraRequest, ReadsNumbersAndNumberTexts)
{
    EXPECT_EQ(StatusOf(R"("0x0")"), 0u);
    EXPECT_EQ(StatusOf(R"("0X1f")"), 31u);
    EXPECT_EQ(StatusOf(R"("010")"), 8u);
    EXPECT_EQ(StatusOf(R"("10")"), 10u);
    EXPECT_EQ(StatusOf(R"("0")"), 0u);
    EXPECT_EQ(StatusOf(R"("0x")"), 0u); // too short for hex: octal of "x"
    EXPECT_EQ(StatusOf(R"("12ab")"), 12u);
    EXPECT_EQ(StatusOf(R"("089")"), 0u);
    EXPECT_EQ(StatusOf(R"("")"), 0u);
    EXPECT_EQ(StatusOf("4294967301"), 5u); // low 32 bits
    EXPECT_EQ(StatusOf("-1"), 0xFFFFFFFFu);
    EXPECT_EQ(StatusOf("7.9"), 7u);
    EXPECT_EQ(StatusOf("true"), 22u);
    EXPECT_EQ(StatusOf("null"), 22u);
    EXPECT_EQ(StatusOf("[1]"), 22u);

    CObraRequest request;
    LoadCommand(request, R"({"OC":1},5,{"OC":3})");
    EXPECT_EQ(GetCmdValue(request, 0, "OC", 99), 1u);
    EXPECT_EQ(GetCmdValue(request, 0, "OE", 99), 99u);
    EXPECT_EQ(GetCmdValue(request, 1, "OC", 99), 99u); // slot is no object
    EXPECT_EQ(GetCmdValue(request, 2, "OC", 99), 3u);
    EXPECT_EQ(GetCmdValue(request, 3, "OC", 99), 99u);
    EXPECT_EQ(GetCmdValue(request, -1, "OC", 99), 99u);
    EXPECT_EQ(GetCommand(request, 1), nullptr);
    ASSERT_NE(GetCommand(request, 2), nullptr);
}

TEST(CObraRequest, SizesDataByKind)
{
    EXPECT_EQ(DataSizeOf("[1, 300, 70000]"), 7u);
    EXPECT_EQ(DataSizeOf("[4294967296, 255, 65535, 65536]"), 8u + 1 + 2 + 4);
    EXPECT_EQ(DataSizeOf(R"(["ab", "c"])"), 6u);
    EXPECT_EQ(DataSizeOf("[]"), 0u);
    EXPECT_EQ(DataSizeOf(R"([1, "a"])"), 0u);
    EXPECT_EQ(DataSizeOf("[[1]]"), 0u);
    EXPECT_EQ(DataSizeOf("5"), 4u);
    EXPECT_EQ(DataSizeOf("-5"), 4u);
    EXPECT_EQ(DataSizeOf("4294967295"), 4u);
    EXPECT_EQ(DataSizeOf("5000000000"), 8u);
    EXPECT_EQ(DataSizeOf("1.5"), 0u);
    EXPECT_EQ(DataSizeOf(R"("abc")"), 4u);
    EXPECT_EQ(DataSizeOf("false"), 1u);
    EXPECT_EQ(DataSizeOf(R"({"RAW": [1, 2, 3]})"), 3u);
    EXPECT_EQ(DataSizeOf(R"({"RAW": "abcd"})"), 4u);
    EXPECT_EQ(DataSizeOf(R"({"RAW": 5})"), 0u);
    EXPECT_EQ(DataSizeOf(R"({"X": [1]})"), 0u);
    EXPECT_EQ(DataSizeOf("null"), 0u);

    CObraRequest request;
    EXPECT_EQ(GetDataSize(request, 0), 0u);
    EXPECT_EQ(GetDataType(request, 0), ObraDataType::None);
    const std::pair<const char*, ObraDataType> kinds[] = {
        {"null", ObraDataType::Null},   {"false", ObraDataType::False}, {"true", ObraDataType::True},
        {"{}", ObraDataType::Object},   {"[]", ObraDataType::Array},    {R"("s")", ObraDataType::String},
        {"1.25", ObraDataType::Number},
    };
    for (const auto& kind : kinds)
    {
        LoadCommand(request, std::string(R"({"DA":)") + kind.first + "}");
        EXPECT_EQ(GetDataType(request, 0), kind.second) << kind.first;
    }
    LoadCommand(request, R"({"ST":0})");
    EXPECT_EQ(GetDataType(request, 0), ObraDataType::None);
}
