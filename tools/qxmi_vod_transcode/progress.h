// Turns the engine's progress report into the tool's progress lines.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

// One line "Encoding: frame=N/TOTAL fps=F speed=S", N never above TOTAL nor below an earlier N.
class progress_line {
public:
  // `total` is in frames of the output; sound alone counts frames of sound_frame.
  progress_line(std::int64_t total, bool picture) : total_(total), picture_(picture) {}

  // Processes one "key=value" line of the engine that does `part` of the work. True if it ends a
  // report, so that there is new progress.
  bool take(std::string_view line, int part = 0);

  // Engines begin to work, with `frame` frames of the output finished.
  void begin_at(std::int64_t frame);

  // Several engines may share the work: another one begins, and counts `lead` frames that are not
  // part of the output; one has ended and leaves that many frames finished.
  void begin_part(int part, std::int64_t lead);
  void end_part(int part, std::int64_t finished);

  // How much is done in percent, rounded down.
  int percent() const { return static_cast<int>(100 * done_ / total_); }

  // How much is done, in the same frames as the total.
  std::int64_t done() const { return done_; }

  // The line as of now, and the last one; without a line feed.
  std::string text() const { return format(done_); }
  std::string final_text() const { return format(total_); }

  static constexpr std::chrono::milliseconds sound_frame{40};

private:
  std::string format(std::int64_t done) const;

  struct report {
    std::int64_t lead = 0;
    std::int64_t done = 0;
    double fps = 0.0;
    double speed = 0.0;
  };

  void count();

  std::int64_t total_;
  bool picture_;
  std::int64_t begin_ = 0;
  std::int64_t done_ = 0;
  double fps_ = 0.0;
  double speed_ = 0.0;
  std::map<int, report> parts_;
};

// Writes lines to standard output without ever waiting for a reader: a line that does not fit is
// dropped, since the next one is more recent. After the reader has gone nothing is written.
class progress_output {
public:
  // `patience` is how long to wait for room.
  void write_line(const std::string& line,
                  std::chrono::milliseconds patience = std::chrono::milliseconds(0));

  // True when the last attempt is long enough ago for another line to be due.
  bool due() const;

private:
  bool reader_gone_ = false;
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};
