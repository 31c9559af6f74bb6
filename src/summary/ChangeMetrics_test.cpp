#include "ChangeMetrics.h"

#include <gtest/gtest.h>

namespace
{
HostChanges Sample()
{
    HostChanges changes;
    changes.Compared = true;
    Change worse;
    worse.Kind = ChangeKind::MemberWorse;
    worse.Weight = HostStatus::Error;
    Change gone = worse;
    gone.Kind = ChangeKind::MemberDisappeared;
    changes.Changes = {worse, worse, gone};
    changes.EventsBySeverity = {{"Critical", 3}, {"Minor", 1}};
    return changes;
}
} // namespace

TEST(ChangeMetrics, CountsByKindAndSeverityWithZerosAndNothingForAnotherServer)
{
    MetricsWriter writer;
    ChangeMetrics metrics(writer);
    HostChanges other;
    other.Compared = other.OtherHost = true;
    other.Changes = Sample().Changes; // never counted for another server
    struct Case
    {
        const char* Host;
        HostChanges Changes;
    };
    const Case cases[] = {{"a", Sample()}, {"b", HostChanges()}, {"c", other}};
    for (const Case& c : cases)
    {
        writer.BeginCollection(c.Host);
        metrics.Add(c.Changes);
    }
    std::string text = writer.Text();
    for (const char* line : {
             "hostcapture_changes_compared{host=\"a\"} 1\n",
             "hostcapture_changes_compared{host=\"b\"} 0\n",
             "hostcapture_changes_compared{host=\"c\"} 1\n",
             "hostcapture_changes_other_host{host=\"a\"} 0\n",
             "hostcapture_changes_other_host{host=\"c\"} 1\n",
             "hostcapture_changes_worse{host=\"a\"} 1\n",
             "hostcapture_changes{host=\"a\",kind=\"member_worse\"} 2\n",
             "hostcapture_changes{host=\"a\",kind=\"member_disappeared\"} 1\n",
             "hostcapture_changes{host=\"a\",kind=\"identity\"} 0\n",
             "hostcapture_changes_new_event_log_entries{host=\"a\",severity=\"critical\"} 3\n",
             "hostcapture_changes_new_event_log_entries{host=\"a\",severity=\"minor\"} 1\n",
             "hostcapture_changes_new_event_log_entries{host=\"a\",severity=\"major\"} 0\n",
         })
        EXPECT_NE(text.find(line), std::string::npos) << line << text;
    // A host without a capture before, or with another server's, has no counts that could look
    // like "nothing changed".
    EXPECT_EQ(text.find("hostcapture_changes{host=\"b\""), std::string::npos);
    EXPECT_EQ(text.find("hostcapture_changes{host=\"c\""), std::string::npos);
    EXPECT_EQ(text.find("hostcapture_changes_worse{host=\"c\""), std::string::npos);
}
