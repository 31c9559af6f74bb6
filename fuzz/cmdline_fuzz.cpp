// The command line: the input's lines are the words of argv (the first is the program name).
// Parsed with and without regard to case, with the program's prefix and with two prefixes, and
// asked for the keys the program knows and for every key it found.

#include "CmdLineOptions.h"

#include <string>
#include <vector>

namespace
{
void Ask(const CmdLineOptions& options, const std::vector<const char*>& argv)
{
    static const char* const kKeys[] = {"output", "-output", "clearstatus", "autostart", "?", "-?", "", "-"};
    for (const char* key : kKeys)
    {
        options.Find(key);
        options.Values(key);
    }
    for (const char* word : argv)
    {
        if (options.Find(word))
            options.Values(word);
    }
    options.ProgramName();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<std::string> words;
    std::string word;
    for (size_t i = 0; i < size; ++i)
    {
        if (data[i] == '\n')
        {
            words.push_back(word);
            word.clear();
        }
        else
            word += static_cast<char>(data[i]);
    }
    words.push_back(word);

    // argv words are C strings: an embedded zero byte ends a word there, as it would.
    std::vector<const char*> argv;
    for (const std::string& each : words)
        argv.push_back(each.c_str());
    const int argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);

    for (const char* prefixes : {"-", "-/"})
    {
        for (bool caseInsensitive : {true, false})
        {
            CmdLineOptions options(prefixes);
            options.Parse(argc, argv.data(), caseInsensitive);
            Ask(options, std::vector<const char*>(argv.begin(), argv.end() - 1));
        }
    }
    return 0;
}
