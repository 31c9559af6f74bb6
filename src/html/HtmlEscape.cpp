#include "HtmlEscape.h"

std::string HtmlEscape(const std::string& text)
{
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (const char c : text)
    {
        switch (c)
        {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}
