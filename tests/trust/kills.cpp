// Kills the service at random moments while jobs run and clients change them, starts it again, and
// looks for what was lost. Prints one line per figure. The argument is the number of kills.
//
// A change counts as recorded once the queue file holds it, which is after an orderly stop, or 10 s
// after the last job was added or removed. What is recorded must survive every kill.
#include <algorithm>
#include <csignal>
#include <map>
#include <set>
#include <thread>

#include <unistd.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"
#include "tests/trust/trial.h"

using namespace qx_test;
using namespace std::chrono_literals;

namespace {

constexpr long usual_kills = 30;
constexpr int jobs_in_batch = 16;
constexpr int kills_in_batch = 15;
constexpr unsigned longest_life_us = 700000;
constexpr unsigned longest_start_us = 30000;  // so that some kills meet a service that only starts
constexpr int late_jobs = 3;
constexpr auto write_delay = 10s;  // from the last add to the write of the queue file

using ids = std::vector<std::string>;

struct totals {
  long kills = 0;
  long kills_in_start = 0;     // before the service answered
  long kills_after_write = 0;  // of those that were meant for the moment of a write
  long jobs = 0;
  double slowest_start_ms = 0;
};

ids ids_of(const json11::Json& list) {
  ids found;
  for (const json11::Json& item : list.array_items()) {
    found.push_back(item["entry id"].string_value());
  }
  return found;
}

std::string joined(const ids& all) {
  std::string text;
  for (const std::string& id : all) {
    text += (text.empty() ? "" : " ") + id.substr(0, 8);
  }
  return text;
}

class killed_machine {
public:
  killed_machine(findings& found, totals& sums) : found_(found), sums_(sums) {
    for (int i = 0; i < jobs_in_batch; ++i) {
      machine_.root.write_source(source(i), i % 4 == 0 ? "" : "video/mp4");
    }
  }

  void run_batch(long kills) {
    record_jobs();
    kill_at_write();
    check_listing();
    for (long i = 0; i < kills; ++i) {
      live_and_die();
      check_queue_file();
      check_listing();
    }
    expect_all_done();
  }

private:
  static std::string source(int number) { return "/mnt/media/" + std::to_string(number) + ".mpg"; }

  // Jobs that the queue file holds for certain: the service was stopped in order.
  void record_jobs() {
    machine_.start();
    recorded_.clear();
    for (int i = 0; i < jobs_in_batch; ++i) {
      recorded_.push_back(machine_.client.add_ready(source(i)));
    }
    sums_.jobs += jobs_in_batch;
    found_.expect(machine_.service.stop().status == 0, "an orderly stop failed");
  }

  // A command for a random job. A job that is not recorded comes and goes.
  void disturb() {
    static const char* const commands[] = {"pause", "resume", "resume", "restart", "list"};
    const std::string& id = recorded_[random_below(static_cast<unsigned>(recorded_.size()))];
    if (random_below(8) == 0) {
      const auto reply = machine_.client.request("add", {{"input file", source(0)}});
      machine_.client.command("ready", reply.pair("entry id"));
    } else {
      machine_.client.command(commands[random_below(std::size(commands))], id);
    }
  }

  void live_and_die() {
    const auto begin = std::chrono::steady_clock::now();
    machine_.service.launch();
    const unsigned longest = random_below(4) == 0 ? longest_start_us : longest_life_us;
    std::thread killer = killer_at(begin + std::chrono::microseconds(random_below(longest)));
    bool answered = false;
    while (machine_.service.running()) {
      answered = machine_.client.request("test").received() || answered;
      if (answered) { disturb(); }
    }
    killer.join();
    expect_killed();
    sums_.kills_in_start += answered ? 0 : 1;
  }

  std::thread killer_at(std::chrono::steady_clock::time_point moment) {
    return std::thread([pid = machine_.service.pid(), moment] {
      std::this_thread::sleep_until(moment);
      kill(pid, SIGKILL);
    });
  }

  // It must not have ended by itself before.
  void expect_killed() {
    const exit_result end = machine_.service.wait_for_exit();
    found_.expect(end.signal == SIGKILL, "the service ended by itself, status " +
                                             std::to_string(end.status) + ", signal " +
                                             std::to_string(end.signal) + ": " +
                                             machine_.service.stderr_text());
    ++sums_.kills;
  }

  // Adds jobs and kills the service when it is about to record them, or has just done so: all of
  // them are recorded, or none.
  void kill_at_write() {
    machine_.start();
    ids late;
    for (int i = 0; i < late_jobs; ++i) {
      late.push_back(machine_.client.add_ready(source(i)));
    }
    const auto spread = std::chrono::milliseconds(random_below(400));
    std::thread killer = killer_at(std::chrono::steady_clock::now() + write_delay - 50ms + spread);
    killer.join();
    expect_killed();
    check_queue_file();
    const auto stored = std::count_if(late.begin(), late.end(), [&](const std::string& id) {
      return machine_.root.queue_file().find(id) != std::string::npos;
    });
    found_.expect(stored == 0 || stored == late_jobs, "only some of the late jobs are recorded");
    if (stored != late_jobs) { return; }
    ++sums_.kills_after_write;
    recorded_.insert(recorded_.end(), late.begin(), late.end());
    sums_.jobs += late_jobs;
  }

  void check_queue_file() {
    std::string error;
    const auto document = json11::Json::parse(machine_.root.queue_file(), error);
    const ids stored = ids_of(document["list"]);
    found_.expect(error.empty(), "the queue file cannot be read: " + error);
    for (const std::string& id : recorded_) {
      found_.expect(std::count(stored.begin(), stored.end(), id) == 1,
                    "job " + id + " is not in the queue file once: " + joined(stored));
    }
    stored_ = document["list"].array_items();
  }

  // The order stays, except that a transcode that was interrupted goes to the front.
  ids expected_order() const {
    ids order;
    for (const json11::Json& item : stored_) {
      const bool to_front = item["transcode state"] == "transcoding" &&
                            !item["paused"].bool_value() && !item["waiting"].bool_value();
      order.insert(to_front ? order.begin() : order.end(), item["entry id"].string_value());
    }
    return order;
  }

  // One start that is not disturbed, and is stopped by a kill too.
  void check_listing() {
    const auto begin = std::chrono::steady_clock::now();
    machine_.start();
    const std::chrono::duration<double, std::milli> taken =
        std::chrono::steady_clock::now() - begin;
    sums_.slowest_start_ms = std::max(sums_.slowest_start_ms, taken.count());
    ids listed;
    for (int first = 0; first == static_cast<int>(listed.size()); first += 16) {
      const auto page = machine_.client.list(
          {{"start", std::to_string(first)}, {"end", std::to_string(first + 15)}});
      for (const std::string& id : ids_of(page["list"])) {
        listed.push_back(id);
      }
    }
    found_.expect(listed == expected_order(), "after a start the queue is " + joined(listed) +
                                                  " instead of " + joined(expected_order()));
    machine_.service.kill();
    ++sums_.kills;
  }

  void expect_all_done() {
    machine_.start();
    for (const std::string& id : recorded_) {
      machine_.client.command("resume", id);
      const bool done = wait_until([&] { return machine_.client.transcode_state(id) == "done"; });
      found_.expect(done, "job " + id + " is not done: " + machine_.client.item(id).dump());
      machine_.client.command("remove", id);
    }
    found_.expect(wait_until([&] { return machine_.client.list()["total"].int_value() == 0; }),
                  "jobs are left that nobody recorded: " + machine_.client.list().dump());
    found_.expect(machine_.service.stop().status == 0, "an orderly stop failed");
  }

  findings& found_;
  totals& sums_;
  test_machine machine_;
  ids recorded_;
  json11::Json::array stored_;
};

}  // namespace

int main(int argc, char** argv) {
  const long wanted = count_argument(argc, argv, usual_kills);
  findings found("kills");
  totals sums;
  {
    killed_machine machine(found, sums);
    while (sums.kills < wanted && found.count() == 0) {
      machine.run_batch(std::min<long>(kills_in_batch, (wanted - sums.kills + 1) / 2));
    }
  }
  std::printf("kills: service killed: %ld times, %ld of them before it answered\n", sums.kills,
              sums.kills_in_start);
  std::printf("kills: late jobs recorded just before a kill: %ld times\n", sums.kills_after_write);
  std::printf("kills: recorded jobs, each looked for after every kill and at the end: %ld\n",
              sums.jobs);
  std::printf("kills: slowest start: %.0f ms\n", sums.slowest_start_ms);
  return found.report();
}
