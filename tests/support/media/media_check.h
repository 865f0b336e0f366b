// Reads a tool's result with ffprobe and ffmpeg, independently of the product's own reading.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <json11.hpp>

namespace qx_test {

// ffprobe's report with all frames decoded and counted; null if the file cannot be read.
json11::Json inspect(const std::string& path);

// The first stream of this kind ("video", "audio") in the report; null if there is none.
json11::Json stream_of(const json11::Json& report, std::string_view kind);

// Numbers that ffprobe writes as text.
double number(const json11::Json& value);

// The times of the picture's key frames, in seconds.
std::vector<double> key_frame_times(const std::string& path);

// True if the index of an MP4 file precedes its data.
bool index_in_front(const std::string& path);

// The first time the picture turns bright and the sound loud, in seconds from the beginning; -1 if
// never. `before` is a chain of filters applied first, such as "crop=iw:ih/2:0:0" for the upper
// half.
double first_bright_time(const std::string& path, const std::string& before = "null");
double first_loud_time(const std::string& path, const std::string& before = "anull");

// Every time the picture turns bright and the sound loud, in seconds from the beginning.
std::vector<double> bright_times(const std::string& path);
std::vector<double> loud_times(const std::string& path, const std::string& before = "anull");

// The mean and the highest level of the sound, in dB of full scale, without its first and last
// quarter of a second.
double loudness(const std::string& path, const std::string& before = "anull");
double peak_level(const std::string& path);

// The number of frames with combing: two fields from different moments.
int combed_frames(const std::string& path);

}  // namespace qx_test
