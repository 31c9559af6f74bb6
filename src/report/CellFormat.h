#pragma once

#include "CodedResult.h"
#include "HTMLComponent.h"

#include <cstdint>
#include <string>

// The number forms of the report's table cells, and the row head of a coded daemon status.
namespace CellFormat
{
// "%u".
std::string Unsigned(uint32_t value);
// Megabytes as whole gigabytes: MB * (1/1024) with "%.0f", so an exact half rounds to even.
std::string Gigabytes(uint32_t megabytes);
// Hundredths of a volt with "%.2f".
std::string Volts(uint32_t hundredths);
// One half of a voltage threshold word: a signed 16-bit count of hundredths of a volt.
std::string SignedVolts(int16_t hundredths);
std::string ThresholdMinimum(uint32_t thresholdWord); // low half
std::string ThresholdMaximum(uint32_t thresholdWord); // high half
// Megahertz as gigahertz with "%.3f".
std::string Gigahertz(uint32_t megahertz);
// Memory module size: megabytes >> 10 with "%u"; a blank " " when the size is 0 (unknown), so
// the cell shows empty rather than "N/A".
std::string MemorySize(uint32_t megabytes);

// Row head from a coded status; the text is escaped like any daemon text.
RowHead RowHeadFromCoded(const CodedResult& coded);
} // namespace CellFormat
