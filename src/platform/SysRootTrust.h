#pragma once

#include <string>

// Whether root may use the system root named by HOSTCAPTURE_SYSROOT. Below it lie the daemon's
// sockets, its pid file, the trace configuration and the log folder: a root that another user
// can change would let that user serve the daemon's answers and steer what root writes.
namespace SysRootTrust
{
// Why root must not use this folder, or empty: every component of the path must belong to root
// and be writable by nobody else; a folder on the way may be writable by all when it carries the
// sticky bit (as /tmp does), since then nobody can replace the entries that root owns in it.
std::string Concern(const std::string& root);

// True unless the program runs as root and the system root in force has a concern. A refused
// root is named once per process on standard error; nothing below it is then used.
bool IsUsable();
} // namespace SysRootTrust
