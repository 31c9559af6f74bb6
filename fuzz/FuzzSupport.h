#pragma once
// Helpers shared by the fuzz targets: a private system root for the whole process, writing the
// input to files below it, and splitting one input into several parts.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace FuzzSupport
{
// Creates a fresh temporary folder once per process, sets HOSTCAPTURE_SYSROOT to it (so that no
// fixed path of the management stack on this machine is read or written) and removes it at
// exit. Returns the folder.
const std::string& PrivateSysRoot();

// Writes bytes to the file at path (creating missing parent folders); aborts when it cannot,
// since a target that silently tests nothing would be worse than one that stops.
void WriteFile(const std::string& path, const std::string& bytes);

// A connected stream socket pair with the whole input already queued on fds[0] and fds[1]'s
// writing side shut down, so a reader of fds[0] sees the input and then the end of the stream,
// while fds[0] can still write to fds[1]. The caller closes both. Aborts when it cannot.
void QueueOnSocket(const uint8_t* data, size_t size, int fds[2]);

// Splits the input at every "\n@@\n": multi-part inputs (several files, a file and its
// environment) stay readable in the seed corpus and easy for the fuzzer to rearrange.
std::vector<std::string> SplitParts(const uint8_t* data, size_t size, size_t maxParts);
} // namespace FuzzSupport
