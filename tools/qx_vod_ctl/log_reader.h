// A log that is read again and again while it grows.
#pragma once

#include <string>

class log_reader {
public:
  // What `log`, the log as it is now, has more than at the last call: whole lines. A log whose
  // middle was cut out meanwhile goes on after the last line that is known of it.
  std::string news(const std::string& log);

  bool has_read() const { return !last_.empty(); }

private:
  std::string last_;  // the log at the last call, up to its last line end
};
