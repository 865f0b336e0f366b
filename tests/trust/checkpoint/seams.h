// How good results are where one run of the engine continues another.
#pragma once

#include "tests/trust/trial.h"

namespace qx_test {

// Interrupts and finishes `count` transcodes, and lets two engines make as many, of an ordinary
// film and of one that needs all of the highest bit rate, and compares each with the film in one
// piece and with the source. Prints the figures.
void measure_seams(findings& found, long count);

}  // namespace qx_test
