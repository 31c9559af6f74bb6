#include "PageRedactor.h"

#include "HtmlEscape.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

bool IsWordChar(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-';
}

// A value counts only as a whole word: "10.1.0.1" must not match inside "10.1.0.11", while a
// host name at the end of a sentence ("... from alpha.example.net.") still does.
bool Bounded(const std::string& text, size_t at, size_t length)
{
    auto edge = [&](size_t i, int step)
    {
        if (i >= text.size())
            return true;
        char c = text[i];
        if (IsWordChar(c))
            return false;
        if (c == '.' || c == ':')
        {
            size_t beyond = i + step;
            return beyond >= text.size() || !std::isalnum(static_cast<unsigned char>(text[beyond]));
        }
        return true;
    };
    return (at == 0 || edge(at - 1, -1)) && edge(at + length, 1);
}

// A MAC address is unmistakable wherever it stands (six hex pairs, one separator throughout), so
// it is found in any text, an event message included, not only under a heading that names it.
size_t FindMac(const std::string& text, size_t from)
{
    const size_t length = 17;
    for (size_t at = from; at + length <= text.size(); ++at)
    {
        char separator = text[at + 2];
        bool ok = separator == ':' || separator == '-';
        for (size_t i = 0; ok && i < length; ++i)
            ok = i % 3 == 2 ? text[at + i] == separator
                            : std::isxdigit(static_cast<unsigned char>(text[at + i])) != 0;
        if (ok && Bounded(text, at, length))
            return at;
    }
    return std::string::npos;
}

void ReplaceInText(std::string& text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
    {
        if (Bounded(text, at, from.size()))
        {
            text.replace(at, from.size(), to);
            at += to.size();
        }
        else
            ++at;
    }
}
} // namespace

std::string PageRedactor::TokenFor(const std::string& kind, const std::string& value)
{
    auto known = m_TokenOfValue.find(value);
    if (known != m_TokenOfValue.end())
        return known->second;
    std::string name = kind + "-" + std::to_string(++m_Counters[kind]);
    m_TokenOfValue[value] = name;
    m_Tokens.push_back({name, kind, value});
    return name;
}

std::string PageRedactor::Redact(const std::string& bytes, const HostPage& page)
{
    // value as written -> token, longest first so that a value inside another is not cut up.
    std::vector<std::pair<std::string, std::string>> replacements;
    auto add = [&](const std::string& kind, const std::string& value)
    {
        if (kind.empty() || value.empty() || value == "N/A")
            return;
        std::string written = HtmlEscape(value);
        for (const auto& r : replacements)
            if (r.first == written)
                return;
        replacements.emplace_back(written, TokenFor(kind, value));
    };
    for (const PageSection& section : page.Sections)
    {
        std::string previous;
        for (const auto& line : section.Lines)
        {
            // The second address is the untitled line after "IP Address".
            std::string kind = line.first.empty() && previous == "ip" ? "ip" : KindOfTitle(line.first);
            if (kind == "ip" && line.second.find(':') != std::string::npos && line.second.size() == 17 &&
                line.second.find('.') == std::string::npos &&
                std::count(line.second.begin(), line.second.end(), ':') == 5)
                kind = "mac";
            add(kind, line.second);
            previous = kind == "mac" ? "ip" : kind;
        }
        for (const PageTable& table : section.Tables)
            for (size_t column = 0; column < table.Headings.size(); ++column)
            {
                std::string kind = KindOfTitle(table.Headings[column]);
                if (kind.empty())
                    continue;
                for (const PageRow& row : table.Rows)
                    add(kind, column == 0                     ? row.Text
                              : column - 1 < row.Cells.size() ? row.Cells[column - 1]
                                                              : "");
            }
    }
    std::sort(replacements.begin(), replacements.end(),
              [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
    // Only text between tags of the body is touched: the head (style sheet, icons) and the
    // script stay as they are, and so does every tag.
    size_t begin = bytes.find("<body");
    size_t end = bytes.rfind("<script");
    if (begin == std::string::npos)
        return bytes;
    if (end == std::string::npos || end < begin)
        end = bytes.size();
    std::string out(bytes, 0, begin);
    size_t at = begin;
    while (at < end)
    {
        if (bytes[at] == '<')
        {
            size_t close = bytes.find('>', at);
            size_t stop = close == std::string::npos || close >= end ? end : close + 1;
            out.append(bytes, at, stop - at);
            at = stop;
            continue;
        }
        size_t next = bytes.find('<', at);
        size_t stop = next == std::string::npos || next > end ? end : next;
        std::string text(bytes, at, stop - at);
        for (const auto& r : replacements)
            ReplaceInText(text, r.first, r.second);
        for (size_t mac = FindMac(text, 0); mac != std::string::npos; mac = FindMac(text, mac))
        {
            std::string token = TokenFor("mac", text.substr(mac, 17));
            text.replace(mac, 17, token);
            mac += token.size();
        }
        out += text;
        at = stop;
    }
    out.append(bytes, end, std::string::npos);
    return out;
}

std::string PageRedactor::KeyJson() const
{
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> w(buffer);
    w.SetIndent(' ', 2);
    w.StartObject();
    w.Key("tokens");
    w.StartArray();
    for (const Token& token : m_Tokens)
    {
        w.StartObject();
        w.Key("token");
        w.String(token.Name.c_str());
        w.Key("kind");
        w.String(token.Kind.c_str());
        w.Key("value");
        w.String(token.Value.data(), static_cast<rapidjson::SizeType>(token.Value.size()));
        w.EndObject();
    }
    w.EndArray();
    w.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

bool PageRedactor::WriteKey(const std::string& path, std::string& error) const
{
    // O_EXCL: an existing key (perhaps of another run) is never overwritten or followed through
    // a link; fchmod: the mode holds whatever the umask says.
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
    {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    std::string text = KeyJson();
    bool ok = fchmod(fd, 0600) == 0;
    for (size_t done = 0; ok && done < text.size();)
    {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        ok = n > 0;
        done += n > 0 ? static_cast<size_t>(n) : 0;
    }
    if (close(fd) != 0)
        ok = false;
    if (!ok)
        error = path + ": " + std::strerror(errno);
    return ok;
}
