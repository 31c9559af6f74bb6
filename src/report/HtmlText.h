#pragma once

#include <cstddef>
#include <string>

// Text that the report places into a panel value, a table cell or a row text. The components
// insert what they are given unchanged, so every section passes its texts through here first:
// a daemon string such as "DIMM <A1>" must show as written and must never become markup.
namespace HtmlText
{
// Makes a byte string valid UTF-8: every byte that does not begin a well-formed sequence
// (stray continuation bytes, overlong forms, surrogates, code points above U+10FFFF, truncated
// sequences) and every control character except tab becomes U+FFFD.
std::string RepairUtf8(const std::string& text);

// Repair, then escape (HtmlEscape): the form for any text that came from the daemon. This is the one door
// through which daemon text enters the page, so the page's bounds (PageTextBudget) are kept
// here: a text longer than the per-text bound, or one that the page has no room left for, goes
// through CutFromDaemon instead.
std::string FromDaemon(const std::string& text);

// The text cut at the per-text bound (never inside a UTF-8 sequence), repaired and escaped, and
// followed by the visible mark " [cut: N bytes]" with the number of bytes left out. When the
// page's budget is spent only the mark remains ("[cut: N bytes]", N the whole text).
std::string CutFromDaemon(const std::string& text);

// The largest length of at most limit bytes at which text can be cut without splitting a UTF-8
// sequence (the whole length when the text is no longer than limit).
size_t CutPoint(const std::string& text, size_t limit);
} // namespace HtmlText
