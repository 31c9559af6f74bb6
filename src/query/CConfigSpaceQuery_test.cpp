#include "CConfigSpaceQuery.h"
#include "FakeObraClient.h"

#include <gtest/gtest.h>

#include <cstring>

namespace
{
class ConfigSpaceQueryTest : public ::testing::Test
{
protected:
    void SetUp() override { m_Query.Bind(&m_Client, 3, "/opt/TessmarkQDX/bin/tmqdx"); }

    FakeObraClient m_Client;
    CConfigSpaceQuery m_Query;
};

std::vector<uint8_t> Bytes(const char* text, size_t length)
{
    return std::vector<uint8_t>(text, text + length);
}
} // namespace

TEST_F(ConfigSpaceQueryTest, SlotCarriesOnlyTheMembersOfTheCurrentQuery)
{
    m_Query.SetTimeout(1234);
    m_Client.Answer(0x2133, 2, 5, FakeObraClient::Reply("\"Disk 5\""));
    m_Client.AnswerNumber(0x0300, 0, 0, 4);

    EXPECT_EQ(m_Query.GetString(0x2133, 2, 5), "Disk 5");
    // Extension and index of the previous query, and its answer's "ST" and "DA", must not travel.
    EXPECT_EQ(m_Query.GetNumber(0x0300, 0, 0), 4u);
    ASSERT_EQ(m_Client.Sent.size(), 2u);
    EXPECT_EQ(m_Client.Sent[0].Document, R"({"SIP":{"V":1,"CMD":[{"OC":8499,"OE":2,"OI":5,"CA":3}]}})");
    EXPECT_EQ(m_Client.Sent[1].Document, R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":3}]}})");
    EXPECT_EQ(m_Client.LastTimeout, 1234u);

    // The main cabinet is 0 and is still sent.
    m_Query.Bind(&m_Client, 0, "");
    m_Query.GetNumber(0x0300, 0, 0);
    EXPECT_EQ(m_Client.Sent.back().Document, R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":0}]}})");
}

TEST_F(ConfigSpaceQueryTest, AnyNonZeroStatusYieldsTheNeutralValue)
{
    m_Client.Answer(0x0302, 0, 1, FakeObraClient::Reply("1500", "21"));
    m_Client.Answer(0x0302, 0, 2, FakeObraClient::Reply("1500", "255"));
    m_Client.Answer(0x0302, 0, 3, FakeObraClient::Reply("1500", nullptr)); // no "ST" reads as 22
    m_Client.FailTransport(0x0302, 0, 4, 5);
    m_Client.FailTransport(0x0302, 0, 5, 6);
    m_Client.Answer(0x0302, 0, 6, R"({"SIP":{"V":2,"CMD":[{"ST":0,"DA":1500}]}})");
    for (uint32_t index = 1; index <= 6; ++index)
    {
        uint32_t value = 77;
        EXPECT_FALSE(m_Query.GetNumber(value, 0x0302, 0, index)) << index;
        EXPECT_EQ(value, 77u) << index;
        EXPECT_EQ(m_Query.GetNumber(0x0302, 0, index), 0u) << index;
    }
    m_Client.Answer(0x0304, 0, 0, FakeObraClient::Reply("\"Fan 1\"", "255"));
    m_Client.FailTransport(0x0304, 0, 1, 17);
    EXPECT_EQ(m_Query.GetString(0x0304, 0, 0), "");
    EXPECT_EQ(m_Query.GetString(0x0304, 0, 1), "");

    // A status written as a number literal in a string is still a status.
    m_Client.Answer(0x0302, 0, 7, FakeObraClient::Reply("1500", "\"0x0\""));
    EXPECT_EQ(m_Query.GetNumber(0x0302, 0, 7), 1500u);
}

TEST_F(ConfigSpaceQueryTest, NumberAndStringQueriesAcceptOnlyTheirOwnDataKind)
{
    const char* notNumbers[] = {"\"0x10\"", "\"16\"", "true", "null", "{\"RAW\":[16]}", "[16]"};
    for (const char* data : notNumbers)
    {
        m_Client.Answer(0x0402, 0, 0, FakeObraClient::Reply(data));
        uint32_t value = 9;
        EXPECT_FALSE(m_Query.GetNumber(value, 0x0402, 0, 0)) << data;
        EXPECT_EQ(value, 9u) << data;
    }
    const char* notStrings[] = {"5", "null", "[\"a\"]", "{\"RAW\":\"a\"}", "false", nullptr};
    for (const char* data : notStrings)
    {
        m_Client.Answer(0x0404, 0, 0, FakeObraClient::Reply(data));
        EXPECT_EQ(m_Query.GetString(0x0404, 0, 0), "") << (data ? data : "(no DA)");
    }
    // Strings keep embedded zero bytes and may be empty.
    m_Client.Answer(0x0404, 0, 0, FakeObraClient::Reply("\"a\\u0000b\""));
    EXPECT_EQ(m_Query.GetString(0x0404, 0, 0), std::string("a\0b", 3));
    m_Client.Answer(0x0404, 0, 0, FakeObraClient::Reply("\"\""));
    EXPECT_EQ(m_Query.GetString(0x0404, 0, 0), "");
}

TEST_F(ConfigSpaceQueryTest, NumbersAreCutToTheirLow32Bits)
{
    const std::pair<const char*, uint32_t> cases[] = {
        {"4294967295", 0xFFFFFFFFu}, {"4294967301", 5u}, {"-1", 0xFFFFFFFFu}, {"3.9", 3u}, {"0", 0u}};
    for (const auto& [data, expected] : cases)
    {
        m_Client.Answer(0x0402, 0, 0, FakeObraClient::Reply(data));
        uint32_t value = 9;
        EXPECT_TRUE(m_Query.GetNumber(value, 0x0402, 0, 0)) << data;
        EXPECT_EQ(value, expected) << data;
    }
}

TEST_F(ConfigSpaceQueryTest, RawDataDecodesEveryFormOfTheRawMember)
{
    const uint32_t number = 0x01020304;
    const std::pair<const char*, std::vector<uint8_t>> forms[] = {
        {R"({"RAW":[1,511,127,-2]})", {0x01, 0xFF, 0x7F, 0xFE}},
        {R"({"RAW":[]})", {}},
        {R"({"RAW":["ab","c"]})", Bytes("ab\0c\0\0", 6)},
        {R"({"RAW":"xyz"})", Bytes("xyz", 3)},
        {R"({"RAW":16909060})", Bytes(reinterpret_cast<const char*>(&number), sizeof(number))},
    };
    std::vector<uint8_t> bytes;
    for (const auto& [data, expected] : forms)
    {
        m_Client.Answer(0x0B10, 0, 0, FakeObraClient::Reply(data));
        bytes.assign(3, 0xAA);
        ASSERT_TRUE(m_Query.GetRaw(bytes, 0x0B10, 0, 0)) << data;
        EXPECT_EQ(bytes, expected) << data;
    }

    // Without the "RAW" member no form counts, and no bytes are left behind.
    const char* notRaw[] = {"{}",
                            R"({"RAW":["a",1]})",
                            R"({"RAW":[1.5]})",
                            R"({"RAW":true})",
                            "\"xyz\"",
                            "16909060",
                            R"(["ab","c"])",
                            "[1,2]",
                            "true",
                            nullptr};
    for (const char* data : notRaw)
    {
        m_Client.Answer(0x0B10, 0, 0, FakeObraClient::Reply(data));
        bytes.assign(2, 0xAA);
        EXPECT_FALSE(m_Query.GetRaw(bytes, 0x0B10, 0, 0)) << (data ? data : "(no DA)");
        EXPECT_TRUE(bytes.empty()) << (data ? data : "(no DA)");
    }
    m_Client.Answer(0x0B10, 0, 0, FakeObraClient::Reply(R"({"RAW":[1]})", "21"));
    EXPECT_FALSE(m_Query.GetRaw(bytes, 0x0B10, 0, 0));
}

TEST_F(ConfigSpaceQueryTest, ThresholdWordIsExactlyFourBytesOfANumber)
{
    // Minimum 5.00 V in the low half, maximum -0.10 V in the high half.
    m_Client.Answer(0x0523, 0, 1, FakeObraClient::Reply("4294312436"));
    m_Client.Answer(0x0523, 0, 2, FakeObraClient::Reply("-654860"));
    for (uint32_t index : {1u, 2u})
    {
        const uint32_t word = m_Query.GetVoltageThresholds(index);
        EXPECT_EQ(word, 0xFFF601F4u);
        EXPECT_EQ(static_cast<int16_t>(word & 0xFFFF), 500);
        EXPECT_EQ(static_cast<int16_t>(word >> 16), -10);
    }
    // Eight-byte numbers and non-numeric data are no word.
    const char* notWords[] = {"8589934591", R"({"RAW":[244,1,246,255]})", "\"0xFFF601F4\"", "null"};
    for (const char* data : notWords)
    {
        m_Client.Answer(0x0523, 0, 3, FakeObraClient::Reply(data));
        EXPECT_EQ(m_Query.GetVoltageThresholds(3), 0u) << data;
    }
}

TEST(ConfigSpaceQueryUnbound, GivesNeutralValuesAndStillKnowsItsCodeTables)
{
    CConfigSpaceQuery query;
    std::vector<uint8_t> bytes{1};
    uint32_t watts = 8;
    EXPECT_EQ(query.GetCoolingDeviceCount(), 0u);
    EXPECT_EQ(query.GetSystemModel(), "");
    EXPECT_FALSE(query.GetEventLogRecords(bytes));
    EXPECT_TRUE(bytes.empty());
    EXPECT_FALSE(query.GetPowerSupplyNominalPower(0, watts));
    EXPECT_EQ(watts, 8u);
    EXPECT_FALSE(query.ClearDeviceWatchStatus());
    EXPECT_TRUE(query.GetAdapterIndexes(0).empty());

    const CodedResult cooling = query.GetCoolingDeviceStatus(0);
    EXPECT_EQ(cooling.Status, 4u);
    EXPECT_EQ(cooling.Text, "Disabled");
    EXPECT_EQ(query.GetPhysicalDriveStatus(0, 0).Text, "Operational");
    EXPECT_EQ(query.GetPhysicalDriveInterfaceText(0, 0), "SCSI");
    // Nothing was written into the request document.
    EXPECT_EQ(query.Request().Serialize(), R"({"SIP":{"V":1,"CMD":[]}})");
}

// The two system texts that the report never asks for, so the golden run cannot cover them.
TEST_F(ConfigSpaceQueryTest, SystemTextsOutsideTheReportUseTheirOwnCodes)
{
    m_Client.Answer(0x0931, 0, 0, FakeObraClient::Reply("\"text 0931\""));
    m_Client.Answer(0x0930, 0, 0, FakeObraClient::Reply("\"text 0930\""));
    EXPECT_EQ(m_Query.GetSystemText0931(), "text 0931");
    EXPECT_EQ(m_Query.GetSystemText0930(), "text 0930");
    EXPECT_EQ(m_Client.Sent.size(), 2u);
}
