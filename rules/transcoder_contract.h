// The contract with the transcoder: its command lines, its profile list, its progress lines, and
// the choice among the profiles that it lists. The service and the client follow it from one side,
// the transcoder from the other.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

constexpr char transcoder_program[] = "/usr/bin/qxmi_vod_transcode";

// ---- Command lines

struct transcode_order {
  std::string profile;
  std::string source;  // absolute paths
  std::string output;
  // The processors to use at full speed; nothing for a transcode that leaves room for others.
  std::optional<std::size_t> full_speed_threads;
};

std::vector<std::string> transcode_command(const transcode_order& order);

// Has the profiles of a source listed, up to `max_profile` lines of picture; below 1 there is no
// limit.
std::vector<std::string> listing_command(const std::string& source, std::int32_t max_profile);

// ---- The profile list: a line "*QUOTE", then a line ".. NAME" for each profile, best first

// Takes the list line by line. Lines before "*QUOTE" and lines of another form are ignored.
class listing_reader {
public:
  void take_line(const char* line);
  const std::vector<std::string>& profiles() const { return profiles_; }

private:
  bool in_list_ = false;
  std::vector<std::string> profiles_;
};

// The profiles in a whole list. A last line without a line feed does not count.
std::vector<std::string> profiles_in_listing(const std::string& listing);

// Writes the list of `profiles`.
std::string listing_text(const std::vector<std::string>& profiles);

// ---- The choice among the profiles

enum class choice_basis { first, first_within_limit, last_because_none_within_limit };

struct profile_choice {
  std::string profile;
  choice_basis basis = choice_basis::first;
};

// The first profile whose number is not above `max_profile`. Where all are above it, the last one,
// which is the nearest to it. `max_profile` below 1 means no limit. `quoted_profile` must not be
// empty: the process ends by an assertion.
profile_choice choose_profile(const std::vector<std::string>& quoted_profile,
                              std::int32_t max_profile);

// ---- Progress: lines "Encoding: frame=N/TOTAL fps=F speed=Sx"

// The last frame count that the lines gave.
struct frame_count {
  bool is_found = false;
  unsigned long long frame = 0;
  unsigned long long total = 0;  // 0 where the line gave none

  // Progress in ten-thousandths; nothing without a total.
  std::optional<std::int32_t> progress() const;
};

// Takes one line of the transcoder's output. Lines of another form change nothing.
void read_progress_line(const char* line, frame_count& count);

// Writes such a line, without a line feed.
std::string progress_line_text(std::int64_t frame, std::int64_t total, double fps, double speed);
