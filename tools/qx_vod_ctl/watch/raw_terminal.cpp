#include "tools/qx_vod_ctl/watch/raw_terminal.h"

#include <unistd.h>

#include "platform/file_bytes.h"

namespace {

constexpr const char* second_screen = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr const char* first_screen = "\x1b[?7h\x1b[?25h\x1b[?1049l";
constexpr const char* erase_screen = "\x1b[2J";

}  // namespace

raw_terminal::raw_terminal() {
  tcgetattr(STDIN_FILENO, &before_);
  enter();
}

// Ctrl-C and Ctrl-Z stay signals.
void raw_terminal::enter() {
  termios raw = before_;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VMIN] = 1;
  raw.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  entered_ = true;
  write_all(STDOUT_FILENO, second_screen);
  forget();
}

void raw_terminal::leave() {
  if (!entered_) { return; }
  entered_ = false;
  write_all(STDOUT_FILENO, first_screen);
  tcsetattr(STDIN_FILENO, TCSANOW, &before_);
}

bool raw_terminal::show(const std::vector<std::string>& lines) {
  std::string out = shown_.empty() ? erase_screen : "";
  shown_.resize(lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i] == shown_[i]) { continue; }
    // Erased first: after a line as wide as the screen, this would erase its last character.
    out += "\x1b[" + std::to_string(i + 1) + ";1H\x1b[2K" + lines[i];
  }
  shown_ = lines;
  return write_all(STDOUT_FILENO, out);
}

void raw_terminal::forget() {
  shown_.clear();
}
