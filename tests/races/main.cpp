// Runs each race many times and prints how often the attacker has succeeded. Everything happens in
// /mnt, which has to be private to this program: see scripts/races.
//
// usage: races [TRIES]              exit status 1 if any attack succeeded, or a step does nothing
//                                   even without one
//        races --unguarded [TRIES]  the same steps by path; exit status 1 if an attack never did
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "tests/races/attacker.h"
#include "tests/races/race.h"

using namespace qx_test;

namespace {

constexpr unsigned usual_tries = 1000;

// On a busy machine an attack on an unprotected step may need many tries.
constexpr unsigned most_unguarded_tries = 1000;

bool is_won(const race& race, const std::function<void()>& step) {
  prepare_folders();
  race.prepare();
  {
    const attacker attacker(race.attack);
    step();
  }
  return private_folder_has_changed() || race.also_won();
}

// A step that does nothing could not be attacked either.
bool works_unattacked(const race& race) {
  prepare_folders();
  race.prepare();
  if (race.done()) { return false; }
  race.step();
  return race.done() && !private_folder_has_changed();
}

struct tally {
  unsigned tries = 0;
  unsigned wins = 0;
};

tally run_guarded(const race& race, unsigned tries) {
  tally sum;
  for (; sum.tries < tries; ++sum.tries) {
    sum.wins += is_won(race, race.step) ? 1 : 0;
  }
  return sum;
}

// Goes on beyond `tries` until the attack has succeeded once.
tally run_unguarded(const race& race, unsigned tries) {
  tally sum;
  for (; sum.tries < tries || (sum.wins == 0 && sum.tries < most_unguarded_tries); ++sum.tries) {
    sum.wins += is_won(race, race.unguarded) ? 1 : 0;
  }
  return sum;
}

// The steps print what the service and its tools print.
void silence() {
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nothing < 0 || dup2(nothing, STDERR_FILENO) < 0) { std::_Exit(2); }
}

}  // namespace

int main(int argc, char** argv) {
  const bool unguarded = argc > 1 && std::strcmp(argv[1], "--unguarded") == 0;
  const int count_at = unguarded ? 2 : 1;
  const unsigned tries =
      argc > count_at ? static_cast<unsigned>(std::atoi(argv[count_at])) : usual_tries;
  silence();
  bool is_as_wanted = true;
  for (const auto& races : {service_races(), tool_races(), segment_races()}) {
    for (const race& race : races) {
      const bool works = unguarded || works_unattacked(race);
      const tally sum = unguarded ? run_unguarded(race, tries) : run_guarded(race, tries);
      if (!works) { std::printf("%s: no effect without an attacker\n", race.name.c_str()); }
      std::printf("%-62s %u tries, %u successes\n", race.name.c_str(), sum.tries, sum.wins);
      std::fflush(stdout);
      is_as_wanted = is_as_wanted && works && (sum.wins > 0) == unguarded;
    }
  }
  return is_as_wanted ? 0 : 1;
}
