#pragma once

#include <string>

// Every fixed path of the management stack (/opt/TessmarkQDX/..., /var/run/<service>.pid,
// /var/log/plinthd) goes through SysPath. When HOSTCAPTURE_SYSROOT is set and not empty, the path
// is placed under that directory, so tests and the demo run against a private tree and never
// touch the real one. Paths that a user configures (environment variables, ini values) are not
// fixed paths and are used as given.
std::string SysPath(const std::string& fixedPath);

// The sysroot in force, or an empty string.
std::string SysRoot();
