#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Writes the Prometheus text exposition format for the node exporter's textfile collector.
// Families are declared first; samples are then added collection by collection (a collection is
// one host: its folder in a reports tree, or the host a single page names), and every sample
// carries the collection as its first label, "host". A collection added again replaces what it
// had, so a folder read oldest page first ends with the newest page's series.
//
// Whoever has series to add declares its own families on the same writer (the page's state and
// values, changes since the last capture, ...), so one file holds them all, each family once;
// see MetricsSource.
class MetricsWriter
{
public:
    using Labels = std::vector<std::pair<std::string, std::string>>;
    using Family = size_t;

    // name must be a valid metric name; help is one line of plain text. Every family is a gauge.
    Family Declare(const std::string& name, const std::string& help);

    // Starts (or starts again) the samples of one collection; samples go to it until the next call.
    void BeginCollection(const std::string& host);
    // NaN is written as NaN (the state of something that cannot be read).
    void Sample(Family family, const Labels& labels, double value);

    // The whole file: per family its HELP and TYPE lines and then its samples, families in the
    // order declared, collections by name.
    std::string Text() const;

    // Writes Text() to a new file beside path and renames it into place, so a reader sees the
    // old file or the new one, never a part. The mode is 0644 on purpose: the node exporter
    // reads the file as its own user and publishes every line to whoever may scrape it.
    bool WriteFile(const std::string& path, std::string& error) const;

    // A label value between double quotes as the format wants it: backslash, double quote and
    // line feed escaped, ill-formed UTF-8 repaired, and at most kMaxLabelBytes long.
    static std::string QuoteLabel(const std::string& value);
    // A sample value in the C locale, shortest form that reads back the same ("NaN", "+Inf").
    static std::string FormatValue(double value);

    static const size_t kMaxLabelBytes = 256;

private:
    struct Declared
    {
        std::string Name;
        std::string Help;
    };
    std::vector<Declared> m_Families;
    struct Collection
    {
        std::vector<std::string> Lines; // per family, its sample lines
        // Family and labels of every sample: a second sample of the same series is dropped, as
        // the textfile collector refuses a whole file that repeats one.
        std::set<std::string> Series;
    };
    std::map<std::string, Collection> m_Samples;
    Collection* m_Current = nullptr;
    std::string m_CurrentHost;
};
