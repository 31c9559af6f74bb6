#include "PageMetrics.h"

#include "HostStatus.h"
#include "MemberNames.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>
#include <map>
#include <set>

namespace
{
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// The table columns that hold readings and sizes, by heading, with the factor to the base unit.
// Sizes are shown in whole gigabytes of 1024 MB; frequencies in gigahertz with three decimals.
const struct
{
    const char* Heading;
    const char* Name;
    const char* Help;
    double Scale;
} kReadings[] = {
    {"RPM", "hostcapture_fan_speed_rpm", "Speed of a cooling device in revolutions per minute.", 1},
    {"Temperature (\xC2\xB0"
     "C)",
     "hostcapture_temperature_celsius", "Reading of a temperature sensor in degrees Celsius.", 1},
    {"Nominal Power (W)", "hostcapture_power_supply_nominal_watts", "Nominal power of a power supply unit.",
     1},
    {"Current Power (W)", "hostcapture_power_supply_watts", "Power a power supply unit delivers now.", 1},
    {"Current (V)", "hostcapture_voltage_volts", "Reading of a voltage sensor.", 1},
    {"Minimum (V)", "hostcapture_voltage_minimum_volts", "Lowest normal reading of a voltage sensor.", 1},
    {"Maximum (V)", "hostcapture_voltage_maximum_volts", "Highest normal reading of a voltage sensor.", 1},
    {"Size (GByte)", "hostcapture_size_bytes",
     "Size of a memory module or drive, as whole gigabytes of 2^30 bytes.", 1073741824.0},
    {"Current Frequency (GHz)", "hostcapture_processor_frequency_hertz", "Current frequency of a processor.",
     1e9},
};

// Severity names of the event log; each has a count, zero included, so that a rule can compare.
const char* const kSeverities[] = {"info", "minor", "major", "critical"};

std::string Lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// "2026-11-25 13:04:05" in local time, as the page's date line is written.
bool CaptureTime(const std::string& text, double& seconds)
{
    struct tm when = {};
    const char* end = strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &when);
    if (!end || *end != '\0')
        return false;
    when.tm_isdst = -1;
    time_t t = mktime(&when);
    if (t == static_cast<time_t>(-1))
        return false;
    seconds = static_cast<double>(t);
    return true;
}

// "2026/11/25 13:04:05" in UTC, as the event log's time stamps are written.
bool EventTime(const std::string& text, double& seconds)
{
    struct tm when = {};
    const char* end = strptime(text.c_str(), "%Y/%m/%d %H:%M:%S", &when);
    if (!end || *end != '\0')
        return false;
    seconds = static_cast<double>(timegm(&when));
    return true;
}

std::string LineOf(const HostPage& page, const char* section, const char* title)
{
    for (const PageSection& s : page.Sections)
        if (s.Block == "System Information" && s.Title == section)
            for (const auto& line : s.Lines)
                if (line.first == title)
                    return line.second;
    return {};
}
} // namespace

PageMetrics::PageMetrics(MetricsWriter& writer) : m_Writer(writer)
{
    m_Readable = writer.Declare("hostcapture_page_readable",
                                "1 when the newest page of the host could be read, 0 when it could not.");
    m_CaptureTime = writer.Declare("hostcapture_page_timestamp_seconds",
                                   "When the page was captured (its date line, local time), in seconds "
                                   "since 1970.");
    m_Info = writer.Declare("hostcapture_info", "Identity of the host as its page tells it; always 1.");
    m_GroupState = writer.Declare("hostcapture_group_state",
                                  "State of a health group (Environment, Power Supply, ...): 0 normal, 1 "
                                  "warning, 2 critical (error or major), NaN unknown; a group not present "
                                  "has no series.");
    m_SectionState = writer.Declare("hostcapture_section_state",
                                    "State of a section of a health group: 0 normal, 1 warning, 2 critical "
                                    "(error or major), NaN unknown; a section not present has no series.");
    m_MemberState = writer.Declare("hostcapture_member_state",
                                   "State of a member (table row) of a section: 0 normal, 1 warning, 2 "
                                   "critical (error or major), NaN unknown; a member not present has no "
                                   "series.");
    m_LeftOut = writer.Declare("hostcapture_members_left_out",
                               "Members of a section that the capture left out of its table (row bound).");
    for (const auto& reading : kReadings)
        m_Readings.push_back({reading.Heading, writer.Declare(reading.Name, reading.Help), reading.Scale});
    m_EventEntries =
        writer.Declare("hostcapture_event_log_entries", "Entries of the system event log by severity.");
    m_EventNewest = writer.Declare("hostcapture_event_log_newest_timestamp_seconds",
                                   "Time stamp of the newest dated entry of the system event log by "
                                   "severity, in seconds since 1970.");
}

bool PageMetrics::StateValue(ReportStatus status, double& value)
{
    switch (status)
    {
    case StatusNormal:
        value = 0;
        return true;
    case StatusWarning:
        value = 1;
        return true;
    case StatusError:
    case StatusMajor:
        value = 2;
        return true;
    case StatusUnknown:
        value = kNaN;
        return true;
    default:
        return false;
    }
}

bool PageMetrics::Number(const std::string& cell, double& value)
{
    // Plain decimals only: from_chars alone would also take "inf", "nan" or an exponent.
    if (cell.empty() || cell.find_first_not_of("-.0123456789") != std::string::npos)
        return false;
    auto result = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    return result.ec == std::errc() && result.ptr == cell.data() + cell.size();
}

void PageMetrics::AddPage(const HostPage& page)
{
    m_Writer.Sample(m_Readable, {}, page.Readable ? 1 : 0);
    if (!page.Readable)
        return;
    double captured;
    if (CaptureTime(page.Identity.TimeStamp, captured))
        m_Writer.Sample(m_CaptureTime, {}, captured);
    AddIdentity(page);
    AddSections(page);
}

void PageMetrics::AddIdentity(const HostPage& page)
{
    std::string software, version;
    for (const PageSection& s : page.Sections)
        if (s.Block == "System Information" && s.Title == "System Management Software" && !s.Lines.empty())
        {
            software = s.Lines.front().first;
            version = s.Lines.front().second;
        }
    m_Writer.Sample(m_Info,
                    {{"model", page.Identity.Model},
                     {"serial_number", page.Identity.SerialNumber},
                     {"bios_version", LineOf(page, "System Board", "BIOS Version")},
                     {"operating_system", page.Identity.OperatingSystem},
                     {"host_name", page.Identity.HostName},
                     {"management_software", software},
                     {"management_software_version", version}},
                    1);
}

void PageMetrics::AddSections(const HostPage& page)
{
    for (const PageSection& section : page.Sections)
    {
        if (section.Block != HostStatusRules::kHealthBlock)
            continue;
        double state;
        if (StateValue(section.Status, state) && section.Level == 1)
            m_Writer.Sample(m_GroupState, {{"group", section.Group}}, state);
        else if (StateValue(section.Status, state))
            m_Writer.Sample(m_SectionState, {{"group", section.Group}, {"section", section.Title}}, state);
        if (section.Title == HostStatusRules::kEventLogTitle)
        {
            AddEventLog(section);
            continue;
        }
        std::set<std::string> names;
        uint64_t leftOut = 0;
        for (const PageTable& table : section.Tables)
        {
            std::vector<int> columns;
            for (size_t h = 1; h < table.Headings.size(); ++h)
            {
                int found = -1;
                for (size_t r = 0; r < m_Readings.size(); ++r)
                    if (table.Headings[h] == m_Readings[r].Heading)
                        found = static_cast<int>(r);
                columns.push_back(found);
            }
            std::vector<std::string> members = MemberNames::Of(table, names);
            for (size_t i = 0; i < table.Rows.size(); ++i)
            {
                const PageRow& row = table.Rows[i];
                uint64_t count;
                if (MemberNames::IsLeftOutRow(row, count))
                {
                    leftOut += count;
                    continue;
                }
                MetricsWriter::Labels labels = {{"section", section.Title}, {"member", members[i]}};
                // The group lets a rule name a group's state only where no member tells more.
                if (StateValue(row.Status, state))
                    m_Writer.Sample(m_MemberState, {{"group", section.Group}, labels[0], labels[1]}, state);
                for (size_t c = 0; c < row.Cells.size() && c < columns.size(); ++c)
                {
                    double value;
                    if (columns[c] >= 0 && Number(row.Cells[c], value))
                    {
                        const Reading& reading = m_Readings[columns[c]];
                        value *= reading.Scale;
                        // Gigahertz with three decimals are whole megahertz: no binary fraction.
                        if (reading.Scale != 1)
                            value = std::round(value);
                        m_Writer.Sample(reading.Family, labels, value);
                    }
                }
            }
        }
        if (leftOut > 0)
            m_Writer.Sample(m_LeftOut, {{"section", section.Title}}, static_cast<double>(leftOut));
    }
}

void PageMetrics::AddEventLog(const PageSection& section)
{
    std::map<std::string, double> entries, newest;
    for (const char* severity : kSeverities)
        entries[severity] = 0;
    for (const PageTable& table : section.Tables)
    {
        int stamp = -1;
        for (size_t h = 1; h < table.Headings.size(); ++h)
            if (table.Headings[h] == "Timestamp")
                stamp = static_cast<int>(h) - 1;
        for (const PageRow& row : table.Rows)
        {
            uint64_t count;
            if (MemberNames::IsLeftOutRow(row, count))
            {
                m_Writer.Sample(m_LeftOut, {{"section", section.Title}}, static_cast<double>(count));
                continue;
            }
            std::string severity = Lower(row.Text);
            entries[severity] += 1;
            double when;
            if (stamp >= 0 && static_cast<size_t>(stamp) < row.Cells.size() &&
                EventTime(row.Cells[stamp], when) && (newest.count(severity) == 0 || when > newest[severity]))
                newest[severity] = when;
        }
    }
    for (const auto& entry : entries)
        m_Writer.Sample(m_EventEntries, {{"severity", entry.first}}, entry.second);
    for (const auto& entry : newest)
        m_Writer.Sample(m_EventNewest, {{"severity", entry.first}}, entry.second);
}
