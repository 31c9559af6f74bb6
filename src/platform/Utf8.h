#pragma once

#include <cstddef>
#include <string>

// Well-formed UTF-8 as the XML reader and the report agree on it: no stray continuation bytes,
// no overlong forms, no surrogates, nothing above U+10FFFF, no sequence cut off at the end.
namespace Utf8
{
// Length of the well-formed sequence that starts at text[pos] (1 for ASCII), or 0 when the byte
// there begins none.
size_t SequenceLength(const std::string& text, size_t pos);

// Every byte of text belongs to a well-formed sequence.
bool IsValid(const std::string& text);

// What Repaired does with control characters besides ill-formed bytes.
enum class Controls
{
    Keep,    // only ill-formed bytes are replaced (the text stays what it said)
    Replace, // C0 controls except tab, DEL and C1 controls become U+FFFD too (text for a page)
};

// text made well-formed: every byte that begins no well-formed sequence becomes U+FFFD, and
// with Controls::Replace so does every control character.
std::string Repaired(const std::string& text, Controls controls);
} // namespace Utf8
