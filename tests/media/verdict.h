// Compares the measurements of a result with the expected ones.
#pragma once

#include <string>
#include <vector>

#include "tests/media/expected_result.h"
#include "tests/media/measured_result.h"

namespace qx_test {

constexpr double sync_tolerance = 0.04;   // seconds between a flash and its beep: one picture
constexpr double length_tolerance = 0.3;  // seconds
constexpr double shape_tolerance = 0.03;  // as a share

// How much later than its flash each beep is, in seconds; flashes without a beep within a second
// are left out.
std::vector<double> sync_of(const measured_result& measured);

// The largest difference between a bar and its expected colour, at any flash.
double colour_error(const measured_result& measured);

// Width by height of the lit area at a flash, in square pixels.
double shape_of(const flash& at);

// Each deviation in words; none when all is as expected. `reference` is the loudness of the scene's
// sound in both channels, in LUFS.
std::vector<std::string> deviations(const expected_result& expected,
                                    const measured_result& measured, double reference);

}  // namespace qx_test
