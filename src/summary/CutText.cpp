#include "CutText.h"

#include <cctype>

namespace
{
// Where the mark begins, or npos when text does not end in "[cut: N bytes]".
size_t MarkStart(const std::string& text)
{
    static const std::string head = "[cut: ", tail = " bytes]";
    if (text.size() < head.size() + tail.size() + 1 ||
        text.compare(text.size() - tail.size(), tail.size(), tail) != 0)
        return std::string::npos;
    size_t digits = text.size() - tail.size();
    size_t start = digits;
    while (start > 0 && std::isdigit(static_cast<unsigned char>(text[start - 1])))
        --start;
    if (start == digits || start < head.size() || text.compare(start - head.size(), head.size(), head) != 0)
        return std::string::npos;
    start -= head.size();
    // A kept part is followed by one space before the mark.
    return start > 0 && text[start - 1] == ' ' ? start - 1 : start;
}

bool StartsWith(const std::string& text, const std::string& prefix)
{
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}
} // namespace

namespace CutText
{
bool IsCut(const std::string& text)
{
    return MarkStart(text) != std::string::npos;
}

std::string Kept(const std::string& text)
{
    size_t start = MarkStart(text);
    return start == std::string::npos ? text : text.substr(0, start);
}

bool Same(const std::string& a, const std::string& b)
{
    if (a == b)
        return true;
    bool aCut = IsCut(a), bCut = IsCut(b);
    if (!aCut && !bCut)
        return false;
    std::string aKept = Kept(a), bKept = Kept(b);
    if (aCut && bCut)
        return StartsWith(aKept, bKept) || StartsWith(bKept, aKept);
    return aCut ? StartsWith(b, aKept) : StartsWith(a, bKept);
}
} // namespace CutText
