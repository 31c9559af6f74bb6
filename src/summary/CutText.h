#pragma once

#include <string>

// HostCapture cuts a daemon text that is too long for its page and marks the cut:
// "kept part [cut: 12345 bytes]", or "[cut: 12345 bytes]" alone once the page's text budget is
// spent. Such a text is only the beginning of the real one, so two captures may show the same
// text cut at different points; comparing the visible bytes would report a change that never
// happened.
namespace CutText
{
bool IsCut(const std::string& text);
// The part before the mark (the whole text when it is not cut).
std::string Kept(const std::string& text);
// Equal texts, or texts of which one is cut and the other agrees with its kept part as far as
// that reaches. A mark alone tells nothing of the text and agrees with every text.
bool Same(const std::string& a, const std::string& b);
} // namespace CutText
