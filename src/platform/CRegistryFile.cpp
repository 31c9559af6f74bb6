#include "CRegistryFile.h"

#include "CDebug.h"
#include "SafeOpen.h"

#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{
enum class LineKind
{
    Text,
    TooLong,
    Garbage, // holds NUL bytes, so it cannot be text of ours
    End,
};

// Reads one line without keeping more than kMaxLineLength + 1 characters of it; the rest of an
// overlong line is consumed and dropped. Trailing carriage returns are removed, so files
// edited on other systems still have empty closing lines. All of them go, not just one: a file
// whose line ends were converted twice ("\r\r\n") would otherwise keep a carriage return at the
// end of a value, which the writer puts back as it is and the next read shortens again, so
// every save would change the value. No value the program sets holds one.
LineKind ReadLine(FILE* file, std::string& line)
{
    line.clear();
    bool sawAnything = false;
    bool tooLong = false;
    bool hasNul = false;
    int c;
    while ((c = getc(file)) != EOF)
    {
        sawAnything = true;
        if (c == '\n')
            break;
        if (c == '\0')
            hasNul = true;
        if (line.size() <= CRegistryFile::kMaxLineLength)
            line.push_back(static_cast<char>(c));
        else
            tooLong = true;
    }
    if (!sawAnything)
        return LineKind::End;
    while (!line.empty() && line.back() == '\r')
        line.pop_back();
    if (tooLong || line.size() > CRegistryFile::kMaxLineLength)
        return LineKind::TooLong;
    return hasNul ? LineKind::Garbage : LineKind::Text;
}

bool StartsWith(const std::string& text, size_t offset, const char* prefix)
{
    return text.compare(offset, std::strlen(prefix), prefix) == 0;
}

std::string ParseBinary(const char* text)
{
    std::string bytes;
    const char* position = text;
    for (;;)
    {
        char* end = nullptr;
        const long pair = std::strtol(position, &end, 16);
        if (end == position)
            break;
        bytes.push_back(static_cast<char>(pair & 0xFF));
        position = end;
    }
    return bytes;
}

void ParseValueLine(const std::string& line, CRegistryNode& node)
{
    const size_t equals = line.find('=');
    if (equals == std::string::npos)
        return;
    CRegistryValue value;
    if (StartsWith(line, equals, "=s="))
    {
        value.type = RegistryTypeString;
        value.data = line.substr(equals + 3);
    }
    else if (StartsWith(line, equals, "=es="))
    {
        value.type = RegistryTypeExpandString;
        value.data = line.substr(equals + 4);
    }
    else if (StartsWith(line, equals, "=d="))
    {
        value.type = RegistryTypeInteger;
        value.number = static_cast<int32_t>(std::strtol(line.c_str() + equals + 3, nullptr, 10));
    }
    else if (StartsWith(line, equals, "=b="))
    {
        value.type = RegistryTypeBinary;
        value.data = ParseBinary(line.c_str() + equals + 3);
    }
    else
        return;
    node.ReplaceWithValue(line.substr(0, equals), value);
}
} // namespace

std::unique_ptr<CRegistryNode> CRegistryFile::Restore(const std::string& path)
{
    const bool trace = g_Debug.IsTraceEnabled();
    if (path.empty())
    {
        if (trace)
            g_Debug.Print(1, "CRegistry: ERROR: Empty file path");
        return nullptr;
    }
    // Opened without waiting and only as a regular file: a FIFO in its place must not hold the run.
    const int fd = SafeOpen::ForReading(path, true);
    FILE* file = fd >= 0 ? fdopen(fd, "r") : nullptr;
    if (file == nullptr && fd >= 0)
        close(fd);
    if (file == nullptr)
    {
        if (trace)
            g_Debug.Print(1, "CRegistry: WARNING: Could not open \"%s\"\n", path.c_str());
        return nullptr;
    }
    struct stat status
    {
    };
    if (fstat(fileno(file), &status) != 0 || status.st_size <= 0)
    {
        std::fclose(file);
        if (trace)
            g_Debug.Print(1, "CRegistry: WARNING: The length of \"%s\" is not sufficient\n", path.c_str());
        return nullptr;
    }
    auto root = std::make_unique<CRegistryNode>(std::string(), 0);
    Read(file, *root, path);
    std::fclose(file);
    // A file without a single usable entry is damaged; the caller then tries the next one.
    if (root->EntryCount() == 0)
    {
        if (trace)
            g_Debug.Print(
                1, "CRegistry: WARNING: Node restoring from \"%s\" failed - check the content of this file\n",
                path.c_str());
        return nullptr;
    }
    return root;
}

void CRegistryFile::Read(FILE* file, CRegistryNode& root, const std::string& pathForTrace)
{
    const bool trace = g_Debug.IsTraceEnabled();
    // The keys currently open, innermost last; an explicit stack instead of recursion, so a
    // hostile file cannot exhaust the call stack.
    std::vector<CRegistryNode*> openKeys{&root};
    // Open blocks being skipped because they lie too deep.
    unsigned skippedDepth = 0;
    unsigned lineNumber = 0;
    std::string line;
    for (;;)
    {
        const LineKind kind = ReadLine(file, line);
        if (kind == LineKind::End)
            break;
        ++lineNumber;
        if (kind == LineKind::TooLong)
        {
            // An overlong key line still opens a block; skipping that block keeps the empty
            // lines that follow matched with the keys they close.
            if (line[0] == '[')
                ++skippedDepth;
            if (trace)
                g_Debug.Print(
                    3, "CRegistry: WARNING: line %u of \"%s\" is longer than %zu characters, skipped\n",
                    lineNumber, pathForTrace.c_str(), kMaxLineLength);
            continue;
        }
        if (kind == LineKind::Garbage)
            continue;
        if (line.empty())
        {
            if (skippedDepth > 0)
                --skippedDepth;
            else
            {
                openKeys.pop_back();
                if (openKeys.empty())
                    break; // the root's closing line
            }
            continue;
        }
        const size_t closing = line[0] == '[' ? line.find(']') : std::string::npos;
        const bool opensKey = closing != std::string::npos;
        if (skippedDepth > 0)
        {
            if (opensKey)
                ++skippedDepth;
            continue;
        }
        if (!opensKey)
        {
            ParseValueLine(line, *openKeys.back());
            continue;
        }
        CRegistryNode* child = openKeys.back()->ReplaceChild(line.substr(1, closing - 1));
        if (child != nullptr)
        {
            openKeys.push_back(child);
            continue;
        }
        skippedDepth = 1;
        if (trace)
            g_Debug.Print(
                3, "CRegistry: WARNING: key in line %u of \"%s\" nested deeper than %u levels, skipped\n",
                lineNumber, pathForTrace.c_str(), CRegistryNode::kMaxDepth);
    }
}

std::string CRegistryFile::FormatValueLine(const std::string& name, const CRegistryValue& value)
{
    switch (value.type)
    {
    case RegistryTypeString:
        return name + "=s=" + value.data;
    case RegistryTypeExpandString:
        return name + "=es=" + value.data;
    case RegistryTypeInteger:
        return name + "=d=" + std::to_string(value.number);
    case RegistryTypeBinary:
    {
        static const char kDigits[] = "0123456789abcdef";
        std::string line = name + "=b=";
        for (unsigned char byte : value.data)
        {
            line.push_back(kDigits[byte >> 4]);
            line.push_back(kDigits[byte & 0x0F]);
            line.push_back(' ');
        }
        return line;
    }
    default:
        return std::string();
    }
}

bool CRegistryFile::Write(FILE* file, const CRegistryNode& node)
{
    bool written = true;
    node.ForEachEntry(
        [&](const CRegistryEntry& entry)
        {
            if (entry.IsSubkey())
                return;
            const std::string line = FormatValueLine(entry.name, entry.value) + "\n";
            written = std::fwrite(line.data(), 1, line.size(), file) == line.size() && written;
        });
    // Depth is bounded by CRegistryNode::kMaxDepth, so this recursion is too.
    node.ForEachEntry(
        [&](const CRegistryEntry& entry)
        {
            if (!entry.IsSubkey() || !entry.child)
                return;
            const std::string line = "[" + entry.name + "]\n";
            written = std::fwrite(line.data(), 1, line.size(), file) == line.size() && written;
            written = Write(file, *entry.child) && written;
        });
    return std::fputc('\n', file) != EOF && written;
}
