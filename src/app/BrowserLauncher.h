#pragma once

#include <string>

// Opens the finished page with the desktop's xdg-open. The program runs as root, so the file name
// is handed over as the single argument of xdg-open, never through a shell: a name holding
// quotes, "$(...)", ";" or blanks opens exactly that file and runs nothing else. This is a
// deliberate choice of this tool over building a shell command line.
namespace BrowserLauncher
{
// Starts xdg-open (found through PATH) and waits for it to return. False when it could not be
// started; the reason is traced.
bool Open(const std::string& fileName);
} // namespace BrowserLauncher
