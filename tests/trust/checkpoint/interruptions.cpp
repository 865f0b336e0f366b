#include "tests/trust/checkpoint/interruptions.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <thread>

#include "tests/support/checkpoint/power_cut.h"
#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

using namespace std::chrono_literals;
using clock_type = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr double frame_rate = 25.0;
constexpr auto longest_pause = 300ms;
constexpr auto stop_patience = 2s;  // on a crowded machine; usually some milliseconds
constexpr auto lasting_work = 1s;   // how long ago it must have been made not to be lost
constexpr unsigned slow_one_in = 4;
constexpr int slowness = 4;

enum class victim { tool, engine, group, terminated, paused, count };
constexpr const char* disturbance_names[] = {"a kill of the tool", "a kill of the engine",
                                             "a kill of both", "TERM", "a pause"};

pid_t child_of(pid_t parent) {
  pid_t child = -1;
  const std::string number = std::to_string(parent);
  std::ifstream("/proc/" + number + "/task/" + number + "/children") >> child;
  return child;
}

microseconds random_time(microseconds longest) {
  return microseconds(random_below(static_cast<unsigned>(longest.count()) + 1));
}

// The last frames that a tool has shown, with the moments.
class progress_watch {
public:
  void look(const tool_run& run) {
    const auto now = clock_type::now();
    seen_.push_back({now, last_frame(run.output())});
  }
  // The frame that was shown `lasting_work` ago; -1 if none was.
  long lasting_frame() const {
    long frame = -1;
    for (const auto& [moment, shown] : seen_) {
      if (moment <= clock_type::now() - lasting_work) { frame = shown; }
    }
    return frame;
  }

private:
  std::vector<std::pair<clock_type::time_point, long>> seen_;
};

class interrupted_transcode {
public:
  interrupted_transcode(film_bench& film, interruption_figures& sums) : film_(film), sums_(sums) {}

  // The next tool; `disturb` brings it to its end.
  void run(const std::vector<std::string>& more, const std::function<void(tool_run&)>& disturb) {
    tool_run run = film_.start(more);
    disturb(run);
    const tool_end end = run.wait();
    film_.expect_nothing_visible("after an interruption");
    film_.found().expect(end.status != 0 || film_.is_done(),
                         film_.about("success without a result"));
    most_finished_ = std::max(most_finished_, film_.finished());
    const long left = film_.finished();
    film_.found().expect(film_.is_done() || left + 1 >= most_finished_,
                         film_.about("of " + std::to_string(most_finished_) + " segments only " +
                                     std::to_string(left) + " are left after " + disturbance_ +
                                     ": " + run.errors()));
  }

  // A power cut takes at most the one segment whose name has not reached the disk yet.
  void lose_unflushed() {
    const long left = film_.finished();
    film_.found().expect(film_.is_done() || left + 1 >= most_finished_,
                         film_.about("of " + std::to_string(most_finished_) + " segments only " +
                                     std::to_string(left) + " are left after a power cut"));
    most_finished_ = left;
  }

  void finish(const std::string& when) {
    const bool was_done = film_.is_done();
    const tool_result result = film_.finish(when, was_done ? 0 : most_finished_);
    film_.expect_right_result(when);
    const long taken_over = result.output.empty() ? -1 : first_frame(result.output.front());
    if (lasting_frame_ > 0 && !was_done) { note_loss(lasting_frame_ - std::max(taken_over, 0L)); }
    ++sums_.transcodes;
    sums_.resumed += most_finished_ > 0 ? 1 : 0;
    film_.clear();
  }

  void kill_at_any_moment(tool_run& run) {
    const auto moment =
        clock_type::now() + random_time(film_.usual_time() * (slow_ ? slowness : 1));
    progress_watch progress;
    while (clock_type::now() < moment && !film_.is_done()) {
      progress.look(run);
      std::this_thread::sleep_for(std::min<clock_type::duration>(20ms, moment - clock_type::now()));
    }
    lasting_frame_ = std::max(lasting_frame_, progress.lasting_frame());
    strike(run);
    ++sums_.at_moments;
  }

  std::vector<std::string> pace() {
    slow_ = random_below(slow_one_in) == 0;
    return slow_ ? std::vector<std::string>{"--cpu-cap", "10"} : std::vector<std::string>{};
  }

private:
  void note_loss(long frames) {
    const double seconds = static_cast<double>(std::max(frames, 0L)) / frame_rate;
    sums_.lost.push_back(seconds);
    film_.found().expect(
        frames <= film_.segment_frames(),
        film_.about("a kill has cost " + std::to_string(seconds) + " s of output"));
  }

  void strike(tool_run& run) {
    const unsigned choice = random_below(static_cast<unsigned>(victim::count));
    disturbance_ = disturbance_names[choice];
    switch (static_cast<victim>(choice)) {
    case victim::tool:
      kill(run.pid(), SIGKILL);
      return;
    case victim::engine:
      if (const pid_t engine = child_of(run.pid()); engine > 0) { kill(engine, SIGKILL); }
      return;
    case victim::terminated:
      return terminate(run);
    case victim::paused:
      return pause(run);
    default:
      run.signal_group(SIGKILL);
    }
  }

  void terminate(tool_run& run) {
    const auto begin = clock_type::now();
    run.signal_group(SIGTERM);
    run.wait();
    const std::chrono::duration<double, std::milli> taken = clock_type::now() - begin;
    sums_.terminations.push_back(taken.count());
    film_.found().expect(taken <= stop_patience,
                         film_.about("TERM took " + std::to_string(taken.count()) + " ms"));
  }

  // Then it goes on, or is ended by TERM or KILL.
  void pause(tool_run& run) {
    run.signal_group(SIGUSR1);
    std::this_thread::sleep_for(random_time(longest_pause));
    const unsigned end = random_below(3);
    if (end == 0) { run.signal_group(SIGUSR2); }
    if (end == 1) { terminate(run); }
    if (end == 2) { run.signal_group(SIGKILL); }
  }

  film_bench& film_;
  interruption_figures& sums_;
  bool slow_ = false;
  std::string disturbance_ = "a kill at a step";
  long most_finished_ = 0;
  long lasting_frame_ = -1;
};

step_action random_action() {
  static constexpr step_action actions[] = {step_action::kill_tool, step_action::kill_engine,
                                            step_action::kill_group, step_action::terminate_group};
  return actions[random_below(std::size(actions))];
}

long random_step(const film_bench& film) {
  return 1 + random_below(static_cast<unsigned>(film.steps()));
}

}  // namespace

void interrupt_at_moments(film_bench& film, long most, interruption_figures& sums) {
  film.measure();
  interrupted_transcode transcode(film, sums);
  for (long i = 0; i < most && !film.is_done(); ++i) {
    film.tool().reset();
    transcode.run(transcode.pace(), [&](tool_run& run) { transcode.kill_at_any_moment(run); });
  }
  transcode.finish("after an interruption");
}

void interrupt_at_steps(film_bench& film, long most, interruption_figures& sums) {
  film.measure();
  interrupted_transcode transcode(film, sums);
  std::string steps;
  for (long i = 0; i < most && !film.is_done(); ++i) {
    const long step = random_step(film);
    film.tool().reset();
    film.tool().arm(step, random_action());
    transcode.run({}, [](tool_run& run) { run.wait(); });
    sums.at_steps += film.tool().has_happened() ? 1 : 0;
    steps += " " + std::to_string(step);
  }
  transcode.finish("after an interruption at step" + steps);
}

void cut_power(film_bench& film, long most, interruption_figures& sums) {
  film.measure();
  interrupted_transcode transcode(film, sums);
  power_cut disk(film.results().path());
  disk.settle();
  std::string steps;
  for (long i = 0; i < most && !film.is_done(); ++i) {
    const long step = random_step(film);
    const bool all_lost = random_below(2) == 0;
    film.tool().reset();
    film.tool().arm(step, step_action::kill_group);
    film.tool().keep_journal(disk.journal(), disk.next_entry());
    transcode.run({}, [](tool_run& run) { run.wait(); });
    if (!film.tool().has_happened()) { break; }
    disk.cut(all_lost, random_below);
    transcode.lose_unflushed();
    film.expect_nothing_visible("after a power cut");
    ++sums.power_cuts;
    steps += " " + std::to_string(step) + (all_lost ? "" : "?");
  }
  transcode.finish("after a power cut at step" + steps);
}

}  // namespace qx_test
