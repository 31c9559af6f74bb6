#include "CConfigSpaceQuery.h"
#include "FakeObraClient.h"

#include <gtest/gtest.h>

namespace
{
class DerivedQueryTest : public ::testing::Test
{
protected:
    void SetUp() override { m_Query.Bind(&m_Client, 2, ""); }

    FakeObraClient m_Client;
    CConfigSpaceQuery m_Query;
};
} // namespace

TEST_F(DerivedQueryTest, CodedQueriesLookUpAndGrowTheirTable)
{
    m_Client.AnswerNumber(0x0501, 0, 1, 10);
    m_Client.AnswerNumber(0x0501, 0, 2, 12);
    m_Client.FailTransport(0x0501, 0, 3, 19);
    m_Client.AnswerNumber(0x2134, 4, 1, 15);

    const CodedResult known = m_Query.GetPowerSupplyStatus(1);
    EXPECT_EQ(known.Status, 2u);
    EXPECT_EQ(known.Text, "AC Failure");

    const size_t before = m_Query.Tables().Size(CodeTable::PowerSupplyStatus);
    const CodedResult unknown = m_Query.GetPowerSupplyStatus(2);
    EXPECT_EQ(unknown.Status, 0u);
    EXPECT_EQ(unknown.Text, "");
    EXPECT_EQ(m_Query.Tables().Size(CodeTable::PowerSupplyStatus), before + 1);
    m_Query.GetPowerSupplyStatus(2);
    EXPECT_EQ(m_Query.Tables().Size(CodeTable::PowerSupplyStatus), before + 1);

    // A failed query shows the table's entry for code 0.
    const CodedResult failed = m_Query.GetPowerSupplyStatus(3);
    EXPECT_EQ(failed.Status, 4u);
    EXPECT_EQ(failed.Text, "Not Present");

    EXPECT_EQ(m_Query.GetPhysicalDriveInterfaceText(4, 1), "NVMe");
}

TEST_F(DerivedQueryTest, SmartFailureTurnsANormalDriveIntoAWarning)
{
    m_Client.AnswerNumber(0x2131, 1, 2, 0); // "Operational", normal
    m_Client.AnswerNumber(0x2132, 1, 2, 1); // "S.M.A.R.T. Failure"
    for (int round = 0; round < 2; ++round)
    {
        // The second round proves the table entry itself was left alone.
        const CodedResult status = m_Query.GetPhysicalDriveStatus(1, 2);
        EXPECT_EQ(status.Status, 2u);
        EXPECT_EQ(status.Text, "Operational - S.M.A.R.T. Failure");
    }

    m_Client.AnswerNumber(0x2131, 1, 3, 6);   // "Rebuilding", normal
    m_Client.AnswerNumber(0x2132, 1, 3, 255); // "S.M.A.R.T. status unknown"
    const CodedResult unaffected = m_Query.GetPhysicalDriveStatus(1, 3);
    EXPECT_EQ(unaffected.Status, 1u);
    EXPECT_EQ(unaffected.Text, "Rebuilding");

    // Only a normal drive asks for its S.M.A.R.T. state.
    m_Client.AnswerNumber(0x2131, 1, 4, 11); // "Failed", error
    m_Client.AnswerNumber(0x2132, 1, 4, 1);
    const size_t smartQueries = m_Client.CountSent(0x2132);
    const CodedResult failed = m_Query.GetPhysicalDriveStatus(1, 4);
    EXPECT_EQ(failed.Status, 3u);
    EXPECT_EQ(failed.Text, "Failed");
    EXPECT_EQ(m_Client.CountSent(0x2132), smartQueries);
}

TEST_F(DerivedQueryTest, AdapterIndexesFilterByTheLowByteOfTheClass)
{
    m_Client.AnswerNumber(0x1800, 0, 0, 0);
    EXPECT_TRUE(m_Query.GetAdapterIndexes(2).empty());
    ASSERT_EQ(m_Client.Sent.size(), 1u);
    EXPECT_EQ(m_Client.CountSent(0x1805), 0u);

    m_Client.AnswerNumber(0x1800, 0, 0, 5);
    const uint32_t classes[] = {2, 0x102, 7, 2, 0};
    for (uint32_t index = 0; index < 5; ++index)
        m_Client.AnswerNumber(0x1805, 0, index, classes[index]);
    EXPECT_EQ(m_Query.GetAdapterIndexes(0x302), (std::vector<uint32_t>{0, 3}));
    EXPECT_EQ(m_Query.GetAdapterIndexes(7), (std::vector<uint32_t>{2}));
    EXPECT_EQ(m_Client.CountSent(0x1805), 10u);
}

TEST_F(DerivedQueryTest, ClearDeviceWatchStatusSendsTheWriteCommandAndNeedsData)
{
    // A previous answer in the slot must not leak into the write.
    m_Client.Answer(0x0304, 0, 4, FakeObraClient::Reply("\"Fan\""));
    m_Query.GetString(0x0304, 0, 4);

    m_Client.Answer(0x180A, 0, 0, FakeObraClient::Reply("1"));
    EXPECT_TRUE(m_Query.ClearDeviceWatchStatus());
    EXPECT_EQ(m_Client.Sent.back().Document, R"({"SIP":{"V":1,"CMD":[{"OC":6154,"DA":1,"ST":0,"CA":2}]}})");

    const char* accepted[] = {"\"done\"", "false", "[]", "{}"};
    for (const char* data : accepted)
    {
        m_Client.Answer(0x180A, 0, 0, FakeObraClient::Reply(data));
        EXPECT_TRUE(m_Query.ClearDeviceWatchStatus()) << data;
    }
    m_Client.Answer(0x180A, 0, 0, FakeObraClient::Reply(nullptr));
    EXPECT_FALSE(m_Query.ClearDeviceWatchStatus());
    m_Client.Answer(0x180A, 0, 0, FakeObraClient::Reply("1", "21"));
    EXPECT_FALSE(m_Query.ClearDeviceWatchStatus());
    m_Client.FailTransport(0x180A, 0, 0, 19);
    EXPECT_FALSE(m_Query.ClearDeviceWatchStatus());
}
