#include "bench/real_media.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iterator>
#include <thread>

#include <sys/wait.h>

#include <gtest/gtest.h>

#include "bench/figure.h"
#include "platform/cpu.h"
#include "rules/tool_commands.h"
#include "rules/transcoder_contract.h"
#include "tests/support/wait_until.h"

namespace bench {

namespace {

using words = std::vector<std::string>;

constexpr char engine[] = "/usr/bin/ffmpeg";
constexpr char film[] = "/mnt/media/film.mp4";
constexpr char outputs[] = "/mnt/main/tv/vod";
constexpr char film_output[] = "/mnt/main/tv/vod/film.mp4";
constexpr char settings_in_one_piece[] = "checkpoint = no\n";
constexpr char settings_in_segments[] = "checkpoint = yes\n";
constexpr char open_file[] = "file:/proc/self/fd/";
constexpr char profile[] = "360";
constexpr int clips = 10;
constexpr std::chrono::milliseconds poll_time{20};
constexpr std::chrono::minutes longest_run{10};

std::string clip(int number) {
  return "/mnt/media/clip" + std::to_string(number) + ".mp4";
}

void make_film(const qx_test::private_root& root, const std::string& path, int seconds) {
  const std::string length = std::to_string(seconds);
  const auto result = root.run({engine, "-v", "error", "-f", "lavfi", "-i",
                                "testsrc2=size=640x360:rate=25:duration=" + length, "-f", "lavfi",
                                "-i", "sine=frequency=440:sample_rate=48000:duration=" + length,
                                "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac", path});
  EXPECT_EQ(result.status, 0) << result.err;
}

// Of a process inside.
words words_of_process(const qx_test::private_root& root, pid_t pid) {
  const std::string text = root.read("/proc/" + std::to_string(pid) + "/cmdline");
  words found;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\0', begin), text.size());
    found.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return found;
}

bool is_encoder(const words& arguments) {
  return !arguments.empty() && arguments.front() == engine &&
         std::find(arguments.begin(), arguments.end(), "libx264") != arguments.end();
}

// The transcoder gives its engine open files, whose names mean nothing elsewhere.
std::string name_by_hand(const std::string& argument) {
  return argument.rfind(open_file, 0) == 0 ? film_output : argument;
}

double seconds_to_end(pid_t process, double begin_ns, const std::string& name) {
  int status = -1;
  waitpid(process, &status, 0);
  return status == 0 ? (wall_ns() - begin_ns) / 1e9 : not_measured(name + " failed");
}

std::string shell_line(const words& command) {
  std::string line;
  for (const std::string& word : command) {
    line += "'" + word + "' ";
  }
  return line + ">/dev/null 2>&1 || exit 1\n";
}

}  // namespace

real_media::real_media() {
  machine_.root.run({"/bin/mkdir", "-p", outputs});
  make_film(machine_.root, film, 120);
  for (int number = 1; number <= clips; ++number) {
    make_film(machine_.root, clip(number), 30);
  }
}

words real_media::engine_arguments(pid_t tool) const {
  words found;
  qx_test::wait_until([&] {
    for (const pid_t pid : machine_.root.processes()) {
      const words arguments = words_of_process(machine_.root, pid);
      if (is_encoder(arguments)) { found = arguments; }
    }
    return !found.empty() || kill(tool, 0) != 0;
  });
  const auto input = std::find(found.begin(), found.end(), "-i");
  if (input == found.end()) { return {}; }
  *std::next(input) = film;
  std::transform(found.begin(), found.end(), found.begin(), name_by_hand);
  return found;
}

pid_t real_media::start_tool(const std::string& settings) const {
  const std::string file = machine_.root.scratch("media.conf");
  qx_test::write_file(file, settings);
  qx_test::spawn_options options;
  options.environment = {"QX_MEDIA_CONF=" + file};
  return machine_.root.spawn(transcode_command({profile, film, film_output, how_many_cpus()}),
                             options);
}

double real_media::tool_seconds(const std::string& settings) const {
  const double begin = wall_ns();
  return seconds_to_end(start_tool(settings), begin, "the transcoder");
}

// In a run that is not measured, because the search takes time of the processors.
bool real_media::find_arguments() {
  if (!by_hand_.empty()) { return true; }
  const pid_t tool = start_tool(settings_in_one_piece);
  by_hand_ = engine_arguments(tool);
  waitpid(tool, nullptr, 0);
  return !by_hand_.empty();
}

// With the priority that the tools give their engines: threads that preempt one another less are
// faster.
double real_media::hand_seconds(const words& command, const std::string& name) const {
  words nice = {"/usr/bin/nice", "-n", "19"};
  nice.insert(nice.end(), command.begin(), command.end());
  const double begin = wall_ns();
  return seconds_to_end(machine_.root.spawn(nice), begin, name);
}

transcoder_shares real_media::shares_of_engine() {
  if (!find_arguments()) {
    const double nothing = not_measured("the transcoder started no engine");
    return {nothing, nothing};
  }
  const double in_one_piece = tool_seconds(settings_in_one_piece);
  const double by_hand = hand_seconds(by_hand_, "the engine by hand");
  return {by_hand / in_one_piece, by_hand / tool_seconds(settings_in_segments)};
}

double real_media::service_seconds() {
  if (!machine_.service.running()) { machine_.start(); }
  // An earlier run's metadata would save the identification.
  machine_.root.run({"/bin/sh", "-c", "rm -rf /mnt/media/.clip*"});
  words ids;
  const double begin = wall_ns();
  for (int number = 1; number <= clips; ++number) {
    ids.push_back(machine_.client.add_ready(clip(number)));
  }
  for (const std::string& id : ids) {
    const std::string state = end_state(id);
    if (state != "done") {
      return not_measured("the job of a clip is " + state + ": " + machine_.client.state_text(id));
    }
  }
  return (wall_ns() - begin) / 1e9;
}

std::string real_media::end_state(const std::string& id) const {
  std::string state;
  const double begin = wall_ns();
  do {
    std::this_thread::sleep_for(poll_time);
    state = machine_.client.transcode_state(id);
  } while (state != "done" && state != "cancelled" &&
           std::chrono::duration<double, std::nano>(wall_ns() - begin) < longest_run);
  return state;
}

double real_media::shell_seconds() const {
  std::string script;
  for (int number = 1; number <= clips; ++number) {
    const std::string output = "/mnt/main/tv/vod/loop" + std::to_string(number) + ".mp4";
    const std::string picture = output + ".jpg";
    for (const words& command :
         {identify_command(clip(number)), listing_command(clip(number), 0),
          transcode_command({profile, clip(number), output, std::nullopt}),
          thumbnail_command(profile, picture, clip(number)), identify_command(output)}) {
      script += shell_line(command);
    }
  }
  return hand_seconds({"/bin/sh", "-c", script}, "a command of the shell loop");
}

double real_media::share_of_shell_loop() {
  const double service = service_seconds();
  return std::isnan(service) ? service : service / shell_seconds();
}

}  // namespace bench
