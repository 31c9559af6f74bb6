#include "CConfigSpaceQuery.h"
#include "CellFormat.h"
#include "FakeObraClient.h"
#include "HostCaptureInformation.h"
#include "HtmlText.h"
#include "PageTextBudget.h"

#include <gtest/gtest.h>

TEST(CellFormat, NumberForms)
{
    // "%.0f" rounds an exact half to the even neighbour: 1.5 -> 2, 2.5 -> 2.
    EXPECT_EQ(CellFormat::Gigabytes(1048576), "1024");
    EXPECT_EQ(CellFormat::Gigabytes(1535), "1");
    EXPECT_EQ(CellFormat::Gigabytes(1536), "2");
    EXPECT_EQ(CellFormat::Gigabytes(2560), "2");
    EXPECT_EQ(CellFormat::Volts(1205), "12.05");
    // Threshold halves are signed: low half -700, high half 3000; and the reverse case.
    EXPECT_EQ(CellFormat::ThresholdMinimum(0x0BB8FD44), "-7.00");
    EXPECT_EQ(CellFormat::ThresholdMaximum(0x0BB8FD44), "30.00");
    EXPECT_EQ(CellFormat::ThresholdMinimum(0xFFF601F4), "5.00");
    EXPECT_EQ(CellFormat::ThresholdMaximum(0xFFF601F4), "-0.10");
    EXPECT_EQ(CellFormat::Gigahertz(2400), "2.400");
    EXPECT_EQ(CellFormat::Gigahertz(0xFFFFFFFF), "4294967.295");
    EXPECT_EQ(CellFormat::MemorySize(16384), "16");
    EXPECT_EQ(CellFormat::MemorySize(1023), "0");
    EXPECT_EQ(CellFormat::MemorySize(0), " ");
}

TEST(FormatDuration, KeepsItsBlanksAndPluralForms)
{
    EXPECT_EQ(HostCaptureInformation::FormatDuration(59), "");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(86400), "1 days ");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(3660), "1 hours 1 minutes");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(2 * 86400 + 3 * 3600 + 5 * 60 + 59),
              "2 days 3 hours 5 minutes");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(0xFFFFFFFF), "49710 days 6 hours 28 minutes");
}

TEST(IpAddresses, FormsByLengthAndTheHandMadeIpv6Text)
{
    FakeObraClient daemon;
    CConfigSpaceQuery query;
    query.Bind(&daemon, 0, "");
    std::vector<uint8_t> loopback(16, 0);
    loopback[15] = 1;
    daemon.AnswerRaw(0xE108, 0, 0, {192, 168, 0, 1});
    daemon.AnswerRaw(0xE108, 1, 0, loopback);
    EXPECT_EQ(HostCaptureInformation::GetIpAddresses(query),
              (std::vector<std::string>{"192.168.0.1", "::1"}));
    daemon.AnswerStatus(0xE108, 0, 0, 21); // a refused query adds nothing; an odd length an empty entry
    daemon.AnswerRaw(0xE108, 1, 0, {1, 2, 3, 4, 5});
    EXPECT_EQ(HostCaptureInformation::GetIpAddresses(query), (std::vector<std::string>{""}));

    uint8_t bytes[16] = {};
    EXPECT_EQ(HostCaptureInformation::FormatIpv6Fallback(bytes), "::");
    bytes[15] = 1;
    EXPECT_EQ(HostCaptureInformation::FormatIpv6Fallback(bytes), "::1");
    const uint8_t address[16] = {0x20, 0x01, 0x0d, 0xb8, 0,    0,    0, 0,
                                 0,    0xff, 0x01, 0x00, 0x12, 0x34, 0, 0x0a};
    EXPECT_EQ(HostCaptureInformation::FormatIpv6Fallback(address), "2001:db8:0:0:ff:10:1234:a");
}

TEST(HtmlText, EscapesMarkupAndRepairsUtf8)
{
    EXPECT_EQ(HtmlText::FromDaemon("DIMM <A1> & \"x\""), "DIMM &lt;A1&gt; &amp; &quot;x&quot;");
    const std::string fffd = "\xEF\xBF\xBD";
    const std::string valid = "a\t\xC2\xB0 \xE2\x82\xAC \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF";
    EXPECT_EQ(HtmlText::RepairUtf8(valid), valid);
    EXPECT_EQ(HtmlText::RepairUtf8(std::string("a\nb\0\x7F\xC2\x85", 6)),
              "a" + fffd + "b" + fffd + fffd + fffd);
    EXPECT_EQ(HtmlText::RepairUtf8("\x80\xC0\xAF"), fffd + fffd + fffd);            // stray, overlong
    EXPECT_EQ(HtmlText::RepairUtf8("\xED\xA0\x80"), fffd + fffd + fffd);            // surrogate
    EXPECT_EQ(HtmlText::RepairUtf8("\xF4\x90\x80\x80"), fffd + fffd + fffd + fffd); // above U+10FFFF
    EXPECT_EQ(HtmlText::RepairUtf8("ok\xE2\x82"), "ok" + fffd + fffd);              // cut off
}

TEST(HtmlText, LongDaemonTextsAreCutOnASequenceBoundaryWithAVisibleMark)
{
    PageTextBudget::Start();
    const std::string a4095(4095, 'a');
    const std::string euro = "\xE2\x82\xAC";
    struct Case
    {
        std::string text, shown;
    } cases[] = {
        {std::string(4096, 'a'), std::string(4096, 'a')},
        {std::string(5000, 'a'), std::string(4096, 'a') + " [cut: 904 bytes]"},
        // A sequence across the bound goes whole into the cut part.
        {a4095 + euro + "b", a4095 + " [cut: 4 bytes]"},
        {std::string(4094, 'a') + euro + "b", std::string(4094, 'a') + " [cut: 4 bytes]"},
        // The kept part is escaped like any text.
        {"<" + std::string(4200, '&'), "&lt;" +
                                           []
                                           {
                                               std::string amps;
                                               for (int i = 0; i < 4095; ++i)
                                                   amps += "&amp;";
                                               return amps;
                                           }() +
                                           " [cut: 105 bytes]"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(HtmlText::FromDaemon(c.text), c.shown) << c.text.size();
}

TEST(HtmlText, OnceThePageBudgetIsSpentOnlyTheMarkRemains)
{
    PageTextBudget::Start();
    const std::string block(PageTextBudget::kMaxTextBytes, 'x');
    for (size_t spent = 0; spent + block.size() <= PageTextBudget::kPageBytes; spent += block.size())
        ASSERT_EQ(HtmlText::FromDaemon(block).size(), block.size()) << spent;
    EXPECT_EQ(HtmlText::FromDaemon("RX <9000>"), "[cut: 9 bytes]");
    EXPECT_EQ(HtmlText::FromDaemon(""), "");
    PageTextBudget::Start();
    EXPECT_EQ(HtmlText::FromDaemon("RX <9000>"), "RX &lt;9000&gt;") << "a new page starts afresh";
}
