// A finished segment on the disk: a file with its name, and a record beside it that says what the
// file must hold. The record has the sum of the file in its name: whoever makes the same segment at
// the same time has a record of his own, and a file is never found with the record of another.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/qxmi_vod_transcode/encode_failure.h"
#include "tools/qxmi_vod_transcode/segment_file.h"

// Sound that is made as a whole has the number 0.
enum class segment_kind { picture, sound, whole_sound };

struct kept_segment {
  segment_content content;
  std::string run;    // of the engine that made it; no blanks
  std::string first;  // the mark of its beginning, and of the beginning of the next segment, which
  std::string next;   // the same run made as well or at least began; "-" if there is none
  bool is_last = false;  // the output ends with it
};

// "v000012.mp4", "s000012.adts" or "s000000.m4a".
std::string segment_name(segment_kind kind, std::int64_t segment);

// The numbers of all segments of a kind in `folder`, in no order. False with errno on failure.
bool list_segments(int folder, segment_kind kind, std::vector<std::int64_t>& segments);

// Reads a segment in `folder` and holds it against its record. An unreadable one, with errno, may
// be readable another time.
enum class segment_state { good, damaged, unreadable };
segment_state load_segment(int folder, segment_kind kind, std::int64_t segment, kept_segment& kept);

// Whether a file in the folder that could not be read, with this error, may be readable another
// time; others are damaged, missing or no files. The note names the one that could not be read the
// last time.
bool may_be_readable_later(int error);
constexpr const char* unreadable_note = "unreadable";

// Reads the content of a segment that an engine has finished in `run_folder`. False with the
// failure.
bool read_new_segment(int run_folder, segment_kind kind, std::int64_t segment,
                      segment_content& content, encode_failure& failure);

// Moves that segment, with what is known of it, to `folder` for good. A whole one that is there
// already stays, and `kept` is then what is known of that one; a damaged one is replaced.
// `may_place` is asked right before. If it says no, or something fails, `failure` says why.
enum class segment_placing { placed, was_there, failed };
segment_placing place_segment(int run_folder, int folder, segment_kind kind, std::int64_t segment,
                              kept_segment& kept, const std::function<bool()>& may_place,
                              encode_failure& failure);

// Removes a segment whose content has that sum, or all of pictures or of any sound, damaged or not,
// with their records.
void remove_segment(int folder, segment_kind kind, std::int64_t segment, std::uint64_t sum);
void remove_segments(int folder, segment_kind kind);

// A line in a file with a sum of its own: empty if it is missing or damaged. It is written so that
// it is there either as before or as a whole; false with errno on failure.
std::string read_sealed_line(int folder, const std::string& name);
bool write_sealed_line(int folder, const std::string& name, const std::string& text,
                       const std::string& temporary_name);
