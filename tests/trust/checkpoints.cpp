// Interrupts transcodes that are made in segments, at random moments and right before chosen steps,
// cuts the power, fills the disk, and damages what they leave; the next run must give the whole
// result or fail, never a wrong one. Prints one line per figure.
// The first argument is N or N+SEED: the number of interruptions, and of damages, and the seed of
// the choices. The parts "interruptions", "long", "damages", "disks" and "seams" may follow.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <iterator>

#include "tests/trust/checkpoint/damages.h"
#include "tests/trust/checkpoint/film_bench.h"
#include "tests/trust/checkpoint/full_disk.h"
#include "tests/trust/checkpoint/interruptions.h"
#include "tests/trust/checkpoint/seams.h"
#include "tests/trust/trial.h"

using namespace qx_test;

namespace {

constexpr long usual_count = 12;
constexpr long usual_seed = 1;
constexpr unsigned longest_chain = 4;  // interruptions before a transcode may end
constexpr long damages_of_film = 40;   // then the next film
constexpr long for_each_long = 50;     // interruptions for each transcode of a long film
constexpr long for_each_disk = 10;     // interruptions for each full disk
constexpr long for_each_seam = 25;     // interruptions for each measured transcode with seams

// Each is made when it is first used.
class film_set {
public:
  explicit film_set(findings& found) : found_(found) {}

  film_bench& film(std::size_t number) {
    const std::size_t kind = number % film_kinds().size();
    while (films_.size() <= kind) {
      films_.emplace_back(found_, film_kinds()[films_.size()]);
    }
    return films_[kind];
  }

private:
  findings& found_;
  std::deque<film_bench> films_;
};

void interrupt(film_set& films, long count, interruption_figures& sums) {
  using disturbance = void (*)(film_bench&, long, interruption_figures&);
  static constexpr disturbance kinds[] = {interrupt_at_moments, interrupt_at_steps, cut_power};
  for (std::size_t turn = 0; sums.all() < count; ++turn) {
    const long most = std::min<long>(1 + random_below(longest_chain), count - sums.all());
    kinds[turn % std::size(kinds)](films.film(turn), most, sums);
  }
}

void damage(film_set& films, findings& found, long count) {
  long damages = 0;
  for (std::size_t number = 0; damages < count; ++number) {
    film_bench& film = films.film(number);
    // Of the same size and with other pictures.
    film_kind changed = film_kinds()[number % film_kinds().size()];
    changed.arguments += " -filter:v negate";
    film_bench other(found, changed);
    damaged_folders folders(film, other);
    for (long i = 0; i < damages_of_film && damages < count; ++i, ++damages) {
      folders.damage_and_run();
    }
  }
}

void print(const interruption_figures& sums) {
  std::printf("checkpoints: interruptions: %ld: %ld at any moment, %ld right before a rename, a "
              "flush or an engine, %ld power cuts\n",
              sums.all(), sums.at_moments, sums.at_steps, sums.power_cuts);
  std::printf("checkpoints: transcodes: %ld, of which %ld were resumed\n", sums.transcodes,
              sums.resumed);
  std::printf("checkpoints: output lost by a kill: %zu times measured, p50 %.1f s, most %.1f s of "
              "segments of 2 s\n",
              sums.lost.size(), percentile(sums.lost, 0.5), percentile(sums.lost, 1.0));
  std::printf("checkpoints: from TERM to the end: p50 %.0f ms, longest %.0f ms\n",
              percentile(sums.terminations, 0.5), percentile(sums.terminations, 1.0));
}

film_kind long_film() {
  film_kind kind = film_kinds().front();
  kind.name = "long.mkv";
  kind.is_long = true;
  return kind;
}

// As it is delivered.
void interrupt_long_film(findings& found, long transcodes) {
  film_bench film(found, long_film());
  interruption_figures sums;
  for (long i = 0; i < transcodes; ++i) {
    interrupt_at_moments(film, longest_chain, sums);
  }
  std::printf("checkpoints: in segments of 16 s: %ld transcodes with %ld interruptions at any "
              "moment; of output, at most %.1f s lost by a kill\n",
              sums.transcodes, sums.at_moments, percentile(sums.lost, 1.0));
}

constexpr const char* parts[] = {"interruptions", "long", "damages", "disks", "seams"};

bool knows_parts(int argc, char** argv) {
  return std::all_of(argv + std::min(argc, 2), argv + argc, [](const char* word) {
    return std::any_of(std::begin(parts), std::end(parts),
                       [word](const char* part) { return std::strcmp(word, part) == 0; });
  });
}

bool is_wanted(const char* part, int argc, char** argv) {
  return argc < 3 || std::any_of(argv + 2, argv + argc,
                                 [part](const char* word) { return std::strcmp(word, part) == 0; });
}

}  // namespace

int main(int argc, char** argv) {
  long count = usual_count;
  long seed = usual_seed;
  if ((argc > 1 && !read_sample(argv[1], count, seed)) || !knows_parts(argc, argv)) {
    std::fprintf(stderr,
                 "usage: %s [N[+SEED] [PART...]]\nThe parts are interruptions, long, damages, "
                 "disks and seams.\n",
                 argv[0]);
    return 2;
  }
  begin_choices(static_cast<unsigned>(seed));
  findings found("checkpoints");
  film_set films(found);
  if (is_wanted("interruptions", argc, argv)) {
    interruption_figures sums;
    interrupt(films, count, sums);
    print(sums);
  }
  if (is_wanted("long", argc, argv)) {
    interrupt_long_film(found, (count + for_each_long - 1) / for_each_long);
  }
  if (is_wanted("damages", argc, argv)) {
    damage(films, found, count);
    std::printf("checkpoints: damaged folders: %ld\n", count);
  }
  if (is_wanted("disks", argc, argv)) {
    fill_disks(films.film(0), (count + for_each_disk - 1) / for_each_disk);
  }
  if (is_wanted("seams", argc, argv)) {
    measure_seams(found, (count + for_each_seam - 1) / for_each_seam);
  }
  return found.report();
}
