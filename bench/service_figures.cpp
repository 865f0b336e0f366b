// Measures the service and prints one line a figure. Usage: service_figures [NAME...], all of them
// unless named: round-trips, jobs, start, page, rest, transcoder, clips.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench/figure.h"
#include "bench/full_queue.h"
#include "bench/quick_jobs.h"
#include "bench/real_media.h"
#include "bench/round_trips.h"

using namespace bench;

namespace {

std::vector<std::string> wanted_names;

bool is_wanted(const char* name) {
  return wanted_names.empty() ||
         std::find(wanted_names.begin(), wanted_names.end(), name) != wanted_names.end();
}

// The ratio of two rates that are measured in turn, so that both see the same machine.
double ratio_to_floor(const std::string& service, const std::string& floor, load wanted) {
  const double service_rate = round_trips_per_second(service, wanted);
  return service_rate / round_trips_per_second(floor, wanted);
}

void compare_round_trips() {
  qx_test::test_machine machine;
  machine.start();
  const std::string socket = machine.root.scratch("poll_server.socket");
  machine.root.spawn({QX_POLL_SERVER, socket});
  const std::string service = machine.client.socket_path();
  const auto print = [&](const char* name, load wanted, double wanted_ratio) {
    round_trips_per_second(socket, wanted);
    print_figure(name, median_of([&] { return ratio_to_floor(service, socket, wanted); }),
                 "of the floor", {wanted_ratio, better::more});
  };
  print("round trips, 1 client", {1, 1}, 1.0);
  print("round trips, 32 clients", {32, 1}, 1.0);
  print("round trips, 32 clients, 16 requests each", {32, 16}, 0.95);
}

void measure_full_queue() {
  full_queue queue;
  const double start = median_of([&] { return queue.start_ms(); });
  if (is_wanted("start")) { print_figure("start with 512 jobs", start, "ms", {30, better::less}); }
  if (is_wanted("page")) {
    print_figure("page of 16 jobs", median_of([&] { return queue.page_us(); }), "us of processor",
                 {60, better::less});
  }
  if (is_wanted("rest")) {
    print_figure("at rest with 512 jobs", median_of([&] { return queue.rest_percent(); }),
                 "% of a processor", {0.1, better::less});
  }
}

void measure_quick_jobs() {
  quick_jobs jobs;
  print_figure("50 jobs whose tools end at once", median_of([&] { return jobs.ms_per_job(); }),
               "ms a job", {25, better::less});
}

void measure_real_media() {
  real_media media;
  if (is_wanted("transcoder")) {
    print_figure("speed of the transcoder", median_of([&] { return media.share_of_engine(); }),
                 "of the engine", {0.99, better::more});
  }
  if (is_wanted("clips")) {
    print_figure("ten clips of 30 s", median_of([&] { return media.share_of_shell_loop(); }),
                 "of a shell loop", {1.0, better::less});
  }
}

}  // namespace

int main(int argc, char** argv) {
  wanted_names.assign(argv + 1, argv + argc);
  print_head();
  if (is_wanted("round-trips")) { compare_round_trips(); }
  if (is_wanted("jobs")) { measure_quick_jobs(); }
  if (is_wanted("start") || is_wanted("page") || is_wanted("rest")) { measure_full_queue(); }
  if (is_wanted("transcoder") || is_wanted("clips")) { measure_real_media(); }
  return ::testing::Test::HasFailure() ? 1 : 0;
}
