#pragma once

#include <string>

// Writes an output that holds what pages hold (serial numbers, addresses): created with mode
// 0600, opened once without following a link, and written only when what was opened is a plain
// file of our own (no device, no second name through a hard link, no other user's file). An
// existing file is replaced in place (left alone when it already holds text); missing parent
// folders are created with mode 0700.
namespace PrivateFile
{
bool Write(const std::string& path, const std::string& text, std::string& error);
} // namespace PrivateFile
