#pragma once

#include "HostPage.h"
#include "MetricsSource.h"
#include "MetricsWriter.h"

#include <string>

// Turns one page into series of the metrics file: whether it could be read and when it was
// captured, the identity, the state of every section and member row, every reading and size
// the tables show in base units, and the event log by severity. States follow the exporters'
// convention: 0 normal, 1 warning, 2 critical (error or major), NaN unknown; something not
// present has no series. A table's "N more left out" row is no member: it becomes the count
// hostcapture_members_left_out of its section.
class PageMetrics : public MetricsSource
{
public:
    explicit PageMetrics(MetricsWriter& writer);

    void AddPage(const HostPage& page) override;

    // The state value of a page status; false for a status that gives no series (not present).
    static bool StateValue(ReportStatus status, double& value);
    // A cell as a number: plain decimal text only ("12.05", "-7.00", "0"); "N/A", a blank or
    // any other text is no reading.
    static bool Number(const std::string& cell, double& value);

private:
    void AddIdentity(const HostPage& page);
    void AddSections(const HostPage& page);
    void AddEventLog(const PageSection& section);

    MetricsWriter& m_Writer;
    MetricsWriter::Family m_Readable, m_CaptureTime, m_Info, m_GroupState, m_SectionState, m_MemberState,
        m_LeftOut;
    MetricsWriter::Family m_EventEntries, m_EventNewest;
    struct Reading
    {
        const char* Heading;
        MetricsWriter::Family Family;
        double Scale;
    };
    std::vector<Reading> m_Readings;
};
