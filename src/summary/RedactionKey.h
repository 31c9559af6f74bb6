#pragma once

#include <map>
#include <string>
#include <vector>

// The key of a redaction: which token stands for which value. It lives outside the folder of
// copies (that folder goes to a vendor, the key stays), is loaded again by the next run and only
// ever extended, so a value keeps its token from one month to the next.
class RedactionKey
{
public:
    struct Token
    {
        std::string Name;  // "serial-7"
        std::string Kind;  // "serial", "host", "ip", "mac"
        std::string Value; // the value as first seen
    };

    // Reads a key an earlier run wrote. A missing file is an empty key; anything else that is
    // not a key of ours (a link, not JSON, a token twice) fails with a reason.
    bool Load(const std::string& path, std::string& error);
    // Replaces path by the key, mode 0600.
    bool Save(const std::string& path, std::string& error) const;

    // How values of a kind are told apart: host names and serial numbers without regard to
    // case, MAC addresses by their twelve digits whatever the notation, IPv6 addresses in their
    // canonical form.
    static std::string Normalized(const std::string& kind, const std::string& value);

    // The token of a value, made (the next number of its kind) when the value is new.
    const std::string& TokenFor(const std::string& kind, const std::string& value);
    const Token* Find(const std::string& kind, const std::string& value) const;
    const std::vector<Token>& Tokens() const { return m_Tokens; }
    std::string Json() const;

    // text with every token of this key put back to its value (escaped for HTML with html).
    std::string Restore(const std::string& text, bool html) const;

private:
    bool Add(const Token& token);

    std::vector<Token> m_Tokens;
    std::map<std::string, size_t> m_ByValue; // kind + '\n' + normalized value
    std::map<std::string, size_t> m_ByName;
    std::map<std::string, int> m_Counters;
};
