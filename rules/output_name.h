// Where outputs are written, and how the service names them.
#pragma once

#include <optional>
#include <string>

// The files that the service puts into the output's metadata directory: the thumbnail, a copy of
// the source's metadata, the mark that the output is complete, and the summary of its job.
constexpr char thumbnail_file[] = "vod.thumbnail.jpg";
constexpr char source_metadata_file[] = ".vod.metadata";
constexpr char ready_file[] = ".vod.ready";
constexpr char summary_file[] = ".transcode";

// True for a path directly under the output directory whose name may be used. Further slashes
// after the directory are ignored.
bool is_output_path_allowed(const std::string& path);

// The metadata directory of an output. Nothing for a path that is not allowed, or too long for its
// metadata.
std::optional<std::string> metadata_folder_of_output(const std::string& path);

// The output's path for a source of that name: "MOMENT.vod.PROFILE.NAME" in the output directory,
// ending in ".mp4". `moment` is the time in microseconds since 1970. "" when it would be too long
// for a path.
std::string output_path_for(const std::string& moment, const std::string& profile,
                            const std::string& source_name);
