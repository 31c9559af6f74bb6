#include "MetricsWriter.h"

#include "Utf8.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char kCutMark[] = "...";

// Cuts text to at most max bytes without splitting a UTF-8 sequence; a cut text ends in "...".
std::string Bounded(const std::string& text, size_t max)
{
    if (text.size() <= max)
        return text;
    size_t keep = max - (sizeof kCutMark - 1);
    while (keep > 0 && (static_cast<unsigned char>(text[keep]) & 0xC0) == 0x80)
        --keep;
    return text.substr(0, keep) + kCutMark;
}

bool WriteAll(int fd, const std::string& text)
{
    size_t done = 0;
    while (done < text.size())
    {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

std::string Folder(const std::string& path)
{
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}
} // namespace

MetricsWriter::Family MetricsWriter::Declare(const std::string& name, const std::string& help)
{
    m_Families.push_back({name, help});
    return m_Families.size() - 1;
}

void MetricsWriter::BeginCollection(const std::string& host)
{
    // Only the collection being added can repeat a series; the others need their keys no more.
    if (m_Current)
        m_Current->Series.clear();
    m_CurrentHost = QuoteLabel(host);
    m_Current = &m_Samples[host];
    *m_Current = Collection();
}

void MetricsWriter::Sample(Family family, const Labels& labels, double value)
{
    if (!m_Current || family >= m_Families.size())
        return;
    if (m_Current->Lines.size() < m_Families.size())
        m_Current->Lines.resize(m_Families.size());
    std::string series = m_Families[family].Name + "{host=" + m_CurrentHost;
    for (const auto& label : labels)
        series += ',' + label.first + '=' + QuoteLabel(label.second);
    series += '}';
    if (!m_Current->Series.insert(series).second)
        return;
    std::string& lines = m_Current->Lines[family];
    lines += series;
    lines += ' ';
    lines += FormatValue(value);
    lines += '\n';
}

std::string MetricsWriter::Text() const
{
    std::string text;
    for (size_t f = 0; f < m_Families.size(); ++f)
    {
        // A family without samples is left out: a HELP line alone tells a reader nothing.
        bool any = false;
        for (const auto& host : m_Samples)
            any = any || (f < host.second.Lines.size() && !host.second.Lines[f].empty());
        if (!any)
            continue;
        text += "# HELP " + m_Families[f].Name + " ";
        for (char c : m_Families[f].Help)
            text += c == '\n' ? std::string("\\n") : c == '\\' ? std::string("\\\\") : std::string(1, c);
        text += "\n# TYPE " + m_Families[f].Name + " gauge\n";
        for (const auto& host : m_Samples)
            if (f < host.second.Lines.size())
                text += host.second.Lines[f];
    }
    return text;
}

bool MetricsWriter::WriteFile(const std::string& path, std::string& error) const
{
    const std::string text = Text();
    size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    // A name with a leading dot and no ".prom" ending: the textfile collector never reads it.
    std::string temp = Folder(path) + "/." + name + ".XXXXXX";
    int fd = mkostemp(&temp[0], O_CLOEXEC);
    if (fd < 0)
    {
        error = path + ": cannot be created: " + std::strerror(errno);
        return false;
    }
    bool ok = WriteAll(fd, text) && fchmod(fd, 0644) == 0 && fsync(fd) == 0;
    int saved = errno;
    ok = close(fd) == 0 && ok;
    if (ok && rename(temp.c_str(), path.c_str()) != 0)
    {
        saved = errno;
        ok = false;
    }
    if (!ok)
    {
        unlink(temp.c_str());
        error = path + ": cannot be written: " + std::strerror(saved);
        return false;
    }
    // The rename itself lasts across a crash only once the folder is on disk too.
    int dir = open(Folder(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0)
    {
        fsync(dir);
        close(dir);
    }
    return true;
}

std::string MetricsWriter::QuoteLabel(const std::string& value)
{
    // Most labels are short ASCII names: only others need the UTF-8 repair.
    bool ascii = true;
    for (char c : value)
        ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    std::string valid = Bounded(ascii ? value : Utf8::Repaired(value, Utf8::Controls::Keep), kMaxLabelBytes);
    std::string quoted = "\"";
    for (char c : valid)
    {
        if (c == '\\')
            quoted += "\\\\";
        else if (c == '"')
            quoted += "\\\"";
        else if (c == '\n')
            quoted += "\\n";
        else
            quoted += c;
    }
    return quoted + '"';
}

std::string MetricsWriter::FormatValue(double value)
{
    if (std::isnan(value))
        return "NaN";
    if (std::isinf(value))
        return value > 0 ? "+Inf" : "-Inf";
    char buffer[64];
    // Whole numbers as plain digits (sizes, time stamps, hertz), the rest in the shortest form.
    const double kExact = 9007199254740992.0; // 2^53
    auto result = std::trunc(value) == value && std::fabs(value) < kExact
                      ? std::to_chars(buffer, buffer + sizeof buffer, static_cast<long long>(value))
                      : std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}
