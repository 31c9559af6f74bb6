#pragma once

#include "HostChanges.h"

#include <rapidjson/filewritestream.h>
#include <rapidjson/prettywriter.h>

#include <cstdio>

// The "changes" object of the JSON export (fleet.schema.json describes every field), and the
// document --compare writes with --json.
namespace ChangeJson
{
using Writer = rapidjson::PrettyWriter<rapidjson::FileWriteStream>;

void Write(Writer& w, const HostChanges& changes);
// {"format": "hostcapture-changes", "version": N, "changes": {...}}; false when it could not be
// written completely.
bool WriteDocument(const HostChanges& changes, FILE* out);

const int kFormatVersion = 1;
} // namespace ChangeJson
