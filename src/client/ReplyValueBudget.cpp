#include "ReplyValueBudget.h"

#include <cstring>
#include <initializer_list>

namespace
{
size_t CountByte(const char* text, size_t length, char wanted)
{
    size_t count = 0;
    const char* end = text + length;
    for (const char* at = text; (at = static_cast<const char*>(memchr(at, wanted, end - at))) != nullptr;
         ++at)
        ++count;
    return count;
}

// The same count outside strings; a malformed text is judged as far as it goes.
size_t CountOutsideStrings(const char* text, size_t length)
{
    size_t count = 0;
    const char* end = text + length;
    for (const char* at = text; at < end; ++at)
    {
        switch (*at)
        {
        case '"':
            for (++at; at < end && *at != '"'; ++at)
            {
                if (*at == '\\')
                    ++at;
            }
            break;
        case ',':
        case ':':
        case '[':
        case '{':
            ++count;
            break;
        default:
            break;
        }
    }
    return count;
}
} // namespace

namespace ReplyValueBudget
{
bool ExceedsValues(const char* text, size_t length, size_t limit)
{
    // memchr runs through a usual reply far quicker than the walk that skips strings.
    size_t quick = 0;
    for (char separator : {',', ':', '[', '{'})
        quick += CountByte(text, length, separator);
    if (quick <= limit)
        return false;
    return CountOutsideStrings(text, length) > limit;
}
} // namespace ReplyValueBudget
