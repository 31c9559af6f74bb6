#include "FleetOverview.h"

#include "Clock.h"
#include "HtmlEscape.h"
#include "OutputFile.h"
#include "PageAge.h"
#include "StatusIcons.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>

namespace
{
namespace fs = std::filesystem;

const char kStyle[] =
    "body{font:14px \"Segoe UI\",sans-serif;color:#232323;margin:20px}"
    "h1{font-size:22px;margin:0 0 4px}"
    ".stamp{color:#555;margin-bottom:14px}"
    ".counts{display:flex;flex-wrap:wrap;gap:8px;margin-bottom:16px}"
    ".count{border:1px solid #b7b7b7;padding:6px 12px 6px 34px;background-repeat:no-repeat;"
    "background-position:10px center;font-weight:700}"
    "table{border-collapse:collapse;width:100%}"
    "th{background:#eee;text-align:left;padding:8px;border:1px solid #d5d5d5}"
    "td{padding:4px 8px 4px 32px;border:1px solid #d5d5d5;vertical-align:top;background-repeat:no-repeat;"
    "background-position:8px 5px}"
    "td.host{padding-left:8px;white-space:nowrap}"
    ".detail{display:block;font-size:12px;color:#333}"
    ".problem{display:block;font-size:12px;color:#8a1010}"
    ".change{display:block;font-size:12px;color:#333}"
    "td.none{padding-left:8px;color:#777}"
    ".mismatch{display:block;font-size:12px;color:#8a1010;font-weight:700}"
    "a{color:#0645ad}"
    "@media print{body{margin:0}a{color:#000;text-decoration:none}tr{break-inside:avoid}"
    "thead{display:table-header-group}*{-webkit-print-color-adjust:exact;print-color-adjust:exact}}";

// "Changed since 2026-11-24" when every compared host's older page is of one day.
std::string ChangesHeading(const ChangeTotals& totals)
{
    const auto& dates = totals.SinceDates();
    if (dates.size() == 1 && !dates.begin()->first.empty())
        return "Changed since " + dates.begin()->first;
    return "Changed since the previous capture";
}

std::string ChangesCell(const ChangeCell& cell, const std::string& outputPath)
{
    if (!cell.Compared)
        return "<td class=\"none\">-</td>";
    std::string html = "<td class=\"" +
                       FleetOverview::IconClass(cell.OtherHost ? HostStatus::Unknown
                                                : cell.Any     ? cell.Worst
                                                               : HostStatus::NotPresent) +
                       "\">";
    html += cell.OtherHost ? "Another server" : cell.Any ? "Changed" : "No change";
    html += "<span class=\"detail\">" + HtmlEscape(cell.Headline) + "</span>";
    // Each line begins with its kind in a ten-column word ("worse     "); here it stands out.
    for (const std::string& line : cell.Lines)
    {
        size_t word = line.size() > 10 ? line.find_last_not_of(' ', 9) + 1 : 0;
        html += "<span class=\"change\"><b>" + HtmlEscape(line.substr(0, word)) + "</b> " +
                HtmlEscape(line.size() > 10 ? line.substr(10) : line) + "</span>";
    }
    if (cell.MoreLines > 0)
        html += "<span class=\"change\">and " + std::to_string(cell.MoreLines) + " more</span>";
    if (!cell.Page.empty())
        html += "<a class=\"detail\" href=\"" + HtmlEscape(FleetOverview::LinkTo(cell.Page, outputPath)) +
                "\">all changes</a>";
    return html + "</td>";
}

std::string Label(HostStatus status)
{
    std::string name = HostStatusRules::Name(status);
    name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    for (char& c : name)
        if (c == '-')
            c = ' ';
    return name;
}
} // namespace

namespace FleetOverview
{
// The overview's status classes reuse the report's icons; unreadable hosts show the unknown icon.
std::string IconClass(HostStatus status)
{
    return std::string("status-") +
           (status == HostStatus::Unreadable ? "unknown" : HostStatusRules::Name(status));
}

std::string IconRules()
{
    std::string css;
    for (const StatusIcon& icon : StatusIcons)
        css += std::string(".") + icon.CssClass + "{background-image:url(data:" + icon.MimeType + ";base64," +
               icon.Base64 + ")}";
    return css;
}

std::string LinkTo(const std::string& page, const std::string& outputPath)
{
    std::error_code ec;
    fs::path base = fs::absolute(fs::path(outputPath), ec).parent_path();
    fs::path target = fs::absolute(fs::path(page), ec);
    fs::path relative = target.lexically_relative(base);
    std::string raw = relative.empty() ? page : relative.generic_string();
    std::string out;
    static const char hex[] = "0123456789ABCDEF";
    for (unsigned char c : raw)
    {
        if (std::isalnum(c) || std::strchr("-._~/", c))
            out += static_cast<char>(c);
        else
        {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

std::string Render(const FleetTally& tally, const std::string& outputPath, const std::string& generatedAt)
{
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>HostCapture fleet overview</title>\n<style>";
    html += kStyle + IconRules() + "</style>\n</head>\n<body>\n<h1>HostCapture fleet overview</h1>\n";
    html += "<div class=\"stamp\">" + std::to_string(tally.Hosts()) + " hosts, written " +
            HtmlEscape(generatedAt);
    if (tally.LeftOut() > 0)
        html += "; " + std::to_string(tally.LeftOut()) + " pages older than " +
                PageAge::Format(tally.MaxAge()) + " left out";
    html += "</div>\n<div class=\"counts\">";
    for (int s = HostStatusRules::kCount - 1; s >= 0; --s)
    {
        HostStatus status = static_cast<HostStatus>(s);
        html += "\n<span class=\"count " + IconClass(status) + "\">" + Label(status) + ": " +
                std::to_string(tally.HostsWith(status)) + "</span>";
    }
    bool changes = tally.Changes().HostsCompared() > 0;
    html += "\n</div>\n<table>\n<thead><tr><th>Host</th><th>Status</th>";
    if (changes)
        html += "<th>" + HtmlEscape(ChangesHeading(tally.Changes())) + "</th>";
    for (const std::string& group : tally.Groups())
        html += "<th>" + HtmlEscape(group) + "</th>";
    html += "</tr></thead>\n<tbody>";
    for (const HostLine& line : tally.SortedLines())
    {
        // A host is known by its folder; the name its page claims stands beside it.
        std::string name = !line.Collection.empty() ? line.Collection
                           : !line.HostName.empty() ? line.HostName
                                                    : line.File;
        html += "\n<tr><td class=\"host\">";
        if (line.Problem.empty() || !line.File.empty())
            html +=
                "<a href=\"" + HtmlEscape(LinkTo(line.File, outputPath)) + "\">" + HtmlEscape(name) + "</a>";
        else
            html += HtmlEscape(name);
        if (!line.NameFits)
            html += "<span class=\"mismatch\">page claims " + HtmlEscape(line.HostName) + "</span>";
        else if (!line.HostName.empty() && line.HostName != name)
            html += "<span class=\"detail\">" + HtmlEscape(line.HostName) + "</span>";
        if (!line.Model.empty())
            html += "<span class=\"detail\">" + HtmlEscape(line.Model) + "</span>";
        if (!line.TimeStamp.empty())
            html += "<span class=\"detail\">" + HtmlEscape(line.TimeStamp) + "</span>";
        html += "<span class=\"detail\">age " + PageAge::Format(line.AgeSeconds) + "</span>";
        html += "</td><td class=\"" + IconClass(line.Worst) + "\">" + Label(line.Worst);
        if (!line.Problem.empty())
            html += "<span class=\"problem\">" + HtmlEscape(line.Problem) + "</span>";
        html += "</td>";
        if (changes)
            html += ChangesCell(line.Changes, outputPath);
        for (const std::string& group : tally.Groups())
        {
            auto cell = line.Groups.find(group);
            if (cell == line.Groups.end())
            {
                html += "<td class=\"status-unknown\">-</td>";
                continue;
            }
            html += "<td class=\"" + IconClass(cell->second.Status) + "\">" + Label(cell->second.Status);
            if (!cell->second.Detail.empty())
                html += "<span class=\"detail\">" + HtmlEscape(cell->second.Detail) + "</span>";
            html += "</td>";
        }
        html += "</tr>";
    }
    html += "\n</tbody>\n</table>\n</body>\n</html>\n";
    return html;
}

bool Write(const FleetTally& tally, const std::string& outputPath, OutputFile& out, std::string& error)
{
    char stamp[64] = "";
    time_t now = CClock::Get().Now();
    struct tm utc;
    if (gmtime_r(&now, &utc))
        strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S UTC", &utc);
    if (!out.Write(Render(tally, outputPath, stamp)) || !out.Commit())
    {
        error = out.Error();
        return false;
    }
    return true;
}
} // namespace FleetOverview
