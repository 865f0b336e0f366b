// Asks ffprobe what a file is. Blocks for as long as that takes, within its time_budget.
#pragma once

#include <string>

#include "tools/media/media_info.h"
#include "tools/media/packet_timeline.h"

// Which files count as media: video and audio only, or still pictures as well. A still has one
// stream in media_info::video, with no duration.
enum class probe_kinds { films_and_sound, stills_too };

// Finds out what `path` holds. True when at least one stream can be decoded, with `info` filled;
// else false, with the cause in `error` in words that follow the file's name ("is a directory").
// The file is looked at first and never opened when it is not a regular one, and not read when it
// consists of holes. `interrupted`, if given, becomes true if the failure says nothing about the
// file (see is_interruption).
bool probe_media(const std::string& path, media_info& info, std::string& error,
                 probe_kinds kinds = probe_kinds::films_and_sound, bool* interrupted = nullptr);

// Finds out what the film or sound at `path` holds, and reads all its packets onto `timeline`, both
// at the same time: for a file that a tool has just made, of which a probe of the usual depth
// recognises everything. Otherwise as probe_media() and measure_streams().
bool probe_result(const std::string& path, media_info& info, packet_timeline& timeline,
                  std::string& error, bool* interrupted = nullptr);

// Drops the declared lengths of a source that are above tool_config::longest_hours, so that they
// are measured: a file of a few bytes can declare any length, and all work takes as long as the
// length.
void doubt_lengths(media_info& info);

// Reads all packets of `path`, which was probed at `depth`, onto `timeline`. Takes as long as
// reading the file does. False with the cause in `error`, and `interrupted` as of probe_media().
bool measure_streams(const std::string& path, const probe_depth& depth, packet_timeline& timeline,
                     std::string& error, bool* interrupted = nullptr);

// Measures the length of one stream by reading all its packets, for a file whose own statement is
// missing or estimated (media_info::duration_estimated). Takes as long as reading the file does.
// A length above tool_config::longest_hours is a failure.
// True with the length in seconds in `duration`, else false with the cause in `error`.
bool measure_duration(const std::string& path, const media_info& info, int stream_index,
                      double frame_rate, double& duration, std::string& error);

// False if a measured length, in seconds, is above tool_config::longest_hours, with the cause in
// `error`.
bool is_acceptable_length(double duration, std::string& error);
