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
// Only a regular file of at most 64 MiB is read; anything else fails with a reason, and so does
// a link when followLinks is false. Other HTML fails with page.Foreign set.
bool ReadFile(const std::string& path, HostPage& page, std::string* keep = nullptr, bool followLinks = true);

// Status number of a class attribute ("collapsible title-text status-error" gives 3). A header
// without a status word is not present; so is an unknown word (HasStatusWord tells them apart).
ReportStatus StatusOfClass(const std::string& classAttribute);
bool HasStatusWord(const std::string& classAttribute);

// The first bytes every HostCapture page starts with, and whether a file's first bytes (as many
// as PageOpening() has, or fewer for a short file) show some other HTML file.
const std::string& PageOpening();
bool IsForeign(const std::string& opening);
} // namespace PageReader
