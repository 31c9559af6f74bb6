#pragma once

#include <istream>
#include <string>
#include <sys/types.h>

// Readers of the Linux /proc file system: finding a running process by its command name, the
// memory figures of a process and single lines of a process's files. None of them throws; a
// file that cannot be read gives a false result or a zero value.

// Finds the first process (in /proc directory order) whose "comm" text equals name exactly.
bool FindProcessByName(const std::string& name, pid_t& pid);

// Reads the first line of /proc/<pid>/<fileName> (without its newline).
bool ReadProcessFileLine(pid_t pid, const std::string& fileName, std::string& line);

// Reads the figure of one "status" line (label with its colon, such as "VmRSS:") in bytes, then
// shifts it right by 10 bits unitShift times (0 bytes, 1 kilobytes, 2 megabytes). The value is
// stored in value and returned; 0 when the file or the label is missing.
unsigned long long GetProcessStatusValue(pid_t pid, unsigned long long& value, const std::string& label,
                                         unsigned unitShift);

// The same for status text that is already at hand.
unsigned long long ParseProcessStatusValue(std::istream& status, const std::string& label,
                                           unsigned unitShift);

// Memory figures of a process in bytes: virtual size, its peak, swapped-out size, size of the
// mapped libraries and the resident set. True when size and peak are both non-zero.
bool GetProcessMemoryUsage(pid_t pid, unsigned long long& size, unsigned long long& peak,
                           unsigned long long& swap, unsigned long long& librarySize,
                           unsigned long long& resident);

// The target of /proc/<pid>/exe.
bool GetProcessExecutablePath(pid_t pid, std::string& path);
