// The terminal while watch has it: its second screen, no cursor, each key at once.
#pragma once

#include <string>
#include <vector>

#include <termios.h>

class raw_terminal {
public:
  // Takes the terminal on standard input and output.
  raw_terminal();
  // Gives it back as it was.
  ~raw_terminal() { leave(); }
  raw_terminal(const raw_terminal&) = delete;
  raw_terminal& operator=(const raw_terminal&) = delete;

  // Also after another program used the terminal; the next show() writes every line.
  void enter();
  void leave();
  // Writes the lines that are not on the screen already, the first to its first row. False when the
  // terminal is gone.
  bool show(const std::vector<std::string>& lines);
  // The size has changed, or something else has written there.
  void forget();

private:
  termios before_{};
  std::vector<std::string> shown_;
  bool entered_ = false;
};
