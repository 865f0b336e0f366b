#include "platform/limited_look.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/file_bytes.h"
#include "platform/out_of_memory.h"
#include "platform/poll_until.h"
#include "platform/unique_fd.h"
#include "platform/waiting_allowance.h"

namespace {

constexpr std::uint64_t second_us = 1000000;
constexpr std::uint64_t report_after_us = second_us;
// Twice as long as a job waits between two looks.
constexpr std::uint64_t answer_life_us = second_us;
constexpr std::size_t longest_answer = std::size_t{4} << 20;

// Marks a complete answer: the helper can be killed while it writes.
constexpr char end_mark = '\n';

// A running helper.
struct helper {
  pid_t pid = -1;
  unique_fd answer;
  std::string text;  // what has been read of the answer
  std::string question;
  std::string mount_path;
  std::uint64_t start_us = 0;
  bool is_reported = false;
};

struct late_answer {
  std::string text;
  std::uint64_t time_us = 0;
};

using mount_key = std::pair<int, std::string>;

std::uint64_t time_of_looks_us = 0;

std::map<mount_key, helper>& helpers() {
  static std::map<mount_key, helper> all;
  return all;
}

std::map<std::string, late_answer>& late_answers() {
  static std::map<std::string, late_answer> all;
  return all;
}

// The mounts whose last answer did not come in time.
std::set<mount_key>& late_mounts() {
  static std::set<mount_key> all;
  return all;
}

// A helper that hangs must not hold clients' connections or the instance lock, nor survive the
// service for longer than the file system makes it.
[[noreturn]] void answer_and_exit(pid_t service, int fd, const look_function& look) {
  if (fd > STDERR_FILENO + 1) { close_range(STDERR_FILENO + 1, static_cast<unsigned>(fd) - 1, 0); }
  close_range(static_cast<unsigned>(fd) + 1, ~0U, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (const int signal_number : {SIGINT, SIGTERM, SIGQUIT}) {
    signal(signal_number, SIG_DFL);
  }
  if (getppid() != service) { _exit(1); }
  const std::string text = in_forked_child([&] { return look() + end_mark; });
  _exit(write_all(fd, text) ? 0 : 1);
}

bool start_helper(helper& started, const look_function& look) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) { return false; }
  started.answer.reset(ends[0]);
  const unique_fd write_end(ends[1]);
  fcntl(started.answer.get(), F_SETFL, O_NONBLOCK);
  const pid_t service = getpid();
  started.pid = fork();
  if (started.pid == 0) { answer_and_exit(service, write_end.get(), look); }
  return started.pid > 0;
}

// True once the helper has written everything, or has ended.
bool read_answer(helper& running) {
  const bool is_at_end = read_all(running.answer.get(), longest_answer, running.text);
  return is_at_end || errno != EAGAIN;
}

// Waits until the helper has run for 50 ms, whoever started it. True if it has answered.
bool wait_for_answer(const mount_key& key, helper& running) {
  static waiting_allowance allowance;
  const std::uint64_t begin = monotonic_clock_us();
  const std::uint64_t end = running.start_us + longest_look_us;
  const std::uint64_t limit = begin + allowance.limit(begin, late_mounts().count(key) != 0);
  pollfd readable{running.answer.get(), POLLIN, 0};
  bool is_answered = read_answer(running);
  while (!is_answered && poll_until(&readable, 1, std::min(limit, end)) > 0) {
    is_answered = read_answer(running);
  }
  const std::uint64_t now = monotonic_clock_us();
  if (!is_answered) { allowance.lose(now - begin); }
  if (now >= end) {
    late_mounts().insert(key);
  } else if (is_answered) {
    late_mounts().erase(key);
  }
  return is_answered;
}

// Processes that have answered and are about to end. Not waited for: even the end of a process can
// take long on such a file system.
std::vector<pid_t>& ending() {
  static std::vector<pid_t> all;
  return all;
}

void reap_ending() {
  const auto is_reaped = [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; };
  ending().erase(std::remove_if(ending().begin(), ending().end(), is_reaped), ending().end());
}

std::optional<std::string> complete_answer(helper& ended) {
  if (ended.text.size() < 2 || ended.text.back() != end_mark) { return std::nullopt; }
  ended.text.pop_back();
  return std::move(ended.text);
}

void report_silence(helper& running) {
  if (running.is_reported || monotonic_clock_us() - running.start_us < report_after_us) { return; }
  running.is_reported = true;
  fprintf(stderr, "Mount '%s' does not answer, jobs with sources on it wait\n",
          running.mount_path.c_str());
}

// Ends with a helper whose answer was not waited for.
void keep_late_answer(helper& ended) {
  ending().push_back(ended.pid);
  if (ended.is_reported) {
    fprintf(stderr, "Mount '%s' answers again\n", ended.mount_path.c_str());
  }
  if (auto text = complete_answer(ended)) {
    late_answers()[ended.question] = {std::move(*text), monotonic_clock_us()};
  }
}

std::optional<std::string> late_answer_to(const std::string& question) {
  const auto late = late_answers().find(question);
  return late == late_answers().end() ? std::nullopt : std::optional(late->second.text);
}

// True if no helper of the mount is running, at the latest after a wait.
bool has_no_helper(const mount_key& key) {
  const auto running = helpers().find(key);
  if (running == helpers().end()) { return true; }
  if (!wait_for_answer(key, running->second)) { return false; }
  keep_late_answer(running->second);
  helpers().erase(running);
  return true;
}

// Nothing if the helper cannot be started or does not answer in time.
std::optional<std::string> answer_of_helper(const mount_key& key, const std::string& question,
                                            const look_function& look) {
  // What allocates comes before the start, so that no process can be forgotten.
  helper fresh;
  fresh.question = question;
  fresh.mount_path = key.second;
  fresh.start_us = monotonic_clock_us();
  ending().reserve(ending().size() + helpers().size() + 1);
  const auto started = helpers().emplace(key, std::move(fresh)).first;
  if (!start_helper(started->second, look)) {
    fprintf(stderr, "Cannot look at mount '%s', %s\n", key.second.c_str(), strerror(errno));
    helpers().erase(started);
    return std::nullopt;
  }
  if (!wait_for_answer(key, started->second)) { return std::nullopt; }
  ending().push_back(started->second.pid);
  std::optional<std::string> answer = complete_answer(started->second);
  helpers().erase(started);
  return answer;
}

void drop_old_answers() {
  if (late_answers().empty()) { return; }
  const std::uint64_t now = monotonic_clock_us();
  for (auto i = late_answers().begin(); i != late_answers().end();) {
    i = now - i->second.time_us > answer_life_us ? late_answers().erase(i) : std::next(i);
  }
}

}  // namespace

void collect_late_looks() {
  for (auto i = helpers().begin(); i != helpers().end();) {
    report_silence(i->second);
    if (read_answer(i->second)) {
      keep_late_answer(i->second);
      i = helpers().erase(i);
    } else {
      ++i;
    }
  }
  reap_ending();
  drop_old_answers();
}

std::optional<std::string> look_within_limit(const mount_point& mount, const std::string& question,
                                             const look_function& look) {
  const std::uint64_t begin = monotonic_clock_us();
  collect_late_looks();
  const mount_key key(mount.id, mount.path);
  std::optional<std::string> answer = late_answer_to(question);
  if (!answer && has_no_helper(key)) {
    answer = late_answer_to(question);
    if (!answer) { answer = answer_of_helper(key, question, look); }
  }
  time_of_looks_us += monotonic_clock_us() - begin;
  return answer;
}

std::uint64_t duration_of_looks_us() {
  return time_of_looks_us;
}

bool is_reported_silent(const mount_point& mount) {
  const auto running = helpers().find(mount_key(mount.id, mount.path));
  return running != helpers().end() && running->second.is_reported;
}

void forget_late_look(const std::string& question) {
  late_answers().erase(question);
}
