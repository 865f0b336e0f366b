// Reads ffprobe's JSON. Apart from the probe so that it can be tried with reports of files that
// are hard to make.
#pragma once

#include <string>

#include "tools/media/media_info.h"

// Fills `info` from the report, with only the streams that can be decoded. False if `report` is not
// such a document. Numbers out of their plausible range are treated as missing, because the report
// repeats the claims of the file.
bool read_media_report(const std::string& report, media_info& info);

// The engine's version according to the report, which is present even if the file cannot be read;
// empty if it is missing.
std::string engine_version(const std::string& report);

// The entries that read_media_report() needs, for ffprobe's -show_entries.
extern const char* const media_report_entries;
