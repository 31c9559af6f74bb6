#pragma once

#include <map>
#include <string>
#include <vector>

// Turns a command line into a map from option key to the words that followed the option. It knows
// no option names: the caller parses once and then asks for the keys it understands.
//
// An option is a word of at least two characters that starts with one of the prefix characters
// and whose second character is not a digit (so "-5" is a value, not an option). Each option
// takes the next word when that is not an option; later plain words go to the last option seen.
// When an option occurs twice, the first occurrence wins and the second is dropped with its value.
class CmdLineOptions
{
public:
    explicit CmdLineOptions(const std::string& prefixes = "-");

    // Returns the number of distinct options found.
    int Parse(int argc, const char* const* argv, bool caseInsensitive);
    // The key may be given with or without its prefix character ("-output" or "output").
    bool Find(const std::string& key) const;
    // The words that followed the option; empty when it had none or is not present.
    std::vector<std::string> Values(const std::string& key) const;
    // The first argument after its last "/".
    const std::string& ProgramName() const { return m_programName; }

private:
    bool IsOption(const char* word) const;
    std::string FoldCase(std::string text) const;
    std::string PrepareKey(const std::string& key) const;

    std::map<std::string, std::vector<std::string>> m_options;
    std::string m_prefixes;
    std::string m_programName;
    bool m_caseInsensitive = false;
};
