#pragma once

#include <ctime>
#include <string>

// The fixed texts of the report page: the head (doctype, style sheet with the six status icons,
// the opening of the title block), the fragments around the date, and the tail (the fold-out
// script and the end of the page).
namespace ReportTemplate
{
const std::string& Head();
extern const char* const AfterTitle; // "</h2>\n    <h3>"
extern const char* const AfterDate;  // "</h3>\n  </div>"
const std::string& Tail();
// The local date and time as "%Y-%m-%d %H:%M:%S" (empty when formatting fails): now, or at the
// given moment.
std::string FormatReportDate();
std::string FormatReportDate(time_t when);
} // namespace ReportTemplate
