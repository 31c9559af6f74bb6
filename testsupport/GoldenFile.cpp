#include "GoldenFile.h"

#include "TestEnv.h"

#include <cstdlib>
#include <cstring>
#include <fstream>

namespace
{
bool Regenerating()
{
    const char* value = std::getenv("HOSTCAPTURE_REGEN_GOLDEN");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

// Line number (from 1) and content of the line of text that holds offset.
std::string LineAt(const std::string& text, size_t offset, size_t& lineNumber)
{
    size_t start = text.rfind('\n', offset == 0 ? 0 : offset - 1);
    start = start == std::string::npos || offset == 0 ? 0 : start + 1;
    lineNumber = 1;
    for (size_t i = 0; i < start; ++i)
        lineNumber += text[i] == '\n' ? 1 : 0;
    const size_t end = text.find('\n', start);
    return text.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

size_t CountLines(const std::string& text)
{
    size_t lines = 0;
    for (char c : text)
        lines += c == '\n' ? 1 : 0;
    return lines + (text.empty() || text.back() == '\n' ? 0 : 1);
}
} // namespace

std::string GoldenPath(const std::string& name)
{
    return std::string(HOSTCAPTURE_SOURCE_DIR) + "/testdata/golden/" + name;
}

std::string CompareWithGolden(const std::string& text, const std::string& goldenName)
{
    const std::string path = GoldenPath(goldenName);
    if (Regenerating())
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        return out ? std::string() : "cannot write " + path;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "golden file " + path + " is missing; create it with scripts/regen-golden";
    const std::string expected = ReadFile(path);
    if (expected == text)
        return std::string();

    size_t offset = 0;
    while (offset < expected.size() && offset < text.size() && expected[offset] == text[offset])
        ++offset;
    size_t expectedLine = 0;
    size_t actualLine = 0;
    const std::string expectedText = LineAt(expected, offset, expectedLine);
    const std::string actualText = LineAt(text, offset, actualLine);
    return "differs from " + path + " first at line " + std::to_string(expectedLine) + " (byte " +
           std::to_string(offset) + "; " + std::to_string(CountLines(expected)) + " lines expected, " +
           std::to_string(CountLines(text)) +
           " produced)\n  expected: " + (offset < expected.size() ? expectedText : "<end of file>") +
           "\n  produced: " + (offset < text.size() ? actualText : "<end of output>") +
           "\nAn intended change: run scripts/regen-golden and review the diff.";
}
