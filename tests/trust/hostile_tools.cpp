// Runs jobs whose tools misbehave, each case with a service of its own and several at a time, while
// a client measures how long it waits. Then the job is cancelled, and a good one has to get done.
// Prints one line per case and one per figure. The argument is how many cases run at once, or
// "--short" for the cases that do not have to wait for a tool that is only killed after a minute.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"
#include "tests/trust/trial.h"

using namespace qx_test;
using namespace std::chrono_literals;

namespace {

using steady = std::chrono::steady_clock;
using milliseconds = std::chrono::duration<double, std::milli>;

constexpr long usual_at_once = 4;
constexpr auto observation = 600ms;
// A tool that ignores SIGTERM is killed 60 s after it was told to end.
constexpr auto most_time_for_next_job = 150s;
constexpr long most_growth_kib = 16 * 1024;
constexpr double most_wait_ms = 4000.0;

struct misbehaviour {
  const char* name;
  tool_plan plan;
  bool ends = false;  // by itself, so that its job must come to an end without a cancel
};

struct result {
  double longest_wait_ms = 0;
  double next_job_s = 0;
  long growth_kib = 0;
  int findings = 0;
};

std::string all_bytes() {
  std::string bytes;
  for (int i = 0; i < 65536; ++i) {
    bytes += static_cast<char>(random_below(256));
  }
  return bytes;
}

std::vector<misbehaviour> misbehaviours() {
  constexpr unsigned long gigabyte = 1UL << 30;
  const std::string line = "Encoding: frame=1/2\n.. 720\n*QUOTE\n";
  std::string lines;
  while (lines.size() < 65536) {
    lines += line;
  }
  return {
      {"prints garbage", tool_plan().flood(all_bytes(), gigabyte)},
      {"prints a line without end", tool_plan().flood(std::string(65536, 'x'), gigabyte)},
      {"prints 8 MiB without a line end", tool_plan().flood(std::string(65536, 'x'), 8UL << 20),
       true},
      {"prints a gigabyte of lines", tool_plan().flood(lines, gigabyte)},
      {"prints NUL bytes", tool_plan().flood(std::string(65536, '\0'), gigabyte)},
      {"closes its output and stays", tool_plan().close_stdout().wait("never")},
      {"closes its output and fails", tool_plan().close_stdout().exit(77), true},
      {"prints half a line and ends", tool_plan().print("*QUOTE\n.. 7").exit(255), true},
      {"ignores SIGTERM", tool_plan().catch_signal(SIGTERM).wait("never")},
      {"ignores SIGTERM and prints", tool_plan().catch_signal(SIGTERM).flood(lines, gigabyte)},
      {"stops itself", tool_plan().die(SIGSTOP)},
      {"dies of SIGSEGV", tool_plan().die(SIGSEGV), true},
      {"leaves a child that holds its output", tool_plan().grandchild().exit(0)},
      {"leaves a child and prints", tool_plan().grandchild().flood(lines, 1UL << 20).exit(3)},
  };
}

constexpr const char* hostile_tools[] = {tool::startitem, tool::quote, tool::transcode, tool::grab,
                                         tool::rm};

class hostile_case {
public:
  hostile_case(const char* tool_name, const misbehaviour& what)
      : tool_(tool_name), what_(what),
        found_(std::string("hostile-tools: ") + tool_name + " " + what.name) {}

  result run() {
    machine_.root.write_source("/mnt/media/bad.mpg", tool_ == tool::startitem ? "" : "video/mp4");
    machine_.root.write_source("/mnt/media/good.mpg", "video/mp4");
    // The first run only: the good job's tools behave.
    machine_.root.plan_call(tool_, 1, what_.plan);
    machine_.start();
    const long before = resident_kib(machine_.service.pid());
    const auto bad = machine_.client.add_ready("/mnt/media/bad.mpg", {{"delete on finish", "1"}});
    machine_.root.wait_for_call(tool_);
    observe(before);
    found_.expect(!what_.ends || wait_until([&] { return has_ended(bad); }),
                  "its job does not end");
    machine_.client.command("cancel", bad);
    run_good_job();
    observe(before);
    result_.findings += found_.count();
    return result_;
  }

private:
  void observe(long before) {
    const auto end = steady::now() + observation;
    while (steady::now() < end) {
      const auto begin = steady::now();
      found_.expect(machine_.client.request("list").status() == "OK", "no answer");
      const milliseconds waited = steady::now() - begin;
      result_.longest_wait_ms = std::max(result_.longest_wait_ms, waited.count());
      const long growth = resident_kib(machine_.service.pid()) - before;
      result_.growth_kib = std::max(result_.growth_kib, growth);
      usleep(5000);
    }
    found_.expect(result_.longest_wait_ms <= most_wait_ms, "a client had to wait");
    found_.expect(result_.growth_kib <= most_growth_kib, "the service's memory grew");
  }

  bool has_ended(const std::string& id) const {
    const std::string state = machine_.client.transcode_state(id);
    return state == "done" || state == "cancelled";
  }

  void run_good_job() {
    const auto begin = steady::now();
    const auto good = machine_.client.add_ready("/mnt/media/good.mpg");
    const bool done = wait_until([&] { return machine_.client.transcode_state(good) == "done"; },
                                 most_time_for_next_job);
    found_.expect(done, "the next job does not get done: " + machine_.client.state_text(good));
    result_.next_job_s = milliseconds(steady::now() - begin).count() / 1000;
  }

  std::string tool_;
  const misbehaviour& what_;
  findings found_;
  result result_;
  test_machine machine_;
};

[[noreturn]] void run_as_child(const char* tool_name, const misbehaviour& what, int report_fd) {
  result seen;
  {
    hostile_case one(tool_name, what);
    seen = one.run();
  }
  seen.findings += ::testing::Test::HasFailure() ? 1 : 0;
  std::printf("hostile-tools: %s %s: waited %.1f ms at most, memory +%ld KiB, next job in %.1f s\n",
              tool_name, what.name, seen.longest_wait_ms, seen.growth_kib, seen.next_job_s);
  std::fflush(stdout);
  const ssize_t put = write(report_fd, &seen, sizeof seen);
  _exit(put == sizeof seen ? 0 : 1);
}

class case_runner {
public:
  explicit case_runner(long at_once) : room_(at_once) {
    if (pipe(reports_) != 0) { std::perror("hostile-tools: pipe"); }
  }

  void start(const char* tool_name, const misbehaviour& what) {
    if (room_ == 0) { wait_for_one(); }
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) { run_as_child(tool_name, what, reports_[1]); }
    if (pid < 0) {
      std::perror("hostile-tools: fork");
      ++worst_.findings;
      return;
    }
    --room_;
    ++cases_;
    ++running_;
  }

  int finish() {
    while (running_ > 0) {
      wait_for_one();
    }
    std::printf("hostile-tools: cases: %d\n", cases_);
    std::printf("hostile-tools: longest wait of a client: %.1f ms\n", worst_.longest_wait_ms);
    std::printf("hostile-tools: largest growth of memory: %ld KiB\n", worst_.growth_kib);
    std::printf("hostile-tools: longest time to the next job's end: %.1f s\n", worst_.next_job_s);
    std::printf("hostile-tools: findings: %d\n", worst_.findings);
    return worst_.findings == 0 ? 0 : 1;
  }

private:
  void wait_for_one() {
    int status = 0;
    result seen;
    const bool is_good =
        wait(&status) > 0 && status == 0 && read(reports_[0], &seen, sizeof seen) == sizeof seen;
    ++room_;
    --running_;
    worst_.findings += is_good ? seen.findings : 1;
    worst_.longest_wait_ms = std::max(worst_.longest_wait_ms, seen.longest_wait_ms);
    worst_.growth_kib = std::max(worst_.growth_kib, seen.growth_kib);
    worst_.next_job_s = std::max(worst_.next_job_s, seen.next_job_s);
  }

  long room_;
  int running_ = 0;
  int cases_ = 0;
  int reports_[2] = {-1, -1};
  result worst_;
};

// A cancelled job leaves its identification or listing running for a minute.
bool is_long(std::string_view tool_name, const misbehaviour& what) {
  return !what.ends && (tool_name == tool::startitem || tool_name == tool::quote);
}

}  // namespace

int main(int argc, char** argv) {
  const bool is_short = argc == 2 && argv[1] == std::string("--short");
  case_runner runner(is_short ? usual_at_once : count_argument(argc, argv, usual_at_once));
  const auto all = misbehaviours();
  for (const misbehaviour& what : all) {
    for (const char* tool_name : hostile_tools) {
      if (!is_short || !is_long(tool_name, what)) { runner.start(tool_name, what); }
    }
  }
  return runner.finish();
}
