// The room for an output on its file system.
#pragma once

#include <cstdint>
#include <string>

#include "tools/media/output_file.h"

struct output_room {
  std::uint64_t bytes = 0;  // free for the output, with what it takes already
  std::string file_system;  // where that is mounted
};

// Finds out how much room there is for `output`. False with errno on failure.
bool read_output_room(const output_file& output, output_room& room);

// Whether an output of `expected` bytes, which is an estimate, has any chance to find room. False
// with the cause in `error`; true if the room cannot be determined.
bool may_find_room(const output_file& output, std::uint64_t expected, std::string& error);

// Whether `bytes` are free for `output`; true if that cannot be determined.
bool has_room_for(const output_file& output, std::uint64_t bytes);

// `cause` with the figures added if it says that the file system or a quota is full.
std::string with_room_needed(const std::string& cause, const output_file& output,
                             std::uint64_t expected);
