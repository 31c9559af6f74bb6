#pragma once

#include <string>

// Text that came from pages, markers or file names may hold escape sequences (a failed host's
// standard error, a hostile page) that would clear a terminal or retitle it. Everything the
// summary prints goes through here first.
namespace TerminalText
{
// text with every control character (C0 but tab, DEL, C1) and every ill-formed byte replaced.
std::string Safe(const std::string& text);

// Prints "hostcapture-summary: <text>" as one line on standard error, made safe.
void Complain(const std::string& text);
} // namespace TerminalText
