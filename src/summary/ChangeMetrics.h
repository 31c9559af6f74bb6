#pragma once

#include "HostChanges.h"
#include "MetricsWriter.h"

// The series of what changed since a host's capture before, in the same metrics file as its
// page's series: changes by kind and new event-log entries by severity, each with a zero for
// what did not happen, so an alert rule can compare; and whether there was a capture to compare
// with at all, or one of another server.
class ChangeMetrics
{
public:
    explicit ChangeMetrics(MetricsWriter& writer);

    // Adds to the collection the writer is at (the one the page's series just went to).
    void Add(const HostChanges& changes);

private:
    MetricsWriter& m_Writer;
    MetricsWriter::Family m_Compared, m_OtherHost, m_Worse, m_Changes, m_NewEvents;
};
