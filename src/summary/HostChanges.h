#pragma once

#include "HostStatus.h"

#include <map>
#include <string>
#include <vector>

// The kinds of change between two captures of one host. The names (Name()) are used as JSON
// keys, metric labels and in the terminal text, so they never change once published.
enum class ChangeKind
{
    SectionWorse,      // a section's status moved to a worse one
    MemberWorse,       // a member row's status moved to a worse one
    MemberDisappeared, // a member row the older page had is gone
    MemberAppeared,    // a member row the older page did not have
    Identity,          // model, serial numbers, BIOS, operating system, versions, addresses
    ValueMoved,        // a temperature or fan speed moved by its threshold or more
    LeftOut,           // a table's "N more left out" row changed
    MemberChanged,     // same status, other status text
    SectionBetter,
    MemberBetter,
};

struct Change
{
    ChangeKind Kind = ChangeKind::Identity;
    // How bad the news is; orders the changes, worst first.
    HostStatus Weight = HostStatus::Normal;
    std::string Where;  // "Mass Storage / RAID Physical Drives", "System Board"
    std::string What;   // the member ("PSU2", "SAS HDD (0), Adapter ID 0") or the value's title
    std::string Before; // as the older page shows it ("" when it had none)
    std::string After;
    std::string Note; // "matched by position: the key is not unique in its table"
};

// An event-log entry the newer page has and the older one had not.
struct NewEvent
{
    ReportStatus Status = StatusUnknown;
    std::string Severity; // "Critical", as the page names it
    std::string Code;
    std::string Timestamp;
    std::string Message;
};

// What changed between the capture before and the newest one of one host.
struct HostChanges
{
    bool Compared = false;  // false: no earlier page to compare with
    bool OtherHost = false; // the two pages are of different servers: nothing else is filled in
    std::string Reason;     // why there was no comparison ("no earlier readable page")
    std::string OlderFile;
    std::string NewerFile;
    std::string OlderTimeStamp;
    std::string NewerTimeStamp;
    std::string OlderSerial;
    std::string NewerSerial;
    std::vector<Change> Changes;                 // worst first
    std::vector<NewEvent> NewEvents;             // in the order of the newer page
    std::map<std::string, int> EventsBySeverity; // "Critical" -> 3

    bool Any() const { return OtherHost || !Changes.empty() || !NewEvents.empty(); }
    int Count(ChangeKind kind) const;
    // Some status moved to worse (a section or a member got worse, a member vanished or came
    // with a failure): what --changes-warn raises the exit for.
    bool AnyWorse() const;
    // The weight of the worst change, new event-log entries included; NotPresent without any.
    HostStatus Worst() const;
};

namespace ChangeRules
{
const int kKindCount = 10;
// "section_worse", "member_worse", "member_disappeared", "member_appeared", "identity",
// "value_moved", "left_out", "member_changed", "section_better", "member_better".
const char* Name(ChangeKind kind);
bool IsWorse(const Change& change);
// How bad a new event-log entry is, by the status of its icon.
HostStatus WeightOf(const NewEvent& event);
// Sorts worst first; equal weights keep the kind order above, then the page order.
void Order(std::vector<Change>& changes);
} // namespace ChangeRules
