#pragma once

#include <string>

// Text as it may stand in the page's content and in its double-quoted attributes: & < > and "
// become entities, every other byte stays. The report writes outside text through this, and the
// page reader relies on it to find a value among the page's bytes.
std::string HtmlEscape(const std::string& text);
