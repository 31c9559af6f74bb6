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
} // namespace Utf8
