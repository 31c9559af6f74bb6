#pragma once

#include <string>

// Copies of built programs and source files for a child that runs as uid 65534. The checkout
// may lie below a folder that only root can enter (/root, mode 0700), where that user cannot
// reach the originals; the copies sit in a fresh folder of root's under /tmp (mode 0755) that
// goes away with the object.
class ReachableCopies
{
public:
    ReachableCopies();
    ~ReachableCopies();
    ReachableCopies(const ReachableCopies&) = delete;
    ReachableCopies& operator=(const ReachableCopies&) = delete;

    // Copies the file (keeping its name) readable by all, and runnable by all when the original
    // is runnable. Returns the copy's path; empty when the copy failed.
    std::string Copy(const std::string& original);

private:
    std::string m_Path;
};
