// Lets each call that the service makes fail, once or from then on, while it starts, takes a job to
// its end, and stops. Whatever happens, the service does not crash, loses no job, leaves a queue
// file that can be read, and works again once the fault is over. Only what happens twice is a
// finding. Prints one line per figure. The arguments are N or N+SHIFT, the number of scenarios and
// at which of all of them the sample begins, and the names of the calls, by default all.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"
#include "tests/trust/faulty_machine.h"
#include "tests/trust/trial.h"

using namespace qx_test;
using namespace std::chrono_literals;

namespace {

constexpr long usual_scenarios = 50;
constexpr int kept_jobs = 3;
constexpr auto job_time_under_fault = 1500ms;
constexpr auto start_time = 5s;
constexpr auto stop_time = 20s;
constexpr long few_calls = 40;

enum class phase { start, life, stop };

const char* name_of(phase when) {
  return when == phase::start ? "start" : when == phase::life ? "a job's life" : "stop";
}

struct scenario {
  phase when = phase::life;
  fault what;

  std::string text() const { return std::string(name_of(when)) + ", " + what.text(); }
};

struct totals {
  long scenarios = 0;
  long hit = 0;        // the fault was met
  long ended = 0;      // the service gave up in order, to be started again
  long set_aside = 0;  // the queue file could not be read and was kept under another name
  long cut_short = 0;  // the queue file could not be written whole
  long refuted = 0;    // something wrong was seen, but not a second time
};

// A service with paused jobs that the queue file holds, through which scenarios are run.
class trial_machine {
public:
  trial_machine() {
    for (int i = 0; i < kept_jobs; ++i) {
      faulty_.machine.root.write_source(kept_source(i), "video/mp4");
    }
    faulty_.machine.start();
    for (int i = 0; i < kept_jobs; ++i) {
      kept_.push_back(faulty_.machine.client.add_ready(kept_source(i), {{"paused", "1"}}));
    }
    faulty_.machine.service.restart();
  }

  // What went wrong; empty if nothing did. After that the machine is not used any more.
  std::string run(const scenario& one, totals& sums) {
    armed_ = one.what;
    has_ended_early_ = false;
    faulty_.arm(one.what);
    const std::string problem = one.when == phase::start  ? fail_in_start(sums)
                                : one.when == phase::life ? fail_in_life(sums)
                                                          : fail_in_stop(sums);
    return problem.empty() ? check_after(one, sums) : problem;
  }

  // Whether the kept jobs are no longer in the queue, for a reason that is documented.
  bool is_spent() const { return is_spent_; }

  // How often each call is made in that phase.
  std::vector<long> count_calls(phase when) {
    totals ignored;
    EXPECT_EQ(run({when, {}}, ignored), "");
    return counted_;
  }

private:
  static std::string kept_source(int number) {
    return "/mnt/media/kept" + std::to_string(number) + ".mpg";
  }

  void end_fault(totals& sums) {
    counted_ = faulty_.calls_made();
    sums.hit += faulty_.injected() > 0 ? 1 : 0;
    faulty_.disarm();
  }

  // The service, which the fault may have ended, runs again; a supervisor would see to that. The
  // text says how it ended if that was no orderly end.
  std::string bring_back(totals& sums) {
    if (!faulty_.machine.service.running()) {
      const exit_result end = faulty_.machine.service.wait_for_exit();
      if (end.signal != -1) { return "died of signal " + std::to_string(end.signal); }
      has_ended_early_ = true;
      ++sums.ended;
      faulty_.machine.service.launch();
    }
    return faulty_.answers() ? "" : "does not answer after the fault";
  }

  std::string fail_in_start(totals& sums) {
    faulty_.disarm();
    faulty_.machine.service.stop();
    faulty_.arm(armed_);
    faulty_.machine.service.launch();
    wait_until([&] { return !is_up() || faulty_.request("test").received(); }, start_time);
    end_fault(sums);
    return bring_back(sums);
  }

  bool is_up() { return faulty_.machine.service.running(); }

  std::string fail_in_life(totals& sums) {
    faulty_.machine.root.write_source("/mnt/media/clip.mpg");
    const auto reply = faulty_.request("add", {{"input file", "/mnt/media/clip.mpg"}});
    job_ = reply.pair("entry id");
    if (!job_.empty()) {
      faulty_.request("ready", {{"entry id", job_}});
      wait_until([&] { return !is_up() || has_ended(); }, job_time_under_fault);
    }
    end_fault(sums);
    return bring_back(sums);
  }

  std::string fail_in_stop(totals& sums) {
    faulty_.machine.service.signal(SIGTERM);
    const bool stopped = wait_until([&] { return !is_up(); }, stop_time);
    end_fault(sums);
    if (!stopped) { return "does not stop"; }
    totals ignored;  // this end was asked for
    return bring_back(ignored);
  }

  std::string state_of(const std::string& id) const {
    return faulty_.request("list", {{"entry id", id}}).json()["transcode state"].string_value();
  }
  bool has_ended() const {
    const std::string state = state_of(job_);
    return state == "done" || state == "cancelled";
  }

  // The kept jobs are there, the job of the scenario can be finished, and so can a new one.
  std::string check_after(const scenario& one, totals& sums) {
    const bool all_listed = std::none_of(kept_.begin(), kept_.end(),
                                         [this](const auto& id) { return state_of(id).empty(); });
    if (!all_listed && !is_loss_documented(one, sums)) { return "lost a job that was recorded"; }
    is_spent_ = !all_listed;
    const bool has_gone = !job_.empty() && state_of(job_).empty();
    // It was not in the queue file yet, so the end of the service may have cost it.
    if (has_gone && !has_ended_early_) { return "lost a job that it had accepted"; }
    std::string problem = job_.empty() || has_gone ? "" : finish(job_);
    if (problem.empty()) { problem = run_new_job(); }
    job_.clear();
    return problem.empty() ? check_queue_file() : problem;
  }

  // A queue file that cannot be read is set aside. One that cannot be written whole at the stop, as
  // on a full disk, is lost, since no other write follows.
  bool is_loss_documented(const scenario& one, totals& sums) const {
    if (is_set_aside()) {
      ++sums.set_aside;
      return true;
    }
    const bool is_cut_short = one.when == phase::stop && one.what.call == fault_call::write_;
    sums.cut_short += is_cut_short ? 1 : 0;
    return is_cut_short;
  }

  bool is_set_aside() const {
    std::string copies;
    const std::string folder = faulty_.machine.root.path("/mnt/main/tv");
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      const std::string name = entry.path().filename();
      if (name.rfind("vod.queue.js.unreadable-", 0) == 0) { copies += read_file(entry.path()); }
    }
    return std::all_of(kept_.begin(), kept_.end(), [&copies](const std::string& id) {
      return copies.find(id) != std::string::npos;
    });
  }

  std::string run_new_job() {
    faulty_.machine.root.write_source("/mnt/media/next.mpg", "video/mp4");
    const auto reply = faulty_.request("add", {{"input file", "/mnt/media/next.mpg"}});
    const std::string id = reply.pair("entry id");
    if (id.empty()) { return "refuses a new job: " + reply.status(); }
    return finish(id);
  }

  std::string finish(const std::string& id) {
    const bool done = wait_until(
        [&] {
          const std::string state = state_of(id);
          if (state == "init") { faulty_.request("ready", {{"entry id", id}}); }
          if (state == "cancelled") { faulty_.request("restart", {{"entry id", id}}); }
          return state == "done";
        },
        30s);
    if (!done) { return "a job cannot be finished: " + faulty_.machine.client.item(id).dump(); }
    faulty_.request("remove", {{"entry id", id}});
    return "";
  }

  // Every so often, as an orderly stop takes its time.
  std::string check_queue_file() {
    if (is_spent_ || ++checked_ % 10 != 0) { return ""; }
    const exit_result end = faulty_.machine.service.stop();
    if (end.status != 0) { return "does not stop in order"; }
    const std::string text = faulty_.machine.root.queue_file();
    std::string error;
    json11::Json::parse(text, error);
    if (!error.empty()) { return "leaves a queue file that cannot be read: " + error; }
    for (const std::string& id : kept_) {
      if (text.find(id) == std::string::npos) { return "lost a job from the queue file"; }
    }
    faulty_.machine.service.launch();
    return faulty_.answers() ? "" : "does not start again";
  }

  faulty_machine faulty_;
  fault armed_;
  std::vector<std::string> kept_;
  std::string job_;
  std::vector<long> counted_;
  int checked_ = 0;
  bool has_ended_early_ = false;  // the service, in this scenario, without being asked to
  bool is_spent_ = false;
};

// All the numbers of a call that is made now and then, a spread of them for one made all the time.
std::vector<long> positions(long calls) {
  std::vector<long> chosen;
  const long step = std::max(1L, calls / few_calls);
  for (long number = 1; number <= calls; number += step) {
    chosen.push_back(number);
  }
  return chosen;
}

using call_names = std::vector<std::string>;

bool is_known(const std::string& call) {
  return std::find(std::begin(fault_call_names) + 1, std::end(fault_call_names), call) !=
         std::end(fault_call_names);
}

std::vector<scenario> all_scenarios(trial_machine& machine, const call_names& wanted) {
  std::vector<scenario> all;
  for (const phase when : {phase::start, phase::life, phase::stop}) {
    const std::vector<long> calls = machine.count_calls(when);
    for (int call = 1; call < static_cast<int>(fault_call::count); ++call) {
      const bool is_wanted = wanted.empty() || std::find(wanted.begin(), wanted.end(),
                                                         fault_call_names[call]) != wanted.end();
      if (!is_wanted) { continue; }
      for (const long number : positions(calls[static_cast<std::size_t>(call)])) {
        all.push_back({when, {static_cast<fault_call>(call), number, false}});
        all.push_back({when, {static_cast<fault_call>(call), number, true}});
      }
    }
  }
  return all;
}

// Which scenarios are tried, if not all.
struct sample {
  long count = usual_scenarios;
  long shift = 0;
};

class trial {
public:
  int run(const sample& wanted, const call_names& calls) {
    machine_ = std::make_unique<trial_machine>();
    const auto all = all_scenarios(*machine_, calls);
    std::printf("faults: possible scenarios: %zu\n", all.size());
    std::printf("faults: sample: %ld+%ld\n", wanted.count, wanted.shift);
    const auto count = std::min(all.size(), static_cast<std::size_t>(wanted.count));
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t even = i * all.size() / count;
      try_scenario(all[(even + static_cast<std::size_t>(wanted.shift)) % all.size()]);
    }
    std::printf("faults: scenarios: %ld, in which the fault was met: %ld\n", sums_.scenarios,
                sums_.hit);
    std::printf("faults: the service ended in order and was started again: %ld\n", sums_.ended);
    std::printf("faults: the queue file was set aside, with all jobs in it: %ld\n",
                sums_.set_aside);
    std::printf("faults: the queue file was cut short at the stop: %ld\n", sums_.cut_short);
    std::printf("faults: seen once, but not again: %ld\n", sums_.refuted);
    found_.expect(sums_.hit > 0, "no fault was met");
    return found_.report();
  }

private:
  void try_scenario(const scenario& one) {
    ++sums_.scenarios;
    const std::string problem = machine_->run(one, sums_);
    if (machine_->is_spent()) { machine_ = std::make_unique<trial_machine>(); }
    if (problem.empty()) { return; }
    totals ignored;
    machine_ = std::make_unique<trial_machine>();
    const std::string again = machine_->run(one, ignored);
    if (again.empty()) {
      ++sums_.refuted;
    } else {
      found_.add(one.text() + ": the service " + again);
      machine_ = std::make_unique<trial_machine>();
    }
  }

  findings found_{"faults"};
  totals sums_;
  std::unique_ptr<trial_machine> machine_;
};

}  // namespace

int main(int argc, char** argv) {
  sample wanted;
  if (argc > 1 && !read_sample(argv[1], wanted.count, wanted.shift)) {
    std::fprintf(stderr, "usage: %s [N[+SHIFT] [CALL...]]\n", argv[0]);
    return 2;
  }
  const call_names calls(argv + std::min(argc, 2), argv + argc);
  for (const std::string& call : calls) {
    if (is_known(call)) { continue; }
    std::fprintf(stderr, "faults: unknown call '%s'\n", call.c_str());
    return 2;
  }
  return trial().run(wanted, calls);
}
