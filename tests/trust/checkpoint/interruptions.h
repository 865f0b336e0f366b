// Transcodes that are interrupted some times and then finished.
#pragma once

#include <string>
#include <vector>

#include "tests/trust/checkpoint/film_bench.h"

namespace qx_test {

struct interruption_figures {
  long at_moments = 0;  // kills, terminations and pauses at any moment
  long at_steps =
      0;  // kills and terminations right before a rename, a flush, the start of an engine
  long power_cuts = 0;
  long transcodes = 0;
  long resumed = 0;                  // of these, with finished segments
  std::vector<double> lost;          // seconds of output for each kill, beyond the last second's
  std::vector<double> terminations;  // milliseconds from TERM to the end
  long all() const { return at_moments + at_steps + power_cuts; }
};

// Interrupts a transcode of the film up to `most` times, and finishes it.
void interrupt_at_moments(film_bench& film, long most, interruption_figures& sums);
void interrupt_at_steps(film_bench& film, long most, interruption_figures& sums);
void cut_power(film_bench& film, long most, interruption_figures& sums);

}  // namespace qx_test
