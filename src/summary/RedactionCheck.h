#pragma once

#include "RedactionKey.h"

#include <set>
#include <string>
#include <vector>

// The last word on a redacted copy: every value that was replaced in it is looked for again, in
// every notation and letter case it may take, by a search that shares nothing with the redactor.
// Only the style sheet and the script (the page's own code) are left out of the search.
namespace RedactionCheck
{
// The values of the given tokens of key that still stand in text (empty when none).
std::vector<std::string> Remaining(const std::string& text, const RedactionKey& key,
                                   const std::set<size_t>& tokens);

// The notations a value may be written in, in lower case ("00:1b:21:aa:bb:cc", "001b.21aa.bbcc",
// "001b21aabbcc", ... for a MAC address).
std::vector<std::string> Notations(const RedactionKey::Token& token);
} // namespace RedactionCheck
