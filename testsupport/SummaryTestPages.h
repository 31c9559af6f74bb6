// Builders for the page model that the summary's tests assemble by hand, and a reader for the
// metrics file those pages turn into. Header-only: the summary's own types come from whichever
// test includes this, so that hc_testsupport itself needs no summary library.
#pragma once

#include "HostPage.h"
#include "HostStatus.h"

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace SummaryTestPages
{
// A table row by its parts, whatever else a row may come to hold.
inline PageRow Row(ReportStatus status, const std::string& text, std::vector<std::string> cells)
{
    PageRow row;
    row.Status = status;
    row.Text = text;
    row.Cells = std::move(cells);
    return row;
}

inline PageSection Section(const std::string& block, const std::string& group, const std::string& title,
                           int level, ReportStatus status, std::vector<PageTable> tables = {})
{
    PageSection section;
    section.Block = block;
    section.Group = group;
    section.Title = title;
    section.Level = level;
    section.Status = status;
    section.Tables = std::move(tables);
    return section;
}

inline PageSection Health(const std::string& group, const std::string& title, ReportStatus status,
                          int level = 2, std::vector<PageTable> tables = {})
{
    return Section(HostStatusRules::kHealthBlock, group, title, level, status, std::move(tables));
}

// Series text ("name{labels}") to value text, as the metrics file holds them.
inline std::map<std::string, std::string> Series(const std::string& text)
{
    std::map<std::string, std::string> series;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line))
    {
        if (line.empty() || line[0] == '#')
            continue;
        size_t space = line.rfind(' ');
        series[line.substr(0, space)] = line.substr(space + 1);
    }
    return series;
}
} // namespace SummaryTestPages
