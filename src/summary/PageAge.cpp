#include "PageAge.h"

#include <cctype>
#include <cstdio>

namespace
{
// True when text has the shape of pattern: '9' stands for any digit, anything else for itself.
bool Shaped(const std::string& text, const std::string& pattern)
{
    if (text.size() != pattern.size())
        return false;
    for (size_t i = 0; i < text.size(); ++i)
        if (pattern[i] == '9' ? !std::isdigit(static_cast<unsigned char>(text[i])) : text[i] != pattern[i])
            return false;
    return true;
}

int Number(const std::string& text, size_t at, size_t count)
{
    return std::stoi(text.substr(at, count));
}

bool Plausible(const struct tm& t)
{
    return t.tm_mon >= 0 && t.tm_mon < 12 && t.tm_mday >= 1 && t.tm_mday <= 31 && t.tm_hour < 24 &&
           t.tm_min < 60 && t.tm_sec < 61 && t.tm_year >= 70;
}

// Year, month, day, hour, minute and second from the digits at the given offsets.
struct tm Fields(const std::string& text, const size_t (&at)[6])
{
    struct tm t = {};
    t.tm_year = Number(text, at[0], 4) - 1900;
    t.tm_mon = Number(text, at[1], 2) - 1;
    t.tm_mday = Number(text, at[2], 2);
    t.tm_hour = Number(text, at[3], 2);
    t.tm_min = Number(text, at[4], 2);
    t.tm_sec = Number(text, at[5], 2);
    return t;
}

// "YYYYMMDDTHHMMSSZ" at the start of a file name, as the playbook writes it.
bool StampOfName(const std::string& name, time_t& when)
{
    if (!Shaped(name.substr(0, 16), "99999999T999999Z"))
        return false;
    struct tm t = Fields(name, {0, 4, 6, 9, 11, 13});
    if (!Plausible(t))
        return false;
    when = timegm(&t);
    return when != static_cast<time_t>(-1);
}

// "YYYY-MM-DD hh:mm:ss", the page's date line, in local time.
bool StampOfDateLine(const std::string& line, time_t& when)
{
    if (!Shaped(line, "9999-99-99 99:99:99"))
        return false;
    struct tm t = Fields(line, {0, 5, 8, 11, 14, 17});
    t.tm_isdst = -1;
    if (!Plausible(t))
        return false;
    when = mktime(&t);
    return when != static_cast<time_t>(-1);
}
} // namespace

namespace PageAge
{
Age Of(const std::string& fileName, const std::string& dateLine, time_t modified, time_t now)
{
    Age age;
    time_t when = 0;
    if (StampOfName(fileName, when))
        age.Source = "file name";
    else if (StampOfDateLine(dateLine, when))
        age.Source = "page date";
    else if (modified > 0)
    {
        when = modified;
        age.Source = "file time";
    }
    else
        return age;
    age.Seconds = now > when ? static_cast<long long>(now - when) : 0;
    return age;
}

bool ParseDuration(const std::string& text, long long& seconds)
{
    static const long long kLimit = 100LL * 366 * 86400;
    if (text.size() < 2 || text.size() > 12 ||
        !Shaped(text.substr(0, text.size() - 1), std::string(text.size() - 1, '9')))
        return false;
    long long unit = 0;
    switch (text.back())
    {
    case 's':
        unit = 1;
        break;
    case 'm':
        unit = 60;
        break;
    case 'h':
        unit = 3600;
        break;
    case 'd':
        unit = 86400;
        break;
    default:
        return false;
    }
    long long count = std::stoll(text.substr(0, text.size() - 1));
    if (count <= 0 || count > kLimit / unit)
        return false;
    seconds = count * unit;
    return true;
}

std::string Format(long long seconds)
{
    if (seconds < 0)
        return "unknown";
    static const struct
    {
        long long Size;
        const char* Unit;
    } kUnits[] = {{86400, "d"}, {3600, "h"}, {60, "m"}, {1, "s"}};
    for (size_t i = 0; i < 4; ++i)
    {
        if (seconds < kUnits[i].Size && kUnits[i].Size > 1)
            continue;
        std::string text = std::to_string(seconds / kUnits[i].Size) + kUnits[i].Unit;
        long long rest = seconds % kUnits[i].Size;
        if (i + 1 < 4 && rest / kUnits[i + 1].Size > 0)
            text += " " + std::to_string(rest / kUnits[i + 1].Size) + kUnits[i + 1].Unit;
        return text;
    }
    return "0s";
}
} // namespace PageAge
