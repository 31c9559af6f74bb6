#include "ChangeJson.h"

#include "Utf8.h"

namespace
{
void String(ChangeJson::Writer& w, const std::string& text)
{
    // The export must stay valid JSON whatever a page holds.
    const std::string valid = Utf8::Repaired(text, Utf8::Controls::Keep);
    w.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

void Member(ChangeJson::Writer& w, const char* key, const std::string& text)
{
    w.Key(key);
    String(w, text);
}

void Items(ChangeJson::Writer& w, const HostChanges& changes)
{
    w.StartArray();
    for (const Change& c : changes.Changes)
    {
        w.StartObject();
        w.Key("kind");
        w.String(ChangeRules::Name(c.Kind));
        w.Key("weight");
        w.String(HostStatusRules::Name(c.Weight));
        w.Key("worse");
        w.Bool(ChangeRules::IsWorse(c));
        Member(w, "where", c.Where);
        Member(w, "what", c.What);
        Member(w, "before", c.Before);
        Member(w, "after", c.After);
        Member(w, "note", c.Note);
        w.EndObject();
    }
    w.EndArray();
}

void Events(ChangeJson::Writer& w, const HostChanges& changes)
{
    w.StartArray();
    for (const NewEvent& e : changes.NewEvents)
    {
        w.StartObject();
        w.Key("status");
        w.StartObject();
        w.Key("number");
        w.Uint(e.Status);
        w.Key("name");
        w.String(HostStatusRules::NameOfReportStatus(e.Status));
        w.EndObject();
        Member(w, "severity", e.Severity);
        Member(w, "error_code", e.Code);
        Member(w, "timestamp", e.Timestamp);
        Member(w, "message", e.Message);
        w.EndObject();
    }
    w.EndArray();
}
} // namespace

namespace ChangeJson
{
void Write(Writer& w, const HostChanges& changes)
{
    w.StartObject();
    w.Key("compared");
    w.Bool(changes.Compared);
    Member(w, "reason", changes.Reason);
    w.Key("other_host");
    w.Bool(changes.OtherHost);
    Member(w, "older_file", changes.OlderFile);
    Member(w, "older_time_stamp", changes.OlderTimeStamp);
    Member(w, "older_serial_number", changes.OlderSerial);
    Member(w, "newer_serial_number", changes.NewerSerial);
    w.Key("any_worse");
    w.Bool(changes.AnyWorse());
    w.Key("worst");
    w.String(HostStatusRules::Name(changes.Worst()));
    w.Key("counts");
    w.StartObject();
    for (int k = 0; k < ChangeRules::kKindCount; ++k)
    {
        w.Key(ChangeRules::Name(static_cast<ChangeKind>(k)));
        w.Int(changes.Count(static_cast<ChangeKind>(k)));
    }
    w.EndObject();
    w.Key("items");
    Items(w, changes);
    w.Key("new_events");
    Events(w, changes);
    w.Key("new_events_by_severity");
    w.StartObject();
    for (const auto& count : changes.EventsBySeverity)
    {
        const std::string key = Utf8::Repaired(count.first, Utf8::Controls::Keep);
        w.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
        w.Int(count.second);
    }
    w.EndObject();
    w.EndObject();
}

bool WriteDocument(const HostChanges& changes, FILE* out)
{
    char buffer[65536];
    rapidjson::FileWriteStream stream(out, buffer, sizeof buffer);
    Writer w(stream);
    w.SetIndent(' ', 2);
    w.StartObject();
    w.Key("format");
    w.String("hostcapture-changes");
    w.Key("version");
    w.Int(kFormatVersion);
    w.Key("changes");
    Write(w, changes);
    w.EndObject();
    stream.Put('\n');
    stream.Flush();
    return w.IsComplete() && !ferror(out) && fflush(out) == 0;
}
} // namespace ChangeJson
