#pragma once

#include "HostChanges.h"
#include "HostPage.h"

// The thresholds below which a sensor value's move is ordinary drift, not news.
struct ComparisonOptions
{
    double TemperatureCelsius = 10; // a temperature moved by this many degrees or more
    double FanPercent = 25;         // a fan's speed moved by this share of the older speed or more
};

// Tells what changed between two readable pages of one host: identity values, section
// statuses, member rows, sensor values beyond their thresholds and new event-log entries. Two
// pages of different servers (their serial numbers differ) give OtherHost and nothing else.
namespace PageComparison
{
HostChanges Compare(const HostPage& older, const HostPage& newer, const ComparisonOptions& options = {});
} // namespace PageComparison
