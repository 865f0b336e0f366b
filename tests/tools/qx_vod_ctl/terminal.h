// A terminal for the client: collects its output and types keys.
#pragma once

#include <string>

#include "tests/tools/qx_vod_ctl/machine.h"

class ctl_terminal {
public:
  ctl_terminal(const qx_test::private_root& root, const std::string& arguments);
  ~ctl_terminal();
  ctl_terminal(const ctl_terminal&) = delete;
  ctl_terminal& operator=(const ctl_terminal&) = delete;

  void type(const std::string& keys) const;
  void resize(unsigned short rows, unsigned short columns) const;
  void signal(int number) const;
  // Waits until `text` was written after the finds of earlier calls; false at the deadline.
  bool shows(const std::string& text);
  // Waits for the end; returns the status from waitpid().
  int wait_for_end();
  // Whether the terminal echoes and takes lines, as before.
  bool is_as_before() const;
  const std::string& output() const { return output_; }

private:
  void read_output();

  int master_ = -1;
  int slave_ = -1;
  pid_t pid_ = -1;
  std::string output_;
  std::size_t found_ = 0;
};
