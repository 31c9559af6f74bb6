#include "FleetJson.h"

#include "ChangeJson.h"
#include "CollectionName.h"
#include "OutputFile.h"
#include "Utf8.h"

#include <rapidjson/filewritestream.h>
#include <rapidjson/prettywriter.h>

#include <cerrno>
#include <cstring>

namespace
{
using JsonWriter = rapidjson::PrettyWriter<rapidjson::FileWriteStream>;

void String(JsonWriter& w, const std::string& text)
{
    // The export must stay valid JSON whatever a page holds.
    const std::string valid = Utf8::Repaired(text, Utf8::Controls::Keep);
    w.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

void Key(JsonWriter& w, const char* key)
{
    w.Key(key);
}

void Status(JsonWriter& w, ReportStatus status)
{
    w.StartObject();
    Key(w, "number");
    w.Uint(status);
    Key(w, "name");
    w.String(HostStatusRules::NameOfReportStatus(status));
    w.EndObject();
}

void StringArray(JsonWriter& w, const std::vector<std::string>& texts)
{
    w.StartArray();
    for (const std::string& t : texts)
        String(w, t);
    w.EndArray();
}

void Table(JsonWriter& w, const PageTable& table)
{
    w.StartObject();
    Key(w, "headings");
    StringArray(w, table.Headings);
    Key(w, "rows");
    w.StartArray();
    for (const PageRow& row : table.Rows)
    {
        w.StartObject();
        Key(w, "status");
        Status(w, row.Status);
        Key(w, "text");
        String(w, row.Text);
        Key(w, "cells");
        StringArray(w, row.Cells);
        w.EndObject();
    }
    w.EndArray();
    w.EndObject();
}

// The event log by its headings, so that a column moved or added later does not shift meanings.
void EventLog(JsonWriter& w, const HostPage& page)
{
    w.StartArray();
    for (const PageSection& section : page.Sections)
    {
        if (section.Title != HostStatusRules::kEventLogTitle)
            continue;
        for (const PageTable& table : section.Tables)
        {
            auto column = [&](const char* heading)
            {
                for (size_t i = 1; i < table.Headings.size(); ++i)
                    if (table.Headings[i] == heading)
                        return static_cast<int>(i) - 1;
                return -1;
            };
            int code = column("Error Code"), stamp = column("Timestamp"), message = column("Message");
            for (const PageRow& row : table.Rows)
            {
                auto cell = [&](int i)
                { return i >= 0 && static_cast<size_t>(i) < row.Cells.size() ? row.Cells[i] : ""; };
                w.StartObject();
                Key(w, "status");
                Status(w, row.Status);
                Key(w, "severity");
                String(w, row.Text);
                Key(w, "error_code");
                String(w, cell(code));
                Key(w, "timestamp");
                String(w, cell(stamp));
                Key(w, "message");
                String(w, cell(message));
                w.EndObject();
            }
        }
    }
    w.EndArray();
}

void Sections(JsonWriter& w, const HostPage& page)
{
    w.StartArray();
    for (const PageSection& section : page.Sections)
    {
        bool eventLog = section.Title == HostStatusRules::kEventLogTitle;
        w.StartObject();
        Key(w, "block");
        String(w, section.Block);
        Key(w, "group");
        String(w, section.Group);
        Key(w, "title");
        String(w, section.Title);
        Key(w, "level");
        w.Int(section.Level);
        Key(w, "status");
        Status(w, section.Status);
        Key(w, "lines");
        w.StartArray();
        for (const auto& line : section.Lines)
        {
            w.StartObject();
            Key(w, "title");
            String(w, line.first);
            Key(w, "value");
            String(w, line.second);
            w.EndObject();
        }
        w.EndArray();
        Key(w, "tables");
        w.StartArray();
        // The event log's rows are listed once, under "event_log".
        if (!eventLog)
            for (const PageTable& table : section.Tables)
                Table(w, table);
        w.EndArray();
        w.EndObject();
    }
    w.EndArray();
}
void ChangeTotalsJson(JsonWriter& w, const ChangeTotals& totals)
{
    w.StartObject();
    Key(w, "hosts_compared");
    w.Int(totals.HostsCompared());
    Key(w, "hosts_changed");
    w.Int(totals.HostsChanged());
    Key(w, "hosts_worse");
    w.Int(totals.HostsWorse());
    Key(w, "hosts_with_new_events");
    w.Int(totals.HostsWithNewEvents());
    Key(w, "other_hosts");
    w.Int(totals.OtherHosts());
    Key(w, "by_kind");
    w.StartObject();
    for (int k = 0; k < ChangeRules::kKindCount; ++k)
    {
        Key(w, ChangeRules::Name(static_cast<ChangeKind>(k)));
        w.Int(totals.OfKind(static_cast<ChangeKind>(k)));
    }
    w.EndObject();
    Key(w, "new_events_by_severity");
    w.StartObject();
    for (const auto& count : totals.NewEventsBySeverity())
    {
        const std::string key = Utf8::Repaired(count.first, Utf8::Controls::Keep);
        w.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
        w.Int(count.second);
    }
    w.EndObject();
    w.EndObject();
}
} // namespace

struct FleetJson::Output
{
    OutputFile Target;
    FILE* File = nullptr;
    bool OwnsFile = false;
    char Buffer[65536];
    std::unique_ptr<rapidjson::FileWriteStream> Stream;
    std::unique_ptr<JsonWriter> Writer;
};

FleetJson::FleetJson() = default;

FleetJson::~FleetJson()
{
    if (m_Out && m_Out->OwnsFile && m_Out->File)
        fclose(m_Out->File);
}

bool FleetJson::Open(const std::string& path)
{
    m_Out.reset(new Output);
    m_Path = path;
    if (path == "-")
        m_Out->File = stdout;
    else
    {
        // Created 0600 beside its name and put in place when complete: it holds every serial
        // number and address of the fleet.
        if (!m_Out->Target.Create(path))
        {
            m_Error = m_Out->Target.Error();
            m_Out.reset();
            return false;
        }
        m_Out->File = fdopen(m_Out->Target.Release(), "wb");
        m_Out->OwnsFile = true;
    }
    if (!m_Out->File)
    {
        m_Error = path + ": " + std::strerror(errno);
        m_Out.reset();
        return false;
    }
    m_Out->Stream.reset(new rapidjson::FileWriteStream(m_Out->File, m_Out->Buffer, sizeof m_Out->Buffer));
    m_Out->Writer.reset(new JsonWriter(*m_Out->Stream));
    m_Out->Writer->SetIndent(' ', 2);
    JsonWriter& w = *m_Out->Writer;
    w.StartObject();
    Key(w, "format");
    w.String("hostcapture-fleet");
    Key(w, "version");
    w.Int(kFormatVersion);
    Key(w, "pages");
    w.StartArray();
    return true;
}

void FleetJson::AddPage(const HostPage& page, const HostChanges& changes)
{
    if (!m_Out)
        return;
    JsonWriter& w = *m_Out->Writer;
    w.StartObject();
    Key(w, "file");
    String(w, page.File);
    Key(w, "readable");
    w.Bool(page.Readable);
    Key(w, "problem");
    String(w, page.Problem);
    Key(w, "collection");
    String(w, page.Collection);
    Key(w, "name_fits_collection");
    w.Bool(CollectionName::Fits(page.Collection, page.Identity.HostName, page.Identity.Addresses));
    Key(w, "age_seconds");
    if (page.AgeSeconds < 0)
        w.Null();
    else
        w.Int64(page.AgeSeconds);
    Key(w, "age_source");
    String(w, page.AgeSource);
    Key(w, "worst_status");
    w.String(HostStatusRules::Name(HostStatusRules::PageWorst(page)));
    Key(w, "host");
    w.StartObject();
    Key(w, "model");
    String(w, page.Identity.Model);
    Key(w, "serial_number");
    String(w, page.Identity.SerialNumber);
    Key(w, "host_name");
    String(w, page.Identity.HostName);
    Key(w, "addresses");
    StringArray(w, page.Identity.Addresses);
    Key(w, "operating_system");
    String(w, page.Identity.OperatingSystem);
    Key(w, "time_stamp");
    String(w, page.Identity.TimeStamp);
    w.EndObject();
    Key(w, "sections");
    Sections(w, page);
    Key(w, "event_log");
    EventLog(w, page);
    Key(w, "changes");
    ChangeJson::Write(w, changes);
    w.EndObject();
}

bool FleetJson::Finish(const FleetTally& tally)
{
    if (!m_Out)
        return false;
    JsonWriter& w = *m_Out->Writer;
    w.EndArray();
    Key(w, "totals");
    w.StartObject();
    Key(w, "hosts");
    w.Int(tally.Hosts());
    Key(w, "left_out_older");
    w.Int(tally.LeftOut());
    Key(w, "hosts_per_worst_status");
    w.StartObject();
    for (int s = 0; s < HostStatusRules::kCount; ++s)
    {
        Key(w, HostStatusRules::Name(static_cast<HostStatus>(s)));
        w.Int(tally.HostsWith(static_cast<HostStatus>(s)));
    }
    w.EndObject();
    Key(w, "failing_members");
    w.StartArray();
    for (const auto& kind : tally.FailingMembers())
    {
        w.StartObject();
        Key(w, "kind");
        String(w, kind.first);
        Key(w, "warning");
        w.Int(kind.second.Warning);
        Key(w, "major");
        w.Int(kind.second.Major);
        Key(w, "error");
        w.Int(kind.second.Error);
        w.EndObject();
    }
    w.EndArray();
    Key(w, "changes");
    ChangeTotalsJson(w, tally.Changes());
    w.EndObject();
    Key(w, "worst_status");
    w.String(HostStatusRules::Name(tally.Worst()));
    Key(w, "exit_status");
    w.Int(tally.ExitCode());
    w.EndObject();
    m_Out->Stream->Put('\n');
    m_Out->Stream->Flush();
    bool ok = !ferror(m_Out->File) && w.IsComplete();
    bool committed = true;
    if (m_Out->OwnsFile)
    {
        ok = fclose(m_Out->File) == 0 && ok;
        committed = m_Out->Target.Commit(ok);
        ok = committed && ok;
    }
    else
        ok = fflush(m_Out->File) == 0 && ok;
    m_Out->File = nullptr;
    if (!ok)
        m_Error = committed ? m_Path + ": the export could not be written completely" : m_Out->Target.Error();
    return ok;
}
