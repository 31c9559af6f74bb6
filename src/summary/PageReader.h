#pragma once

#include "HostPage.h"

#include <string>

// Reads HostCapture pages with libxml2's HTML parser. The page layout is a fixed contract: the
// reader goes by element names, class words and titles, never by the position of a section, so
// a page with more or fewer sections still reads.
namespace PageReader
{
// Fills page from the bytes of one page (page.File is left as it is). False, with a one-line
// reason in page.Problem, for bytes that are not a HostCapture page or that were cut off before
// the page's end. Never throws; any bytes are safe to pass.
bool ReadPage(const std::string& bytes, HostPage& page);

// Reads a file: a page, or a run-failure marker (a file ending ".failed" with "host:" and
// "reason:" lines) that the collection playbook leaves for a host without a page. With keep, the
// page's bytes are handed back there (empty for a marker or a file that could not be read).
bool ReadFile(const std::string& path, HostPage& page, std::string* keep = nullptr);

// Status number of a class attribute ("collapsible title-text status-error" gives 3). A header
// without a status word is not present; so is an unknown word.
ReportStatus StatusOfClass(const std::string& classAttribute);
} // namespace PageReader
