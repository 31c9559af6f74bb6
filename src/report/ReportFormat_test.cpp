#include "CConfigSpaceQuery.h"
#include "CellFormat.h"
#include "FakeQueryClient.h"
#include "HostCaptureInformation.h"
#include "HtmlText.h"

#include <gtest/gtest.h>

TEST(CellFormat, GigabytesRoundExactHalvesToEven)
{
    EXPECT_EQ(CellFormat::Gigabytes(1048576), "1024");
    EXPECT_EQ(CellFormat::Gigabytes(1535), "1");
    EXPECT_EQ(CellFormat::Gigabytes(1536), "2"); // 1.5
    EXPECT_EQ(CellFormat::Gigabytes(2560), "2"); // 2.5
    EXPECT_EQ(CellFormat::Gigabytes(0), "0");
    EXPECT_EQ(CellFormat::Gigabytes(0xFFFFFFFF), "4194304");
}

TEST(CellFormat, VoltsAndSignedThresholdHalves)
{
    EXPECT_EQ(CellFormat::Volts(1205), "12.05");
    EXPECT_EQ(CellFormat::Volts(0), "0.00");
    EXPECT_EQ(CellFormat::ThresholdMinimum(0x0BB8FD44), "-7.00");
    EXPECT_EQ(CellFormat::ThresholdMaximum(0x0BB8FD44), "30.00");
    EXPECT_EQ(CellFormat::ThresholdMinimum(0xFFF601F4), "5.00");
    EXPECT_EQ(CellFormat::ThresholdMaximum(0xFFF601F4), "-0.10");
    EXPECT_EQ(CellFormat::ThresholdMinimum(0x80000000), "0.00");
    EXPECT_EQ(CellFormat::ThresholdMaximum(0x80000000), "-327.68");
}

TEST(CellFormat, GigahertzAndMemorySize)
{
    EXPECT_EQ(CellFormat::Gigahertz(2400), "2.400");
    EXPECT_EQ(CellFormat::Gigahertz(0), "0.000");
    EXPECT_EQ(CellFormat::Gigahertz(0xFFFFFFFF), "4294967.295");
    EXPECT_EQ(CellFormat::MemorySize(16384), "16");
    EXPECT_EQ(CellFormat::MemorySize(1536), "1");
    EXPECT_EQ(CellFormat::MemorySize(1023), "0");
    EXPECT_EQ(CellFormat::MemorySize(0), " ");
}

TEST(CellFormat, RowHeadFromCodedEscapesText)
{
    const RowHead head = CellFormat::RowHeadFromCoded({3, "Fail <now>"});
    EXPECT_EQ(head.Status, 3u);
    EXPECT_EQ(head.Text, "Fail &lt;now&gt;");
}

TEST(FormatDuration, KeepsItsBlanksAndPluralForms)
{
    EXPECT_EQ(HostCaptureInformation::FormatDuration(0), "");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(59), "");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(86400), "1 days ");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(3660), "1 hours 1 minutes");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(3 * 3600), "3 hours ");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(2 * 86400 + 3 * 3600 + 5 * 60 + 59),
              "2 days 3 hours 5 minutes");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(86400 + 60), "1 days 1 minutes");
    EXPECT_EQ(HostCaptureInformation::FormatDuration(0xFFFFFFFF), "49710 days 6 hours 28 minutes");
}

TEST(Ipv6Fallback, FormatsByteByByte)
{
    uint8_t bytes[16] = {};
    EXPECT_EQ(HostCaptureInformation::FormatIpv6Fallback(bytes), "::");
    bytes[15] = 1;
    EXPECT_EQ(HostCaptureInformation::FormatIpv6Fallback(bytes), "::1");

    const uint8_t documentation[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0x12, 0x34, 0, 0x0a};
    EXPECT_EQ(HostCaptureInformation::FormatIpv6Fallback(documentation), "2001:db8:0:0:0:0:1234:a");

    // Leading zero bytes of a group are dropped and zero low bytes are written without padding,
    // exactly as the formatter has always done it.
    const uint8_t quirks[16] = {0, 0xff, 0x01, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
    EXPECT_EQ(HostCaptureInformation::FormatIpv6Fallback(quirks), "ff:10:0:0:0:0:0:2");
}

TEST(GetIpAddresses, FormatsEachAnswerByItsLength)
{
    FakeQueryClient daemon;
    CConfigSpaceQuery query;
    query.Bind(&daemon, 0, "/opt/TessmarkQDX/bin/tmqdx");

    daemon.AnswerRaw(0xE108, 0, 0, {192, 168, 0, 1});
    daemon.AnswerRaw(0xE108, 1, 0, std::vector<uint8_t>(16, 0));
    EXPECT_EQ(HostCaptureInformation::GetIpAddresses(query), (std::vector<std::string>{"192.168.0.1", "::"}));

    std::vector<uint8_t> loopback(16, 0);
    loopback[15] = 1;
    daemon.AnswerRaw(0xE108, 0, 0, loopback);
    daemon.AnswerRaw(0xE108, 1, 0, {1, 2, 3, 4, 5});
    EXPECT_EQ(HostCaptureInformation::GetIpAddresses(query), (std::vector<std::string>{"::1", ""}));

    const std::vector<uint8_t> v6 = {0xfe, 0x80, 0,    0,    0,    0,    0,    0,
                                     0x02, 0x1b, 0x21, 0xff, 0xfe, 0x3c, 0x4d, 0x5e};
    daemon.Fail(0xE108, 0, 0, 21);
    daemon.AnswerRaw(0xE108, 1, 0, v6);
    EXPECT_EQ(HostCaptureInformation::GetIpAddresses(query),
              (std::vector<std::string>{"fe80::21b:21ff:fe3c:4d5e"}));

    daemon.Fail(0xE108, 1, 0, 255);
    EXPECT_TRUE(HostCaptureInformation::GetIpAddresses(query).empty());
}

TEST(GetServiceDisplayName, DependsOnTheServicePath)
{
    CConfigSpaceQuery query;
    EXPECT_EQ(HostCaptureInformation::GetServiceDisplayName(query), "Unknown Tessmark Service");
    FakeQueryClient daemon;
    query.Bind(&daemon, 0, "/opt/TessmarkQDX/bin/tmqdx");
    EXPECT_EQ(HostCaptureInformation::GetServiceDisplayName(query), "Tessmark Quorum Data Exchange");
    query.Bind(&daemon, 0, "/opt/Other/bin/agent");
    EXPECT_EQ(HostCaptureInformation::GetServiceDisplayName(query), "Unknown Tessmark Service");
}

TEST(HtmlText, EscapesMarkupCharacters)
{
    EXPECT_EQ(HtmlText::Escape("DIMM <A1>"), "DIMM &lt;A1&gt;");
    EXPECT_EQ(HtmlText::Escape("a & \"b\" 'c'"), "a &amp; &quot;b&quot; 'c'");
    EXPECT_EQ(HtmlText::Escape("&amp;"), "&amp;amp;");
    EXPECT_EQ(HtmlText::FromDaemon("<script>alert(1)</script>"), "&lt;script&gt;alert(1)&lt;/script&gt;");
}

TEST(HtmlText, RepairsInvalidUtf8AndControlCharacters)
{
    const std::string fffd = "\xEF\xBF\xBD";
    // Valid text of every sequence length passes unchanged, tab included.
    const std::string valid = "a\t\xC2\xB0"
                              "C \xE2\x82\xAC \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF";
    EXPECT_EQ(HtmlText::RepairUtf8(valid), valid);

    EXPECT_EQ(HtmlText::RepairUtf8("a\nb\rc\x01\x7F"), "a" + fffd + "b" + fffd + "c" + fffd + fffd);
    EXPECT_EQ(HtmlText::RepairUtf8("\xC2\x85"), fffd);                              // C1 control
    EXPECT_EQ(HtmlText::RepairUtf8("\x80x"), fffd + "x");                           // stray continuation
    EXPECT_EQ(HtmlText::RepairUtf8("\xC0\xAF"), fffd + fffd);                       // overlong '/'
    EXPECT_EQ(HtmlText::RepairUtf8("\xE0\x80\xAF"), fffd + fffd + fffd);            // overlong, three bytes
    EXPECT_EQ(HtmlText::RepairUtf8("\xED\xA0\x80"), fffd + fffd + fffd);            // surrogate
    EXPECT_EQ(HtmlText::RepairUtf8("\xF4\x90\x80\x80"), fffd + fffd + fffd + fffd); // above U+10FFFF
    EXPECT_EQ(HtmlText::RepairUtf8("ok\xE2\x82"), "ok" + fffd + fffd);              // cut off at the end
    EXPECT_EQ(HtmlText::RepairUtf8("\xFF\xFE"), fffd + fffd);
    EXPECT_EQ(HtmlText::RepairUtf8(std::string("a\0b", 3)), "a" + fffd + "b");

    EXPECT_EQ(HtmlText::FromDaemon("\xFF<"), fffd + "&lt;");
}
