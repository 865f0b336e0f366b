// Asks ffprobe what a file is. Blocks for as long as that takes, within the limits below.
#pragma once

#include <chrono>
#include <string>

#include "tools/media/media_info.h"
#include "tools/media/packet_timeline.h"

constexpr std::chrono::seconds probe_time_limit{60};

// For reading a file to its end: a day's recording takes minutes, a few bytes that pretend to be
// terabytes would take hours.
constexpr std::chrono::minutes measure_time_limit{30};

// Which files count as media: video and audio only, or still pictures as well. A still has one
// stream in media_info::video, with no duration.
enum class probe_kinds { films_and_sound, stills_too };

// Finds out what `path` holds. True when at least one stream can be decoded, with `info` filled;
// else false, with the cause in `error` in words that follow the file's name ("is a directory").
// The file is looked at first and never opened when it is not a regular one.
bool probe_media(const std::string& path, media_info& info, std::string& error,
                 probe_kinds kinds = probe_kinds::films_and_sound);

// Reads all packets of `path`, which was probed at `depth`, onto `timeline`. Takes as long as
// reading the file does, at most measure_time_limit. False with the cause in `error`.
bool measure_streams(const std::string& path, const probe_depth& depth, packet_timeline& timeline,
                     std::string& error);

// Measures the length of one stream by reading all its packets, for a file whose own statement is
// missing or estimated (media_info::duration_estimated). Takes as long as reading the file does, at
// most measure_time_limit.
// True with the length in seconds in `duration`, else false with the cause in `error`.
bool measure_duration(const std::string& path, const media_info& info, int stream_index,
                      double frame_rate, double& duration, std::string& error);
