#pragma once

#include "HostPage.h"
#include "RedactionKey.h"

#include <map>
#include <set>
#include <string>
#include <vector>

// Replaces what identifies a server by tokens of a RedactionKey ("serial-1", "host-2", "ip-3",
// "mac-1") in the bytes of pages and in the names of their copies:
//  - the identity values a page lists (serial numbers, chassis IDs, UUIDs, asset tags, host
//    names and their short forms, the host's folder name), wherever they stand, in any case;
//  - every IPv4 and IPv6 address, with or without a port, and every MAC address written
//    aa:bb:cc:dd:ee:ff, aa-bb-cc-dd-ee-ff, aabb.ccdd.eeff or as twelve bare hex digits (with at
//    least one letter, so that a 12-digit byte count stays), wherever it stands.
// Values too short or too common to identify anything ("0", "N/A", "Not Specified") stay, and
// so does a version number that only looks like an IPv4 address under a "Version" or
// "Firmware" heading. Only text is touched: tags, the style sheet and the script stay as they
// are, and so does every byte that is not replaced.
class PageRedactor
{
public:
    explicit PageRedactor(RedactionKey& key) : m_Key(key) {}

    // Learns the identity values of page (and of its folder, page.Collection) into the key.
    void Learn(const HostPage& page);
    // The HTML bytes of a page with every known value and every address replaced.
    std::string Redact(const std::string& bytes);
    // One file or folder name of a copy, redacted the same way.
    std::string RedactName(const std::string& name);

    // The values Learn found on the last page and those Redact and RedactName replaced since
    // the last Learn: what the copy must no longer hold.
    const std::set<size_t>& Replaced() const { return m_Replaced; } // indexes into the key's Tokens()

    // Whether a value is worth a token: at least three characters, not one character repeated,
    // at least four digits when it is a number, and no placeholder text.
    static bool IsIdentifying(const std::string& value);

private:
    struct Known
    {
        std::string Written; // lower case, as it stands in the text
        bool Html;           // the form for page text (escaped) rather than for file names
        size_t Token;        // index into the key's Tokens()
    };
    void Remember(const std::string& kind, const std::string& value);
    void Index();
    std::string RedactText(const std::string& text, bool html);
    // Length of the match at text[at] (0 for none) and the token that replaces it.
    size_t MatchAt(const std::string& text, size_t at, bool html, size_t& token);

    RedactionKey& m_Key;
    std::set<std::string> m_Versions; // IPv4-like values under a version heading of this page
    std::set<size_t> m_Replaced;
    std::map<std::string, std::vector<Known>> m_Index; // by the first two bytes, longest first
    size_t m_Indexed = 0;
};
