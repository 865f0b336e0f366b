// Recordings with a flash and a beep, what is made of them, and when it flashes and beeps.
#pragma once

#include <string>
#include <vector>

#include "tests/support/media/made_media.h"

namespace qx_test {

// Inputs for make_media(): a small black picture and silence that turn white and loud for 0.2 s
// whenever `when`, an expression of t, begins to hold; in second 1 unless told otherwise. With a
// blank at the end.
std::string flashing(int seconds, const std::string& when = "eq(floor(t),1)");
std::string beeping(int seconds, const std::string& when = "eq(floor(t),1)");

// A broadcast recording of 3 s with a flash and a beep in second 1. Its clock begins near `start`
// seconds; `sound` are the engine's arguments for the sound.
std::string recorded(const scratch_folder& folder, const std::string& name, int start,
                     const std::string& sound = "-ac 2 -c:a mp2");

// Such a recording whose picture and sound have other packet identifiers.
std::string moved(const scratch_folder& folder, const std::string& name, int start,
                  const std::string& arguments = "");

// The files one after the other, byte by byte.
std::string joined(const scratch_folder& folder, const std::string& name,
                   const std::vector<std::string>& parts);

// What the tool makes of `source` with a small profile, or of its sound alone; a failure fails the
// test.
std::string transcoded_film(const scratch_folder& folder, const std::string& source);
std::string transcoded_sound(const scratch_folder& folder, const std::string& source);

// Expects as many moments as `seconds`, each less than 60 ms away from its own.
void expect_moments(const std::vector<double>& moments, const std::vector<double>& seconds);

}  // namespace qx_test
