// Reads ffprobe's JSON. Apart from the probe so that it can be tried with reports of files that
// are hard to make.
#pragma once

#include <string>

#include "tools/media/media_info.h"

// Fills `info` from the report, with the streams that can be decoded only. False when `report` is
// not such a document. Numbers out of their sensible range are taken as not told: the report
// repeats what the file claims.
bool read_media_report(const std::string& report, media_info& info);

// The engine's version out of the report, which it gives for what it cannot read, too; empty where
// it did not.
std::string engine_version(const std::string& report);

// The entries that read_media_report() needs, for ffprobe's -show_entries.
extern const char* const media_report_entries;
