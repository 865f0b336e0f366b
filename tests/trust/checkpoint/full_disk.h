// Transcodes on disks that become full.
#pragma once

#include "tests/trust/checkpoint/film_bench.h"

namespace qx_test {

// Transcodes the film `count` times on a disk of random size, now and then with the segments of
// somebody else on it. The result is right, or there is one line with the cause and nothing left.
// Prints the figures. Needs the right to mount.
void fill_disks(film_bench& film, long count);

}  // namespace qx_test
