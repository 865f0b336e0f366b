// How long an engine may take for what it has to do. A file that lies about its length or sends a
// decoder round in circles must not keep a tool busy for hours.
//
// The time passed is generous, since a disk may be slow and the machine busy. The processor time
// does not depend on either, and is what ends an engine that goes round in circles.
#pragma once

#include <chrono>
#include <cstdint>

#include "tools/media/probe_depth.h"
#include "tools/media/process_runner.h"

struct time_budget {
  std::chrono::seconds passed;
  std::chrono::seconds processor;  // of all threads together
};

// For finding out what a file holds.
time_budget probe_budget(const probe_depth& depth);

// For reading all packets of a file with so many bytes of data.
time_budget reading_budget(std::uint64_t data_bytes);

// For decoding a few pictures within `passed`.
time_budget picture_budget(std::chrono::seconds passed);

// For decoding so many seconds of sound. If the length is not known (0), it is taken to be the
// longest that a file with so many bytes of data can have, within length.max_hours.
time_budget sound_budget(double duration, std::uint64_t data_bytes);

// For making `frames` pictures of `pixels` pixels, the decoded and the encoded ones together, and
// `duration` seconds of sound.
time_budget encoding_budget(double frames, double pixels, double duration);

// Applies the budget to a request that is confined.
void set_budget(program_request& request, const time_budget& budget);
