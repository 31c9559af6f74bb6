#include "ChangeJson.h"

#include "Utf8.h"

#include <initializer_list>
#include <utility>

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

// Text members in the order given.
void Members(ChangeJson::Writer& w, std::initializer_list<std::pair<const char*, const std::string*>> members)
{
    for (const auto& member : members)
        Member(w, member.first, *member.second);
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
        Members(w, {{"where", &c.Where},
                    {"what", &c.What},
                    {"before", &c.Before},
                    {"after", &c.After},
                    {"note", &c.Note}});
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
        Members(w, {{"severity", &e.Severity},
                    {"error_code", &e.Code},
                    {"timestamp", &e.Timestamp},
                    {"message", &e.Message}});
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
    Members(w, {{"older_file", &changes.OlderFile},
                {"older_time_stamp", &changes.OlderTimeStamp},
                {"older_serial_number", &changes.OlderSerial},
                {"newer_serial_number", &changes.NewerSerial}});
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
