#include "Utf8.h"

#include <cstdint>

namespace
{
const char kReplacement[] = "\xEF\xBF\xBD"; // U+FFFD

bool IsControl(const std::string& text, size_t pos, size_t length)
{
    const uint8_t lead = static_cast<uint8_t>(text[pos]);
    if (length == 1)
        return (lead < 0x20 && lead != '\t') || lead == 0x7F;
    // C1 controls U+0080 to U+009F are encoded C2 80 to C2 9F.
    return length == 2 && lead == 0xC2 && static_cast<uint8_t>(text[pos + 1]) <= 0x9F;
}
} // namespace

namespace Utf8
{
size_t SequenceLength(const std::string& text, size_t pos)
{
    const auto byteAt = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byteAt(pos);
    const size_t available = text.size() - pos;

    size_t length;
    uint8_t secondMin = 0x80;
    uint8_t secondMax = 0xBF;
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        length = 2;
    else if (lead >= 0xE0 && lead <= 0xEF)
    {
        length = 3;
        if (lead == 0xE0)
            secondMin = 0xA0; // overlong below U+0800
        else if (lead == 0xED)
            secondMax = 0x9F; // UTF-16 surrogates
    }
    else if (lead >= 0xF0 && lead <= 0xF4)
    {
        length = 4;
        if (lead == 0xF0)
            secondMin = 0x90; // overlong below U+10000
        else if (lead == 0xF4)
            secondMax = 0x8F; // above U+10FFFF
    }
    else
        return 0;

    if (available < length)
        return 0;
    const uint8_t second = byteAt(pos + 1);
    if (second < secondMin || second > secondMax)
        return 0;
    for (size_t i = 2; i < length; ++i)
    {
        const uint8_t next = byteAt(pos + i);
        if (next < 0x80 || next > 0xBF)
            return 0;
    }
    return length;
}

bool IsValid(const std::string& text)
{
    for (size_t pos = 0; pos < text.size();)
    {
        const size_t length = SequenceLength(text, pos);
        if (length == 0)
            return false;
        pos += length;
    }
    return true;
}

std::string Repaired(const std::string& text, Controls controls)
{
    std::string out;
    out.reserve(text.size());
    size_t pos = 0;
    while (pos < text.size())
    {
        const size_t length = SequenceLength(text, pos);
        if (length == 0)
        {
            out += kReplacement;
            ++pos;
        }
        else if (controls == Controls::Replace && IsControl(text, pos, length))
        {
            out += kReplacement;
            pos += length;
        }
        else
        {
            out.append(text, pos, length);
            pos += length;
        }
    }
    return out;
}
} // namespace Utf8
