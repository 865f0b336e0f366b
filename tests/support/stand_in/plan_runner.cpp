#include "tests/support/stand_in/plan_runner.h"

#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "tests/support/plan_text.h"
#include "tests/support/stand_in/own_files.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

int signals_fd = -1;

// Makes only calls that are safe in a signal handler: writes one line with the number.
void note_signal(int number) {
  const char line[] = {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10),
                       '\n'};
  const ssize_t put = write(signals_fd, line, sizeof line);
  static_cast<void>(put);
}

void flood(const std::string& bytes, std::size_t count) {
  for (std::size_t out = 0; out < count && write_all(STDOUT_FILENO, bytes); out += bytes.size()) {}
}

void die(int signal_number) {
  std::signal(signal_number, SIG_DFL);
  kill(getpid(), signal_number);
  for (;;) {
    pause();
  }
}

}  // namespace

plan_runner::plan_runner(call_record record, std::vector<std::string> argv)
    : record_(std::move(record)), argv_(std::move(argv)) {}

int plan_runner::run() {
  std::istringstream plan(plan_text());
  for (std::string line; std::getline(plan, line);) {
    step(decode_plan_line(line));
  }
  return 0;
}

// The plan of this run, else of the tool, else (for a request) of the program.
std::string plan_runner::plan_text() const {
  const std::string plans = std::string(stand_in_folder) + "/plans/";
  const std::string program = record_.name.substr(0, record_.name.find('.'));
  for (const auto& name :
       {record_.name + "#" + std::to_string(record_.number), record_.name, program}) {
    if (file_exists(plans + name)) { return read_whole(plans + name); }
  }
  return "";
}

void plan_runner::step(const std::vector<std::string>& words) {
  const auto text = [&](std::size_t i) { return words.at(i); };
  const auto number = [&](std::size_t i) { return std::stol(words.at(i)); };
  const std::map<std::string, std::function<void()>> verbs = {
      {"print", [&] { write_all(STDOUT_FILENO, text(1)); }},
      {"print_error", [&] { write_all(STDERR_FILENO, text(1)); }},
      {"fill",
       [&] { write_all(STDOUT_FILENO, std::string(static_cast<std::size_t>(number(1)), 'x')); }},
      {"flood", [&] { flood(text(1), static_cast<std::size_t>(number(2))); }},
      {"write", [&] { write_whole(expanded(text(1)), text(2)); }},
      {"metadata", [&] { write_metadata(text(1)); }},
      {"remove_trees", [&] { remove_trees(); }},
      {"mark", [&] { write_whole(std::string(stand_in_folder) + "/marks/" + text(1), ""); }},
      {"wait", [&] { wait_for_trigger(text(1)); }},
      {"catch", [&] { catch_signal(static_cast<int>(number(1))); }},
      {"read_stdin", [&] { write_whole(record_.file("stdin"), read_to_end(STDIN_FILENO)); }},
      {"close_stdout", [&] { close(STDOUT_FILENO); }},
      {"grandchild", [&] { start_grandchild(); }},
      {"hold", [&] { hold(expanded(text(1)), number(2)); }},
      {"exit", [&] { _exit(static_cast<int>(number(1))); }},
      {"die", [&] { die(static_cast<int>(number(1))); }},
  };
  verbs.at(text(0))();
}

void plan_runner::write_metadata(const std::string& lines) const {
  const fs::path file = option_value("--file");
  const fs::path folder = file.parent_path() / ("." + file.filename().string() + ".metadata");
  std::error_code error;
  fs::create_directory(folder, error);
  write_whole(folder / "metadata", lines);
}

void plan_runner::remove_trees() const {
  for (const auto& path : argv_) {
    if (path.rfind("/mnt/", 0) != 0) { continue; }
    std::error_code error;
    if (fs::remove_all(path, error) > 0) { std::printf("removed '%s'\n", path.c_str()); }
    if (error) { fail(path); }
  }
  std::fflush(stdout);
}

void plan_runner::wait_for_trigger(const std::string& name) const {
  const std::string trigger = std::string(stand_in_folder) + "/triggers/" + name;
  while (!file_exists(trigger)) {
    usleep(5000);
  }
}

void plan_runner::catch_signal(int number) const {
  if (signals_fd < 0) {
    signals_fd =
        open(record_.file("signals").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (signals_fd < 0) { fail(record_.file("signals")); }
  }
  struct sigaction action {};
  action.sa_handler = note_signal;
  action.sa_flags = SA_RESTART;
  sigaction(number, &action, nullptr);
}

void plan_runner::start_grandchild() const {
  const pid_t pid = fork();
  if (pid < 0) { fail("fork"); }
  if (pid == 0) {
    for (;;) {
      pause();
    }
  }
  write_whole(record_.file("grandchild"), std::to_string(pid));
}

void plan_runner::hold(const std::string& path, long position) const {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 || lseek(fd, position, SEEK_SET) < 0) { fail(path); }
}

std::string plan_runner::expanded(const std::string& path) const {
  const auto end = path.find('}');
  if (path.empty() || path[0] != '{' || end == std::string::npos) { return path; }
  const std::string name = path.substr(1, end - 1);
  const bool is_index = std::isdigit(static_cast<unsigned char>(name[0])) != 0;
  return (is_index ? argv_.at(std::stoul(name)) : option_value(name)) + path.substr(end + 1);
}

std::string plan_runner::option_value(const std::string& name) const {
  for (std::size_t i = 1; i < argv_.size(); ++i) {
    if (argv_[i] == name && i + 1 < argv_.size()) { return argv_[i + 1]; }
    if (argv_[i].rfind(name + "=", 0) == 0) { return argv_[i].substr(name.size() + 1); }
  }
  errno = EINVAL;
  fail("no option " + name);
}

}  // namespace qx_test
