#include "ChangePage.h"

#include "ChangeText.h"
#include "FleetOverview.h"
#include "HtmlEscape.h"
#include "OutputFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>

namespace
{
const char kStyle[] =
    "body{font:14px \"Segoe UI\",sans-serif;color:#232323;margin:20px}"
    "h1{font-size:22px;margin:0 0 4px}h2{font-size:17px;margin:18px 0 6px}"
    ".stamp{color:#555;margin-bottom:14px}"
    "table{border-collapse:collapse;width:100%}"
    "th{background:#eee;text-align:left;padding:8px;border:1px solid #d5d5d5}"
    "td{padding:4px 8px;border:1px solid #d5d5d5;vertical-align:top}"
    "td.icon{padding-left:32px;background-repeat:no-repeat;background-position:8px 5px;"
    "white-space:nowrap}"
    ".note{display:block;font-size:12px;color:#555}a{color:#0645ad}"
    "@media print{body{margin:0}a{color:#000;text-decoration:none}tr{break-inside:avoid}"
    "thead{display:table-header-group}*{-webkit-print-color-adjust:exact;print-color-adjust:exact}}";

std::string Escaped(const std::string& text)
{
    return HtmlEscape(ChangeText::Safe(text));
}

std::string Kind(ChangeKind kind)
{
    std::string name = ChangeRules::Name(kind);
    for (char& c : name)
        if (c == '_')
            c = ' ';
    return name;
}

std::string ChangeRows(const HostChanges& changes)
{
    std::string rows;
    for (const Change& c : changes.Changes)
    {
        rows += "\n<tr><td class=\"icon " + FleetOverview::IconClass(c.Weight) + "\">" + Kind(c.Kind) +
                "</td><td>" + Escaped(c.Where) + "</td><td>" + Escaped(c.What) + "</td><td>" +
                Escaped(c.Before) + "</td><td>" + Escaped(c.After);
        if (!c.Note.empty())
            rows += "<span class=\"note\">" + Escaped(c.Note) + "</span>";
        rows += "</td></tr>";
    }
    return rows;
}

std::string EventRows(const HostChanges& changes)
{
    std::string rows;
    for (const NewEvent& e : changes.NewEvents)
        rows += "\n<tr><td class=\"icon " + FleetOverview::IconClass(ChangeRules::WeightOf(e)) + "\">" +
                Escaped(e.Severity) + "</td><td>" + Escaped(e.Code) + "</td><td>" + Escaped(e.Timestamp) +
                "</td><td>" + Escaped(e.Message) + "</td></tr>";
    return rows;
}
} // namespace

namespace ChangePage
{
std::string Render(const HostChanges& changes, const std::string& hostName, const std::string& outputPath)
{
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>HostCapture changes: " +
                       Escaped(hostName) + "</title>\n<style>" + kStyle + FleetOverview::IconRules() +
                       "</style>\n</head>\n<body>\n<h1>Changes of " + Escaped(hostName) + "</h1>\n";
    auto link = [&](const std::string& page, const std::string& stamp)
    {
        return "<a href=\"" + HtmlEscape(FleetOverview::LinkTo(page, outputPath)) + "\">" +
               Escaped(stamp.empty() ? page : stamp) + "</a>";
    };
    html += "<div class=\"stamp\">From the page of " + link(changes.OlderFile, changes.OlderTimeStamp) +
            " to the page of " + link(changes.NewerFile, changes.NewerTimeStamp) + ": " +
            Escaped(ChangeText::Headline(changes)) + "</div>\n";
    if (!changes.Changes.empty())
        html +=
            "<h2>Changes, worst first</h2>\n<table>\n<thead><tr><th>Change</th><th>Where</th><th>What</th>"
            "<th>Before</th><th>After</th></tr></thead>\n<tbody>" +
            ChangeRows(changes) + "\n</tbody>\n</table>\n";
    if (!changes.NewEvents.empty())
        html += "<h2>New event-log entries: " + Escaped(ChangeText::EventCounts(changes)) +
                "</h2>\n<table>\n<thead><tr><th>Severity</th><th>Error Code</th><th>Timestamp</th>"
                "<th>Message</th></tr></thead>\n<tbody>" +
                EventRows(changes) + "\n</tbody>\n</table>\n";
    html += "</body>\n</html>\n";
    return html;
}

bool Write(const HostChanges& changes, const std::string& hostName, const std::string& outputPath,
           std::string& error)
{
    // The first change page of a run makes the "-changes" folder; only the caller may look in.
    std::string folder = std::filesystem::path(outputPath).parent_path().string();
    if (!folder.empty() && mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
    {
        error = folder + ": " + std::strerror(errno);
        return false;
    }
    return OutputFile::WriteText(outputPath, Render(changes, hostName, outputPath), error);
}
} // namespace ChangePage
