#include "TerminalText.h"

#include "Utf8.h"

#include <cstdio>

namespace TerminalText
{
std::string Safe(const std::string& text)
{
    return Utf8::Repaired(text, Utf8::Controls::Replace);
}

void Complain(const std::string& text)
{
    fprintf(stderr, "hostcapture-summary: %s\n", Safe(text).c_str());
}
} // namespace TerminalText
