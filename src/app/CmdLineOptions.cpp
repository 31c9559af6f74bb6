#include "CmdLineOptions.h"

#include <cctype>
#include <cstring>

CmdLineOptions::CmdLineOptions(const std::string& prefixes) : m_prefixes(prefixes) {}

bool CmdLineOptions::IsOption(const char* word) const
{
    // A prefix followed by a digit is a negative number, which belongs to the previous option.
    return word != nullptr && word[0] != '\0' && word[1] != '\0' &&
           m_prefixes.find(word[0]) != std::string::npos && !(word[1] >= '0' && word[1] <= '9');
}

std::string CmdLineOptions::FoldCase(std::string text) const
{
    if (m_caseInsensitive)
    {
        for (char& c : text)
            c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

std::string CmdLineOptions::PrepareKey(const std::string& key) const
{
    std::string prepared = FoldCase(key);
    if (prepared.size() > 1 && m_prefixes.find(prepared[0]) != std::string::npos)
        prepared.erase(0, 1);
    return prepared;
}

int CmdLineOptions::Parse(int argc, const char* const* argv, bool caseInsensitive)
{
    m_options.clear();
    m_caseInsensitive = caseInsensitive;
    if (argc < 1 || argv == nullptr)
        return 0;

    if (argv[0] != nullptr && argv[0][0] != '\0')
    {
        const char* slash = strrchr(argv[0], '/');
        m_programName = slash != nullptr ? slash + 1 : argv[0];
    }

    std::string lastOption;
    for (int i = 1; i < argc; ++i)
    {
        const char* word = argv[i];
        if (IsOption(word))
        {
            lastOption = word;
            std::vector<std::string> values;
            if (i + 1 < argc && argv[i + 1] != nullptr && !IsOption(argv[i + 1]))
            {
                values.push_back(argv[i + 1]);
                ++i;
            }
            // emplace keeps an existing entry: the first occurrence of an option wins.
            m_options.emplace(FoldCase(word + 1), std::move(values));
        }
        else if (word != nullptr && !lastOption.empty())
        {
            auto entry = m_options.find(PrepareKey(lastOption));
            if (entry != m_options.end())
                entry->second.push_back(word);
        }
    }
    return static_cast<int>(m_options.size());
}

bool CmdLineOptions::Find(const std::string& key) const
{
    return m_options.count(PrepareKey(key)) != 0;
}

std::vector<std::string> CmdLineOptions::Values(const std::string& key) const
{
    auto entry = m_options.find(PrepareKey(key));
    return entry != m_options.end() ? entry->second : std::vector<std::string>();
}
