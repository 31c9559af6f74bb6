#include "SimProcess.h"
#include "SimProfile.h"

#include <gtest/gtest.h>

namespace
{
TEST(SimProfileTest, ProfileNumbersAreWholeHexOrDecimalNumbersBelowTwoToThe32)
{
    uint32_t value = 0;
    EXPECT_TRUE(ParseProfileNumber("0x0C00", value));
    EXPECT_EQ(value, 0x0C00u);
    EXPECT_TRUE(ParseProfileNumber("0XffFF", value));
    EXPECT_EQ(value, 0xFFFFu);
    EXPECT_TRUE(ParseProfileNumber("010", value));
    EXPECT_EQ(value, 10u) << "a leading zero is not octal in a profile";
    EXPECT_TRUE(ParseProfileNumber("4294967295", value));
    EXPECT_EQ(value, 4294967295u);
    for (const char* bad : {"", "0x", "-1", "+1", " 1", "1 ", "4294967296", "0x1g", "12a", "*"})
        EXPECT_FALSE(ParseProfileNumber(bad, value)) << '"' << bad << '"';
}

TEST(SimProfileTest, LookupPrefersTheExactKeyThenAnyIndexThenAnyExtension)
{
    SimProfile profile;
    std::string error;
    ASSERT_TRUE(profile.Parse(R"({"answers": {
        "0x2131/1/3": {"DA": "exact"}, "0x2131/1/*": {"DA": "any drive"},
        "0x2131/*/3": {"DA": "drive 3 anywhere"}, "0x2131/*/*": {"DA": "anything"}, "0x2131": {"DA": "zero"}}})",
                              error))
        << error;
    auto text = [&](uint32_t oe, uint32_t oi)
    { return std::string(profile.Find(0x2131, oe, oi)->data->GetString()); };
    EXPECT_EQ(text(1, 3), "exact");
    EXPECT_EQ(text(1, 4), "any drive");
    EXPECT_EQ(text(2, 3), "drive 3 anywhere");
    EXPECT_EQ(text(2, 4), "anything");
    EXPECT_EQ(text(0, 0), "zero");
    EXPECT_EQ(profile.Find(0x2132, 0, 0), nullptr);
    EXPECT_EQ(profile.Unanswered().status->GetUint(), 4u);
}

// The shipped profiles must load, and every table the report walks must be complete: each index
// below a count has its answers, so the demonstration shows no accidental gaps.
TEST(SimProfileTest, ShippedProfilesLoadAndTheDemoTablesAreComplete)
{
    std::string error;
    SimProfile empty;
    ASSERT_TRUE(empty.Load(SimProcess::ShippedProfile("empty.json"), error)) << error;
    EXPECT_EQ(empty.AnswerCount(), 0u);

    SimProfile demo;
    ASSERT_TRUE(demo.Load(SimProcess::ShippedProfile("demo.json"), error)) << error;
    struct Table
    {
        uint32_t count;
        std::vector<uint32_t> items;
        uint32_t itemOE;
    };
    const Table tables[] = {{0x0300, {0x0301, 0x0302, 0x0303, 0x0304}, 0},
                            {0x0400, {0x0401, 0x0402, 0x0403, 0x0404}, 0},
                            {0x0500, {0x0501, 0x0504, 0x0506, 0x0507}, 0},
                            {0x0520, {0x0521, 0x0522, 0x0523, 0x0524}, 0},
                            {0x0600, {0x0601, 0x0602, 0x0605, 0x061D}, 0},
                            {0x0700, {0x0701, 0x0702}, 0},
                            {0x1480, {0x1042, 0x1043}, 0x28},
                            {0x1800, {0x1801, 0x1803, 0x1804, 0x1805}, 0},
                            {0x2110, {0x2111, 0x2116}, 0}};
    for (const Table& table : tables)
    {
        const SimAnswer* count = demo.Find(table.count, 0, 0);
        ASSERT_NE(count, nullptr) << std::hex << table.count;
        ASSERT_GT(count->data->GetUint(), 0u) << std::hex << table.count;
        for (uint32_t i = 0; i < count->data->GetUint(); ++i)
            for (uint32_t oc : table.items)
                EXPECT_NE(demo.Find(oc, table.itemOE, i), nullptr) << std::hex << oc << " #" << i;
    }
    uint32_t adapters = demo.Find(0x2110, 0, 0)->data->GetUint();
    for (uint32_t a = 0; a < adapters; ++a)
    {
        uint32_t drives = demo.Find(0x2130, a, 0)->data->GetUint();
        uint32_t logical = demo.Find(0x2150, a, 0)->data->GetUint();
        for (uint32_t d = 0; d < drives; ++d)
            for (uint32_t oc : {0x2131, 0x2132, 0x2133, 0x2134, 0x2135})
                EXPECT_NE(demo.Find(oc, a, d), nullptr)
                    << std::hex << oc << " adapter " << a << " drive " << d;
        for (uint32_t d = 0; d < logical; ++d)
            for (uint32_t oc : {0x2151, 0x2152, 0x2153, 0x2155})
                EXPECT_NE(demo.Find(oc, a, d), nullptr)
                    << std::hex << oc << " adapter " << a << " drive " << d;
    }

    // Event-log records: 16-byte header and zero-terminated text, packed without gaps, with
    // every severity present.
    const rapidjson::Value& raw = (*demo.Find(0x0B10, 0, 0)->data)["RAW"];
    std::vector<uint8_t> bytes;
    for (const auto& byte : raw.GetArray())
        bytes.push_back(static_cast<uint8_t>(byte.GetUint()));
    size_t offset = 0;
    int records = 0;
    bool severities[4] = {};
    while (offset + 16 < bytes.size())
    {
        size_t length = bytes[offset] | bytes[offset + 1] << 8;
        ASSERT_GT(length, 17u);
        ASSERT_LE(offset + length, bytes.size());
        ASSERT_LT(bytes[offset + 3], 4) << "record " << records;
        severities[bytes[offset + 3]] = true;
        EXPECT_EQ(bytes[offset + length - 1], 0) << "record " << records;
        offset += length;
        ++records;
    }
    EXPECT_EQ(offset, bytes.size());
    EXPECT_GE(records, 200);
    for (bool seen : severities)
        EXPECT_TRUE(seen);
}
} // namespace
