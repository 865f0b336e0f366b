// A log that is read again and again while it grows.
#pragma once

#include <string>

class log_reader {
public:
  // The complete lines that `log`, the current log, has in addition to those of the last call. If
  // the middle of the log was cut out in the meantime, continues after the last known line.
  std::string news(const std::string& log);

  bool has_read() const { return !last_.empty(); }

private:
  std::string last_;  // the log at the last call, up to its last line end
};
