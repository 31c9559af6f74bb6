#pragma once

#include "HostPage.h"

#include <map>
#include <string>
#include <vector>

// Replaces serial numbers, host names and IP and MAC addresses in the bytes of pages by tokens
// ("serial-1", "host-2", "ip-3", "mac-1"). One redactor serves one run: the same value gets the
// same token on every page. Everything else of a page stays byte for byte as it was.
class PageRedactor
{
public:
    struct Token
    {
        std::string Name;  // "serial-1"
        std::string Kind;  // "serial", "host", "ip", "mac"
        std::string Value; // what it stands for, as the page shows it
    };

    // page is the reading of bytes; it names which values are sensitive.
    std::string Redact(const std::string& bytes, const HostPage& page);
    const std::vector<Token>& Tokens() const { return m_Tokens; }

    // The token key as JSON, for the separate key file.
    std::string KeyJson() const;
    // Creates path with mode 0600 (never an existing file) and writes the key into it.
    bool WriteKey(const std::string& path, std::string& error) const;

private:
    std::string TokenFor(const std::string& kind, const std::string& value);
    std::map<std::string, std::string> m_TokenOfValue;
    std::map<std::string, int> m_Counters;
    std::vector<Token> m_Tokens;
};
