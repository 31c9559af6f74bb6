#include "PageRedactor.h"
#include "RedactionCheck.h"

#include <gtest/gtest.h>

namespace
{
// A page that names one host: what Learn would find in its information block.
HostPage Host(const std::string& name, const std::string& serial, const std::string& address)
{
    HostPage page;
    PageSection system;
    system.Block = "System Information";
    system.Title = "System";
    system.Lines = {{"Serial Number", serial}, {"Asset Tag", "0"}, {"BIOS Version", "10.1.0.5"}};
    PageSection os;
    os.Block = "System Information";
    os.Title = "Operating System";
    os.Lines = {{"Host Name", name}, {"IP Address", address}, {"", "fd00:0:0:1::11"}};
    page.Sections = {system, os};
    page.Identity.HostName = name;
    page.Collection = "db-07";
    return page;
}
} // namespace

// Every identifying form is replaced wherever it stands in a text: at its start, in its middle
// and at its end, next to punctuation and ports.
TEST(PageRedactor, EveryFormAtStartMiddleAndEnd)
{
    struct Case
    {
        const char* Form;
        const char* Written;
        const char* Token; // the token it must become ("" : it must stay)
    };
    const Case cases[] = {
        {"IPv4", "10.1.0.11", "ip-1"},
        {"IPv4 of another host", "192.168.7.1", "ip-3"},
        {"IPv6", "fd00:0:0:1::11", "ip-2"},
        {"IPv6 in another notation", "FD00::1:0:0:0:11", "ip-2"},
        {"IPv6 link-local", "fe80::21b:21ff:feaa:bbcc", "ip-3"},
        {"MAC with colons", "00:1b:21:aa:bb:cc", "mac-1"},
        {"MAC with dashes", "00-1B-21-AA-BB-CC", "mac-1"},
        {"MAC in dotted groups", "001b.21aa.bbcc", "mac-1"},
        {"MAC as bare digits", "001B21AABBCC", "mac-1"},
        {"host name", "alpha.example.net", "host-1"},
        {"host name in capitals", "ALPHA.EXAMPLE.NET", "host-1"},
        {"short host name", "alpha", "host-2"},
        {"short host name in capitals", "Alpha", "host-2"},
        {"host folder name", "db-07", "host-3"},
        {"serial number", "YM1H000001", "serial-1"},
        {"serial number in lower case", "ym1h000001", "serial-1"},
        {"an asset tag of 0", "0", ""},
        {"a version under a version heading", "10.1.0.5", ""},
        {"a time of day", "12:30:45", ""},
        {"a byte count of twelve digits", "500107862016", ""},
        {"an address inside a longer dotted number", "10.1.0.11.5", ""},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Form);
        std::string expected = *c.Token ? c.Token : c.Written;
        const std::pair<std::string, std::string> placings[] = {
            {std::string(c.Written) + " is it", expected + " is it"},
            {std::string("seen (") + c.Written + "), twice", std::string("seen (") + expected + "), twice"},
            {std::string("from ") + c.Written + ".", std::string("from ") + expected + "."},
            {std::string("to ") + c.Written + ":22", std::string("to ") + expected + ":22"},
        };
        for (const auto& placing : placings)
        {
            // "fd00::11:22" is one longer IPv6 address: a port needs brackets there (tested below).
            if (std::string(c.Form).find("IPv6") != std::string::npos &&
                placing.first.find(":22") != std::string::npos)
                continue;
            // A fresh key each time, values learned in the same order, so tokens are predictable.
            RedactionKey key;
            PageRedactor redactor(key);
            redactor.Learn(Host("alpha.example.net", "YM1H000001", "10.1.0.11"));
            key.TokenFor("mac", "00:1b:21:aa:bb:cc");
            EXPECT_EQ(redactor.RedactName(placing.first), placing.second);
            EXPECT_EQ(redactor.Redact("<p>" + placing.first + "</p>"), "<p>" + placing.second + "</p>");
        }
    }
}

TEST(PageRedactor, BracketedAddressesAndPortsKeepTheirPunctuation)
{
    RedactionKey key;
    PageRedactor redactor(key);
    EXPECT_EQ(redactor.RedactName("ssh [fd00::1]:22 and 10.1.0.11:8080/x"), "ssh [ip-1]:22 and ip-2:8080/x");
    EXPECT_EQ(redactor.RedactName("fe80::1%eth0"), "ip-3%eth0");
}

// Tags, the style sheet and the script are the page's own code: a value there is not text.
TEST(PageRedactor, OnlyTextBetweenTagsChanges)
{
    RedactionKey key;
    PageRedactor redactor(key);
    redactor.Learn(Host("alpha.example.net", "YM1H000001", "10.1.0.11"));
    const std::string page = "<html><head><style>.alpha{color:red}</style></head><body class=\"alpha\">"
                             "<div>alpha &amp; 10.1.0.11</div><script>var alpha = '10.1.0.11';</script>"
                             "</body></html>";
    EXPECT_EQ(redactor.Redact(page),
              "<html><head><style>.alpha{color:red}</style></head><body class=\"alpha\">"
              "<div>host-2 &amp; ip-1</div><script>var alpha = '10.1.0.11';</script>"
              "</body></html>");
}

TEST(PageRedactor, ValuesTooShortOrTooCommonToIdentify)
{
    struct Case
    {
        const char* Value;
        bool Identifying;
    } cases[] = {{"0", false},
                 {"N/A", false},
                 {"x", false},
                 {"ab", false},
                 {"000000", false},
                 {"123", false},
                 {"Not Specified", false},
                 {"To Be Filled By O.E.M.", false},
                 {"1234", true},
                 {"db1", true},
                 {"YM1H000001", true},
                 {" alpha ", true}};
    for (const Case& c : cases)
        EXPECT_EQ(PageRedactor::IsIdentifying(c.Value), c.Identifying) << c.Value;
}

// The check after writing finds a replaced value in any notation it may take.
TEST(RedactionCheck, FindsEveryNotationOfAValueLeftBehind)
{
    RedactionKey key;
    key.TokenFor("mac", "00:1b:21:aa:bb:cc");
    key.TokenFor("host", "alpha.example.net");
    key.TokenFor("ip", "fd00::11");
    key.TokenFor("serial", "Asset & Co");
    const std::set<size_t> all = {0, 1, 2, 3};
    struct Case
    {
        const char* Text;
        size_t Found;
    } cases[] = {{"clean: mac-1 host-1 ip-1 serial-1", 0},
                 {"nic 001B.21AA.BBCC up", 1},
                 {"nic 00-1b-21-aa-bb-cc", 1},
                 {"ALPHA.example.NET", 1},
                 {"at fd00:0:0:0:0:0:0:11", 0}, // only the written and the canonical form are searched
                 {"at FD00::11:22", 1},         // written like an address and a port
                 {"at [fd00::11]:22", 1},
                 {"Asset &amp; Co", 1},
                 {"<style>.alpha.example.net{}</style><script>alpha.example.net</script>", 0},
                 {"xalpha.example.net", 0}};
    for (const Case& c : cases)
        EXPECT_EQ(RedactionCheck::Remaining(c.Text, key, all).size(), c.Found) << c.Text;
}
