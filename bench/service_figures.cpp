// Measures the service and prints one line a figure. Usage: service_figures [NAME...], all of them
// unless named. Exit status 0 if each figure reaches its goal, 1 if one does not or could not be
// measured, 2 for an unknown name.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench/figure.h"
#include "bench/full_queue.h"
#include "bench/quick_jobs.h"
#include "bench/real_media.h"
#include "bench/round_trips.h"
#include "tests/support/wait_until.h"

using namespace bench;

namespace {

constexpr const char* names[] = {"round-trips", "jobs",       "start", "page",
                                 "rest",        "transcoder", "clips"};

std::vector<std::string> wanted_names;

bool is_known(const std::string& name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// False after a line on standard error if a wanted name is unknown.
bool check_names() {
  const auto unknown = std::find_if_not(wanted_names.begin(), wanted_names.end(), is_known);
  if (unknown == wanted_names.end()) { return true; }
  std::fprintf(stderr, "service_figures: unknown figure '%s'; there are:", unknown->c_str());
  for (const char* name : names) {
    std::fprintf(stderr, " %s", name);
  }
  std::fputc('\n', stderr);
  return false;
}

bool is_wanted(const char* name) {
  return wanted_names.empty() ||
         std::find(wanted_names.begin(), wanted_names.end(), name) != wanted_names.end();
}

struct measured_server {
  std::string socket;
  pid_t pid;
};

struct server_speed {
  double per_second;    // round trips
  double processor_us;  // of the server, per round trip
};

server_speed speed_of(const measured_server& server, load wanted) {
  const double before = processor_ns(server.pid);
  const round_trip_count made = make_round_trips(server.socket, wanted);
  return {made.per_second(), (processor_ns(server.pid) - before) / made.replies / 1e3};
}

void compare_round_trips() {
  qx_test::test_machine machine;
  machine.start();
  const std::string socket = machine.root.scratch("poll_server.socket");
  const measured_server floor{socket, machine.root.spawn({QX_POLL_SERVER, socket})};
  qx_test::wait_until([&] { return qx_test::raw_connection(socket).connected(); });
  const measured_server service{machine.client.socket_path(), machine.service.pid()};
  const auto print = [&](const std::string& name, load wanted, double wanted_ratio) {
    make_round_trips(socket, wanted);
    std::vector<double> processor_ratios;
    // The two are measured in turn, so that both see the same machine.
    const double ratio = median_of([&] {
      const server_speed of_service = speed_of(service, wanted);
      const server_speed of_floor = speed_of(floor, wanted);
      processor_ratios.push_back(of_service.processor_us / of_floor.processor_us);
      return of_service.per_second / of_floor.per_second;
    });
    print_figure(name, ratio, "of the floor", {wanted_ratio, better::more});
    print_figure("  processor time", median_of(processor_ratios), "of the floor");
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
  std::vector<double> processor_ms;
  const double ms = median_of([&] {
    const quick_jobs::cost cost = jobs.cost_per_job();
    processor_ms.push_back(cost.processor_ms);
    return cost.ms;
  });
  print_figure("50 jobs whose tools end at once", ms, "ms a job", {25, better::less});
  print_figure("  processor time", median_of(processor_ms), "ms a job");
}

// All ways in turn, so that they see the same machine.
void compare_transcoder(real_media& media) {
  std::vector<double> in_segments;
  const double in_one_piece = median_of([&] {
    const transcoder_shares shares = media.shares_of_engine();
    in_segments.push_back(shares.in_segments);
    return shares.in_one_piece;
  });
  print_figure("transcoder, in one piece", in_one_piece, "of the engine", {0.99, better::more});
  // Of which joining and looking at the result may take 3 %.
  print_figure("transcoder, in segments", median_of(in_segments), "of the engine",
               {0.96, better::more});
}

void measure_real_media() {
  real_media media;
  if (is_wanted("transcoder")) { compare_transcoder(media); }
  if (is_wanted("clips")) {
    print_figure("ten clips of 30 s", median_of([&] { return media.share_of_shell_loop(); }),
                 "of a shell loop", {1.0, better::less});
  }
}

}  // namespace

int main(int argc, char** argv) {
  wanted_names.assign(argv + 1, argv + argc);
  if (!check_names()) { return 2; }
  print_head();
  if (is_wanted("round-trips")) { compare_round_trips(); }
  if (is_wanted("jobs")) { measure_quick_jobs(); }
  if (is_wanted("start") || is_wanted("page") || is_wanted("rest")) { measure_full_queue(); }
  if (is_wanted("transcoder") || is_wanted("clips")) { measure_real_media(); }
  return ::testing::Test::HasFailure() || !all_goals_reached() ? 1 : 0;
}
