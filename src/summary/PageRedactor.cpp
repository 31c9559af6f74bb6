#include "PageRedactor.h"

#include "HtmlEscape.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>

namespace
{
std::string KindOfTitle(const std::string& title)
{
    auto has = [&](const char* word) { return title.find(word) != std::string::npos; };
    if (has("Serial") || has("Chassis ID") || has("UUID") || has("Asset Tag"))
        return "serial";
    if (has("Host Name") || has("Hostname"))
        return "host";
    if (has("MAC"))
        return "mac";
    if (has("IP Address") || has("IP address"))
        return "ip";
    return {};
}

bool IsVersionTitle(const std::string& title)
{
    return title.find("Version") != std::string::npos || title.find("Firmware") != std::string::npos;
}

std::string Lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string Trimmed(const std::string& text)
{
    size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// Bytes that continue a word (a value, a token): a match must not start or end next to one.
// UTF-8 sequences count as letters.
bool IsWordByte(unsigned char c)
{
    return std::isalnum(c) || c == '_' || c == '-' || c >= 0x80;
}

size_t CaseFind(const std::string& text, const std::string& lowerNeedle, size_t from)
{
    auto it = std::search(text.begin() + static_cast<std::ptrdiff_t>(std::min(from, text.size())), text.end(),
                          lowerNeedle.begin(), lowerNeedle.end(),
                          [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
    return it == text.end() ? std::string::npos : static_cast<size_t>(it - text.begin());
}

bool IsHex(char c)
{
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// "10.1.0.1" must not match in "10.1.0.11" nor in "1.10.1.0.1": a neighbour that continues a
// word, or a dot that continues a dotted number, is no edge.
bool EdgeBefore(const std::string& text, size_t at)
{
    if (at == 0)
        return true;
    unsigned char c = text[at - 1];
    if (IsWordByte(c))
        return false;
    return !(c == '.' && at >= 2 && std::isdigit(static_cast<unsigned char>(text[at - 2])));
}

bool EdgeAfter(const std::string& text, size_t end)
{
    if (end >= text.size())
        return true;
    unsigned char c = text[end];
    if (IsWordByte(c))
        return false;
    return !(c == '.' && end + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[end + 1])));
}

bool IsAddress(const std::string& value)
{
    unsigned char binary[16];
    return inet_pton(AF_INET, value.c_str(), binary) == 1 || inet_pton(AF_INET6, value.c_str(), binary) == 1;
}

// A MAC address at text[at]: its length, 0 for none.
size_t MacAt(const std::string& text, size_t at)
{
    auto hexRun = [&](size_t from, size_t count)
    {
        if (from + count > text.size())
            return false;
        for (size_t i = from; i < from + count; ++i)
            if (!IsHex(text[i]))
                return false;
        return true;
    };
    if (at + 17 <= text.size() && (text[at + 2] == ':' || text[at + 2] == '-'))
    {
        bool ok = true;
        for (size_t i = 0; ok && i < 17; ++i)
            ok = i % 3 == 2 ? text[at + i] == text[at + 2] : IsHex(text[at + i]);
        if (ok)
            return 17;
    }
    if (hexRun(at, 4) && at + 14 <= text.size() && text[at + 4] == '.' && hexRun(at + 5, 4) &&
        text[at + 9] == '.' && hexRun(at + 10, 4))
        return 14;
    if (hexRun(at, 12))
        return 12;
    return 0;
}

// An IPv4 address (four numbers up to 255) at text[at]: its length, 0 for none.
size_t Ipv4At(const std::string& text, size_t at)
{
    size_t i = at;
    for (int part = 0; part < 4; ++part)
    {
        if (part > 0)
        {
            if (i >= text.size() || text[i] != '.')
                return 0;
            ++i;
        }
        size_t digits = 0;
        int number = 0;
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])) && digits < 4)
        {
            number = number * 10 + (text[i] - '0');
            ++i;
            ++digits;
        }
        if (digits == 0 || digits > 3 || number > 255)
            return 0;
    }
    return i - at;
}

// An IPv6 address at text[at]: the longest run of hex digits, colons and dots there that the
// system's own parser accepts (so "12:00:00" of a time is none).
size_t Ipv6At(const std::string& text, size_t at)
{
    size_t end = at;
    int colons = 0;
    while (end < text.size() && end - at < 45 && (IsHex(text[end]) || text[end] == ':' || text[end] == '.'))
        colons += text[end++] == ':';
    if (colons < 2)
        return 0;
    unsigned char binary[16];
    for (size_t length = end - at; length >= 2; --length)
        if (text.find(':', at) < at + length && EdgeAfter(text, at + length) &&
            inet_pton(AF_INET6, text.substr(at, length).c_str(), binary) == 1)
            return length;
    return 0;
}
} // namespace

bool PageRedactor::IsIdentifying(const std::string& value)
{
    static const char* const kPlaceholders[] = {"n/a",
                                                "na",
                                                "none",
                                                "null",
                                                "unknown",
                                                "not specified",
                                                "not available",
                                                "not present",
                                                "not applicable",
                                                "to be filled by o.e.m.",
                                                "default string",
                                                "empty",
                                                "undefined",
                                                "system serial number",
                                                "chassis serial number",
                                                "serial number",
                                                "asset tag",
                                                "no asset tag",
                                                "0123456789",
                                                "123456789",
                                                "localhost",
                                                "localhost.localdomain"};
    std::string v = Lower(Trimmed(value));
    if (v.size() < 3 || v.find_first_not_of(v[0]) == std::string::npos)
        return false;
    if (v.find_first_not_of("0123456789") == std::string::npos && v.size() < 4)
        return false;
    for (const char* placeholder : kPlaceholders)
        if (v == placeholder)
            return false;
    return true;
}

void PageRedactor::Remember(const std::string& kind, const std::string& raw)
{
    std::string value = Trimmed(raw);
    if (kind.empty() || !IsIdentifying(value))
        return;
    std::string actual = kind;
    // An address line may hold a MAC, and a host may be known by its address.
    if (kind != "serial" && MacAt(value, 0) == value.size())
        actual = "mac";
    else if (kind != "serial" && IsAddress(value))
        actual = "ip";
    else if (kind == "ip" || kind == "mac")
        return; // an address we cannot read is left to the patterns
    m_Key.TokenFor(actual, value);
    m_Replaced.insert(static_cast<size_t>(m_Key.Find(actual, value) - m_Key.Tokens().data()));
    if (actual == "host")
    {
        std::string shortName = value.substr(0, value.find('.'));
        if (shortName != value)
            Remember("host", shortName);
    }
}

void PageRedactor::Learn(const HostPage& page)
{
    m_Replaced.clear();
    m_Versions.clear();
    for (const PageSection& section : page.Sections)
    {
        std::string previous;
        for (const auto& line : section.Lines)
        {
            // The second address is the untitled line after "IP Address".
            std::string kind = line.first.empty() && previous == "ip" ? "ip" : KindOfTitle(line.first);
            Remember(kind, line.second);
            if (IsVersionTitle(line.first))
                m_Versions.insert(Trimmed(line.second));
            previous = kind;
        }
        for (const PageTable& table : section.Tables)
            for (size_t column = 0; column < table.Headings.size(); ++column)
            {
                std::string kind = KindOfTitle(table.Headings[column]);
                bool version = IsVersionTitle(table.Headings[column]);
                for (const PageRow& row : table.Rows)
                {
                    std::string cell = column == 0                     ? row.Text
                                       : column - 1 < row.Cells.size() ? row.Cells[column - 1]
                                                                       : std::string();
                    Remember(kind, cell);
                    if (version)
                        m_Versions.insert(Trimmed(cell));
                }
            }
    }
    Remember("host", page.Identity.HostName);
    for (const std::string& address : page.Identity.Addresses)
        Remember("ip", address);
    Remember("host", page.Collection);
    // A version is kept only when it is not also an address of this host.
    for (auto it = m_Versions.begin(); it != m_Versions.end();)
        it = m_Key.Find("ip", *it) ? m_Versions.erase(it) : std::next(it);
}

void PageRedactor::Index()
{
    const std::vector<RedactionKey::Token>& tokens = m_Key.Tokens();
    if (m_Indexed == tokens.size())
        return;
    for (; m_Indexed < tokens.size(); ++m_Indexed)
    {
        const RedactionKey::Token& token = tokens[m_Indexed];
        // Addresses are found by their patterns in any notation.
        if (token.Kind == "ip" || token.Kind == "mac")
            continue;
        std::string plain = Lower(token.Value), escaped = Lower(HtmlEscape(token.Value));
        m_Index[plain.substr(0, 2)].push_back({plain, plain == escaped, m_Indexed});
        if (plain != escaped)
        {
            m_Index[plain.substr(0, 2)].back().Html = false;
            m_Index[escaped.substr(0, 2)].push_back({escaped, true, m_Indexed});
        }
    }
    for (auto& bucket : m_Index)
        std::stable_sort(bucket.second.begin(), bucket.second.end(),
                         [](const Known& a, const Known& b) { return a.Written.size() > b.Written.size(); });
}

size_t PageRedactor::MatchAt(const std::string& text, size_t at, bool html, size_t& token)
{
    if (!EdgeBefore(text, at))
        return 0;
    auto accept = [&](const std::string& kind, size_t length)
    {
        std::string value = text.substr(at, length);
        m_Key.TokenFor(kind, value);
        token = static_cast<size_t>(m_Key.Find(kind, value) - m_Key.Tokens().data());
        return length;
    };
    if (at + 2 <= text.size())
    {
        auto bucket = m_Index.find(Lower(text.substr(at, 2)));
        if (bucket != m_Index.end())
            for (const Known& known : bucket->second)
            {
                size_t length = known.Written.size();
                if ((known.Html || !html) && at + length <= text.size() && EdgeAfter(text, at + length) &&
                    Lower(text.substr(at, length)) == known.Written)
                {
                    token = known.Token;
                    return length;
                }
            }
    }
    size_t mac = MacAt(text, at);
    if (mac > 0 && EdgeAfter(text, at + mac))
    {
        std::string written = text.substr(at, mac);
        // Twelve bare digits are a MAC only with a letter among them, or when this key knows it.
        bool bare = mac == 12;
        bool letter = std::any_of(written.begin(), written.end(),
                                  [](char c) { return std::isalpha(static_cast<unsigned char>(c)); });
        if (!bare || letter || m_Key.Find("mac", written))
            return accept("mac", mac);
    }
    size_t v6 = Ipv6At(text, at);
    if (v6 > 0)
        return accept("ip", v6);
    size_t v4 = Ipv4At(text, at);
    if (v4 > 0 && EdgeAfter(text, at + v4) && !m_Versions.count(text.substr(at, v4)))
        return accept("ip", v4);
    return 0;
}

std::string PageRedactor::RedactText(const std::string& text, bool html)
{
    Index();
    std::string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size();)
    {
        size_t token = 0;
        size_t length = MatchAt(text, at, html, token);
        if (length == 0)
        {
            out += text[at++];
            continue;
        }
        // A value learned just now (a new address) joins the index for the rest of the text.
        Index();
        out += m_Key.Tokens()[token].Name;
        m_Replaced.insert(token);
        at += length;
    }
    return out;
}

std::string PageRedactor::RedactName(const std::string& name)
{
    return RedactText(name, false);
}

std::string PageRedactor::Redact(const std::string& bytes)
{
    // Text between tags is redacted; tags, and the contents of the style sheet and the script,
    // are the page's own code and stay.
    std::string out;
    out.reserve(bytes.size());
    size_t at = 0;
    while (at < bytes.size())
    {
        if (bytes[at] != '<')
        {
            size_t next = bytes.find('<', at);
            size_t stop = next == std::string::npos ? bytes.size() : next;
            out += RedactText(bytes.substr(at, stop - at), true);
            at = stop;
            continue;
        }
        size_t close = bytes.find('>', at);
        size_t stop = close == std::string::npos ? bytes.size() : close + 1;
        std::string tag = Lower(bytes.substr(at, stop - at));
        for (const std::string element : {"script", "style"})
            if (tag.compare(1, element.size(), element) == 0 &&
                (tag.size() == element.size() + 1 || !IsWordByte(tag[element.size() + 1])))
            {
                size_t end = CaseFind(bytes, "</" + element, stop);
                stop = end == std::string::npos ? bytes.size() : end;
                break;
            }
        out.append(bytes, at, stop - at);
        at = stop;
    }
    return out;
}
