#include "PageAge.h"

#include <cctype>
#include <cstdio>

namespace
{
bool Digits(const std::string& text, size_t at, size_t count)
{
    if (at + count > text.size())
        return false;
    for (size_t i = at; i < at + count; ++i)
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
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

// "YYYYMMDDTHHMMSSZ" at the start of a file name, as the playbook writes it.
bool StampOfName(const std::string& name, time_t& when)
{
    if (!Digits(name, 0, 8) || name.size() < 16 || name[8] != 'T' || !Digits(name, 9, 6) || name[15] != 'Z')
        return false;
    struct tm t = {};
    t.tm_year = Number(name, 0, 4) - 1900;
    t.tm_mon = Number(name, 4, 2) - 1;
    t.tm_mday = Number(name, 6, 2);
    t.tm_hour = Number(name, 9, 2);
    t.tm_min = Number(name, 11, 2);
    t.tm_sec = Number(name, 13, 2);
    if (!Plausible(t))
        return false;
    when = timegm(&t);
    return when != static_cast<time_t>(-1);
}

// "YYYY-MM-DD hh:mm:ss", the page's date line, in local time.
bool StampOfDateLine(const std::string& line, time_t& when)
{
    if (line.size() != 19 || !Digits(line, 0, 4) || line[4] != '-' || !Digits(line, 5, 2) || line[7] != '-' ||
        !Digits(line, 8, 2) || line[10] != ' ' || !Digits(line, 11, 2) || line[13] != ':' ||
        !Digits(line, 14, 2) || line[16] != ':' || !Digits(line, 17, 2))
        return false;
    struct tm t = {};
    t.tm_year = Number(line, 0, 4) - 1900;
    t.tm_mon = Number(line, 5, 2) - 1;
    t.tm_mday = Number(line, 8, 2);
    t.tm_hour = Number(line, 11, 2);
    t.tm_min = Number(line, 14, 2);
    t.tm_sec = Number(line, 17, 2);
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
    if (text.size() < 2 || text.size() > 12 || !Digits(text, 0, text.size() - 1))
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
