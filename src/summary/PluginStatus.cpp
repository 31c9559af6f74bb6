#include "PluginStatus.h"

#include "HostStatus.h"
#include "MemberNames.h"
#include "TerminalText.h"

#include <set>

namespace
{
// A text from a page on one line of its own: a "|" would start performance data and a line
// break a new line of output.
std::string OneLine(const std::string& text)
{
    std::string line = text;
    for (char& c : line)
        if (c == '|')
            c = '/';
        else if (c == '\n' || c == '\r')
            c = ' ';
    // Nor may a page's escape sequences reach the terminal of whoever runs the check by hand.
    return TerminalText::Safe(line);
}

const char* StateOf(HostStatus status)
{
    return PluginStatus::StateWord(HostStatusRules::ExitCode(status));
}

// Performance data: the count, its warn and crit thresholds ("0": alert above 0), minimum 0 and,
// when there is one, the maximum.
std::string Perf(const std::string& label, int value, const char* warn, const char* crit,
                 const std::string& max = std::string())
{
    return " " + PluginStatus::Label(label) + "=" + std::to_string(value) + ";" + warn + ";" + crit + ";0" +
           (max.empty() ? "" : ";" + max);
}
} // namespace

const char* PluginStatus::StateWord(int exitCode)
{
    switch (exitCode)
    {
    case 0:
        return "OK";
    case 1:
        return "WARNING";
    case 2:
        return "CRITICAL";
    default:
        return "UNKNOWN";
    }
}

std::string PluginStatus::Label(const std::string& text)
{
    std::string label = OneLine(text);
    for (char& c : label)
        if (c == '\'' || c == '=')
            c = '_';
    return "'" + label + "'";
}

void PluginStatus::Line(const char* state, const std::string& text)
{
    if (m_Lines.size() >= kMaxLongLines)
    {
        ++m_LinesLeftOut;
        return;
    }
    m_Lines.push_back(std::string(state) + ": " + OneLine(text));
}

void PluginStatus::Add(const std::string& collection, const HostPage& page)
{
    HostStatus worst = HostStatusRules::PageWorst(page);
    if (HostStatusRules::ExitCode(worst) == 0)
        return;
    Line(StateOf(worst),
         collection + " - " + (page.Problem.empty() ? HostStatusRules::Name(worst) : page.Problem));
    // Groups whose sub-sections say nothing worse than normal are named themselves.
    std::set<std::string> groupsTold;
    for (const PageSection& section : page.Sections)
        if (HostStatusRules::CountsForHealth(section) && section.Level > 1 &&
            HostStatusRules::SectionWorst(section) > HostStatus::Normal)
            groupsTold.insert(section.Group);
    for (const PageSection& section : page.Sections)
    {
        if (!HostStatusRules::CountsForHealth(section))
            continue;
        HostStatus sectionWorst = HostStatusRules::SectionWorst(section);
        if (sectionWorst <= HostStatus::Normal)
            continue;
        bool failingRows = false;
        std::set<std::string> names;
        for (const PageTable& table : section.Tables)
        {
            std::vector<std::string> members = MemberNames::Of(table, names);
            for (size_t i = 0; i < table.Rows.size(); ++i)
            {
                const PageRow& row = table.Rows[i];
                if (!HostStatusRules::IsFailure(row.Status))
                    continue;
                failingRows = true;
                Line(StateOf(HostStatusRules::FromReportStatus(row.Status)),
                     collection + " - " + section.Title + ": " + members[i] + " - " + row.Text);
            }
        }
        bool toldBySubSections = section.Level == 1 && groupsTold.count(section.Group) != 0;
        if (!failingRows && !toldBySubSections)
            Line(StateOf(sectionWorst),
                 collection + " - " + section.Title + ": " + HostStatusRules::Name(sectionWorst));
    }
}

std::string PluginStatus::Text(const FleetTally& tally, int exitCode) const
{
    std::string text = std::string("HOSTCAPTURE ") + StateWord(exitCode) + ": ";
    if (exitCode == 3 && tally.ExitCode() != 3)
        text += "an output could not be written, ";
    text += std::to_string(tally.Hosts()) + (tally.Hosts() == 1 ? " host" : " hosts");
    for (int s = HostStatusRules::kCount - 1; s >= 0; --s)
    {
        int count = tally.HostsWith(static_cast<HostStatus>(s));
        if (count > 0)
            text += ", " + std::to_string(count) + " " + HostStatusRules::Name(static_cast<HostStatus>(s));
    }
    // What is new since each host's capture before: the news a check may alert on.
    const ChangeTotals& changes = tally.Changes();
    int newEvents = 0;
    for (const auto& count : changes.NewEventsBySeverity())
        newEvents += count.second;
    if (changes.HostsCompared() > 0)
    {
        text += "; since the previous capture: " + std::to_string(changes.HostsChanged()) + " changed (" +
                std::to_string(changes.HostsWorse()) + " worse), " + std::to_string(newEvents) +
                " new event-log entries";
        if (changes.OtherHosts() > 0)
            text += ", " + std::to_string(changes.OtherHosts()) + " another server";
    }
    text += " |";
    std::string hosts = std::to_string(tally.Hosts());
    text += Perf("hosts", tally.Hosts(), "", "");
    for (int s = 0; s < HostStatusRules::kCount; ++s)
    {
        HostStatus status = static_cast<HostStatus>(s);
        int code = HostStatusRules::ExitCode(status);
        text += Perf(HostStatusRules::Name(status), tally.HostsWith(status), code == 1 ? "0" : "",
                     code == 2 ? "0" : "", hosts);
    }
    if (changes.HostsCompared() > 0)
    {
        text += Perf("hosts changed", changes.HostsChanged(), "", "", hosts);
        text += Perf("hosts worse", changes.HostsWorse(), "", "", hosts);
        text += Perf("new event-log entries", newEvents, "", "");
    }
    for (const auto& kind : tally.FailingMembers())
    {
        text += Perf(kind.first + " warning", kind.second.Warning, "0", "");
        text += Perf(kind.first + " major", kind.second.Major, "", "0");
        text += Perf(kind.first + " error", kind.second.Error, "", "0");
    }
    text += "\n";
    for (const std::string& line : m_Lines)
        text += line + "\n";
    if (m_LinesLeftOut > 0)
        text += "... and " + std::to_string(m_LinesLeftOut) + " more lines\n";
    return text;
}
