#include "RedactionKey.h"

#include "HtmlEscape.h"
#include "OutputFile.h"
#include "ReadFully.h"
#include "SafeOpen.h"

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char* const kKinds[] = {"serial", "host", "ip", "mac"};

bool IsTokenByte(unsigned char c)
{
    return std::isalnum(c) || c == '_' || c == '-' || c >= 0x80;
}

std::string Lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}
} // namespace

std::string RedactionKey::Normalized(const std::string& kind, const std::string& value)
{
    if (kind == "mac")
    {
        std::string digits;
        for (char c : value)
            if (std::isxdigit(static_cast<unsigned char>(c)))
                digits += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return digits;
    }
    if (kind == "ip" && value.find(':') != std::string::npos)
    {
        unsigned char binary[16];
        char text[INET6_ADDRSTRLEN];
        if (inet_pton(AF_INET6, value.c_str(), binary) == 1 && inet_ntop(AF_INET6, binary, text, sizeof text))
            return text;
    }
    return Lower(value);
}

bool RedactionKey::Add(const Token& token)
{
    std::string key = token.Kind + '\n' + Normalized(token.Kind, token.Value);
    if (m_ByValue.count(key) || m_ByName.count(token.Name))
        return false;
    m_ByValue[key] = m_Tokens.size();
    m_ByName[token.Name] = m_Tokens.size();
    m_Tokens.push_back(token);
    // The next token of the kind follows the highest number in use.
    std::string prefix = token.Kind + "-";
    if (token.Name.compare(0, prefix.size(), prefix) == 0)
    {
        int number = std::atoi(token.Name.c_str() + prefix.size());
        int& counter = m_Counters[token.Kind];
        counter = std::max(counter, number);
    }
    return true;
}

const std::string& RedactionKey::TokenFor(const std::string& kind, const std::string& value)
{
    auto known = m_ByValue.find(kind + '\n' + Normalized(kind, value));
    if (known != m_ByValue.end())
        return m_Tokens[known->second].Name;
    Add({kind + "-" + std::to_string(m_Counters[kind] + 1), kind, value});
    return m_Tokens.back().Name;
}

const RedactionKey::Token* RedactionKey::Find(const std::string& kind, const std::string& value) const
{
    auto known = m_ByValue.find(kind + '\n' + Normalized(kind, value));
    return known == m_ByValue.end() ? nullptr : &m_Tokens[known->second];
}

bool RedactionKey::Load(const std::string& path, std::string& error)
{
    int fd = SafeOpen::ForReading(path, false);
    if (fd < 0 && errno == ENOENT)
        return true;
    if (fd < 0 && errno != EINVAL)
    {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || st.st_size > (64 << 20))
    {
        close(fd);
        error = path + ": not a redaction key (not a regular file, or too large)";
        return false;
    }
    std::string text(static_cast<size_t>(st.st_size), '\0');
    text.resize(text.empty() ? 0 : ReadFully(fd, &text[0], text.size()));
    close(fd);
    rapidjson::Document json;
    json.Parse(text.c_str(), text.size());
    if (json.HasParseError() || !json.IsObject() || !json.HasMember("tokens") || !json["tokens"].IsArray())
    {
        error = path + ": not a redaction key";
        return false;
    }
    for (const auto& entry : json["tokens"].GetArray())
    {
        auto field = [&](const char* name)
        {
            return entry.IsObject() && entry.HasMember(name) && entry[name].IsString()
                       ? std::string(entry[name].GetString(), entry[name].GetStringLength())
                       : std::string();
        };
        Token token{field("token"), field("kind"), field("value")};
        bool knownKind = false;
        for (const char* kind : kKinds)
            knownKind = knownKind || token.Kind == kind;
        if (!knownKind || token.Value.empty() ||
            token.Name.compare(0, token.Kind.size() + 1, token.Kind + "-") != 0 || !Add(token))
        {
            error = path + ": not a redaction key (a bad or repeated token: " + token.Name + ")";
            return false;
        }
    }
    return true;
}

std::string RedactionKey::Json() const
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

bool RedactionKey::Save(const std::string& path, std::string& error) const
{
    OutputFile out;
    if (!out.Create(path) || !out.Write(Json()) || !out.Commit())
    {
        error = out.Error();
        return false;
    }
    return true;
}

std::string RedactionKey::Restore(const std::string& text, bool html) const
{
    std::string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size();)
    {
        bool start = at == 0 || !IsTokenByte(static_cast<unsigned char>(text[at - 1]));
        size_t end = at;
        if (start)
            while (end < text.size() && IsTokenByte(static_cast<unsigned char>(text[end])))
                ++end;
        auto token = end > at ? m_ByName.find(text.substr(at, end - at)) : m_ByName.end();
        if (token == m_ByName.end())
        {
            out += text[at++];
            continue;
        }
        const std::string& value = m_Tokens[token->second].Value;
        out += html ? HtmlEscape(value) : value;
        at = end;
    }
    return out;
}
