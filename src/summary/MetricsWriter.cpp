#include "MetricsWriter.h"

#include "OutputFile.h"
#include "Utf8.h"

#include <charconv>
#include <cmath>

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
    // Readable by all (the collector runs as its own user; metrics name no serial numbers), and
    // on disk before the rename, so that the collector never reads half a file after a crash.
    OutputFile out;
    if (!out.Create(path, 0644, OutputFile::Durability::Synced) || !out.Write(Text()) || !out.Commit())
    {
        error = out.Error();
        return false;
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
