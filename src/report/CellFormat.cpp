#include "CellFormat.h"

#include "HtmlText.h"

#include <cstdio>

namespace
{
std::string FormatDouble(const char* format, double value)
{
    // Large enough for any uint32_t value with three decimals and a sign.
    char buffer[48];
    snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}
} // namespace

namespace CellFormat
{
std::string Unsigned(uint32_t value)
{
    char buffer[16];
    snprintf(buffer, sizeof buffer, "%u", value);
    return buffer;
}

std::string Gigabytes(uint32_t megabytes)
{
    return FormatDouble("%.0f", megabytes * (1 / 1024.0));
}

std::string Volts(uint32_t hundredths)
{
    return FormatDouble("%.2f", hundredths / 100.0);
}

std::string SignedVolts(int16_t hundredths)
{
    return FormatDouble("%.2f", hundredths / 100.0);
}

std::string ThresholdMinimum(uint32_t thresholdWord)
{
    return SignedVolts(static_cast<int16_t>(static_cast<uint16_t>(thresholdWord & 0xFFFF)));
}

std::string ThresholdMaximum(uint32_t thresholdWord)
{
    return SignedVolts(static_cast<int16_t>(static_cast<uint16_t>(thresholdWord >> 16)));
}

std::string Gigahertz(uint32_t megahertz)
{
    return FormatDouble("%.3f", megahertz / 1000.0);
}

std::string MemorySize(uint32_t megabytes)
{
    if (megabytes == 0)
        return " ";
    return Unsigned(megabytes >> 10);
}

RowHead RowHeadFromCoded(const CodedResult& coded)
{
    RowHead head;
    head.Status = coded.Status;
    head.Text = HtmlText::FromDaemon(coded.Text);
    return head;
}
} // namespace CellFormat
