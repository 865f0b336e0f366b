// watch: the queue live, with keys to control its jobs.
#include <csignal>
#include <ctime>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/unique_fd.h"
#include "tools/client/service_connection.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/terminal.h"
#include "tools/qx_vod_ctl/watch/raw_terminal.h"
#include "tools/qx_vod_ctl/watch/watcher.h"

namespace {

// Faster updates would hardly be noticed, and cost the service more work.
constexpr std::uint64_t refresh_interval_us = 500'000;
// Keys must not wait for a service that hangs.
constexpr std::chrono::seconds patience{1};

// The signals come as data, so that the terminal is never left half-way. They are as before when
// this ends.
class signal_queue {
public:
  signal_queue() {
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH}) {
      sigaddset(&wanted, number);
    }
    sigprocmask(SIG_BLOCK, &wanted, &before_);
    fd_ = unique_fd(signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
  }
  ~signal_queue() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  signal_queue(const signal_queue&) = delete;
  signal_queue& operator=(const signal_queue&) = delete;

  int fd() const { return fd_.get(); }
  // The next signal that has come; 0 for none.
  int next() const {
    signalfd_siginfo info{};
    const bool came = read(fd_.get(), &info, sizeof info) == sizeof info;
    return came ? static_cast<int>(info.ssi_signo) : 0;
  }

private:
  sigset_t before_{};
  unique_fd fd_;
};

class watch_session {
public:
  watch_session(vod_service& service, const std::string& colour) : watcher_(service) {
    style_.colour = colour_is_wanted(colour);
    style_.blocks = locale_is_unicode();
  }

  // Until a key or a signal ends it; returns that signal, or 0.
  int run() {
    std::uint64_t refreshed_us = 0;
    while (!watcher_.wants_to_quit() && !is_gone_ && ending_signal_ == 0) {
      const auto now_us = monotonic_clock_us();
      if (now_us - refreshed_us >= refresh_interval_us) {
        watcher_.refresh(terminal_size(), now_us, std::time(nullptr));
        refreshed_us = monotonic_clock_us();
      }
      show();
      wait_for_input(refreshed_us + refresh_interval_us);
    }
    watcher_.save();
    return ending_signal_;
  }

private:
  void show() {
    const screen_size size = terminal_size();
    style_.width = size.columns;
    if (!terminal_.show(watch_lines(watcher_.view(), size, style_))) { is_gone_ = true; }
  }

  void wait_for_input(std::uint64_t until_us) {
    const auto now_us = monotonic_clock_us();
    const auto left_ms = until_us > now_us ? (until_us - now_us) / 1000 + 1 : 0;
    pollfd sources[] = {{STDIN_FILENO, POLLIN, 0}, {signals_.fd(), POLLIN, 0}};
    if (poll(sources, 2, static_cast<int>(left_ms)) <= 0) { return; }
    if (sources[1].revents != 0) { obey_signals(); }
    if (sources[0].revents != 0) { obey_keys(); }
  }

  void obey_keys() {
    char bytes[256];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) { is_gone_ = true; }
    if (count <= 0) { return; }
    for (const key pressed : read_keys({bytes, static_cast<std::size_t>(count)})) {
      watcher_.press(pressed, terminal_size());
      if (!watcher_.is_asking()) { continue; }
      // Keys typed ahead cannot answer a question that has not been shown yet.
      tcflush(STDIN_FILENO, TCIFLUSH);
      return;
    }
  }

  void obey_signals() {
    while (const int number = signals_.next()) {
      switch (number) {
      case SIGWINCH:
        terminal_.forget();
        break;
      case SIGTSTP:
        terminal_.leave();
        raise(SIGSTOP);
        terminal_.enter();
        break;
      case SIGCONT:
        terminal_.enter();
        break;
      default:
        ending_signal_ = number;
      }
    }
  }

  signal_queue signals_;
  watcher watcher_;
  raw_terminal terminal_;
  screen_style style_;
  int ending_signal_ = 0;
  bool is_gone_ = false;  // the terminal
};

int watch_queue(const std::string& colour) {
  if (isatty(STDIN_FILENO) == 0 || !output_is_terminal()) {
    report("", "watch needs a terminal; use status to print the queue once");
    return exit_usage;
  }
  service_connection service(path_control_socket, patience);
  const int number = watch_session(service, colour).run();
  // Ctrl-C is the usual way to leave; the sender of another signal expects its effect.
  if (number != 0 && number != SIGINT) {
    std::signal(number, SIG_DFL);
    raise(number);
  }
  return 0;
}

}  // namespace

subcommand_action define_watch(option_parser& parser) {
  const auto colour = std::make_shared<std::string>("auto");
  add_colour_option(parser, *colour);
  parser.set_footer("Keys: up and down select, p pause, r resume, c cancel, R restart, x remove,\n"
                    "q quit. Cancel and remove ask first.");
  return [colour](vod_service&) { return watch_queue(*colour); };
}
