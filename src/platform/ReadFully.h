#pragma once

#include <cstddef>

// Reads size bytes from fd into buffer, going on after short and interrupted reads; returns the
// count that arrived before the end of the file or an error (size when all did). Readers of
// whole files (ini files, the message catalogue) size the buffer from the file's status first.
size_t ReadFully(int fd, char* buffer, size_t size);
