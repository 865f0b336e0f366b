// Recordings with a flash and a beep, transcodes of them, and the times of flash and beep.
#pragma once

#include <string>
#include <vector>

#include "tests/support/media/made_media.h"

namespace qx_test {

// Inputs for make_media(): a small black picture and silence that turn white and loud for 0.2 s
// whenever `when`, an expression of t, becomes true; by default in second 1. Ends with a blank.
std::string flashing(int seconds, const std::string& when = "eq(floor(t),1)");
std::string beeping(int seconds, const std::string& when = "eq(floor(t),1)");

// A broadcast recording of 3 s with a flash and a beep in second 1. Its clock starts near `start`
// seconds; `sound` holds the engine's arguments for the sound.
std::string recorded(const scratch_folder& folder, const std::string& name, int start,
                     const std::string& sound = "-ac 2 -c:a mp2");

// The same kind of recording with other packet identifiers for picture and sound.
std::string moved(const scratch_folder& folder, const std::string& name, int start,
                  const std::string& arguments = "");

// The files concatenated byte by byte.
std::string joined(const scratch_folder& folder, const std::string& name,
                   const std::vector<std::string>& parts);

// The tool's result for `source` with a small profile, or for its sound alone; a failure fails the
// test.
std::string transcoded_film(const scratch_folder& folder, const std::string& source);
std::string transcoded_sound(const scratch_folder& folder, const std::string& source);

// Expects one moment per element of `seconds`, each within 60 ms of it.
void expect_moments(const std::vector<double>& moments, const std::vector<double>& seconds);

}  // namespace qx_test
