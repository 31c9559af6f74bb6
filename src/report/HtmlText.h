#pragma once

#include <string>

// Text that the report places into a panel value, a table cell or a row text. The components
// insert what they are given unchanged, so every section passes its texts through here first:
// a daemon string such as "DIMM <A1>" must show as written and must never become markup.
namespace HtmlText
{
// Replaces &, <, > and " by their character references.
std::string Escape(const std::string& text);

// Makes a byte string valid UTF-8: every byte that does not begin a well-formed sequence
// (stray continuation bytes, overlong forms, surrogates, code points above U+10FFFF, truncated
// sequences) and every control character except tab becomes U+FFFD.
std::string RepairUtf8(const std::string& text);

// Repair, then escape: the form for any text that came from the daemon.
std::string FromDaemon(const std::string& text);
} // namespace HtmlText
