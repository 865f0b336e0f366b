#include "rules/transcoder_contract.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/text.h"
#include "rules/limits.h"

namespace {

constexpr char list_heading[] = "*QUOTE";
constexpr char list_mark[] = ".. ";
constexpr char progress_heading[] = "Encoding:";
constexpr char frame_key[] = "frame=";

// "frame=N/TOTAL"; a word without a total takes an earlier one back.
void read_word(const std::string& word, frame_count& count) {
  if (!begins_with(word, frame_key)) { return; }
  char* rest = nullptr;
  count.is_found = true;
  count.frame = strtoull(word.c_str() + strlen(frame_key), &rest, 10);
  count.total = strtoull(rest + (*rest == '/' ? 1 : 0), nullptr, 10);
}

}  // namespace

std::vector<std::string> transcode_command(const transcode_order& order) {
  std::vector<std::string> command = {transcoder_program};
  if (order.full_speed_threads) {
    command.insert(command.end(), {"-d", "0", "--cpu-cap", "0", "--max-threads",
                                   std::to_string(*order.full_speed_threads)});
  } else {
    command.insert(command.end(), {"-d", "7", "--cpu-cap", "70"});
  }
  command.insert(command.end(), {"--profile", order.profile, "-f", "mp4", "-o", order.output,
                                 "--file", order.source});
  return command;
}

std::vector<std::string> listing_command(const std::string& source, std::int32_t max_profile) {
  std::vector<std::string> command = {transcoder_program, "--file", source, "--quote"};
  if (max_profile > 0) { command.insert(command.end(), {"--height", std::to_string(max_profile)}); }
  return command;
}

void listing_reader::take_line(const char* line) {
  if (!in_list_) {
    in_list_ = strcmp(line, list_heading) == 0;
  } else if (begins_with(line, list_mark)) {
    const char* const name = line + strlen(list_mark);
    const char* const begin = name + strspn(name, " ");
    if (*begin != '\0') { profiles_.emplace_back(begin); }
  }
}

std::vector<std::string> profiles_in_listing(const std::string& listing) {
  listing_reader reader;
  std::size_t end = 0;
  for (std::size_t begin = 0; (end = listing.find('\n', begin)) != std::string::npos;
       begin = end + 1) {
    std::string line = listing.substr(begin, end - begin);
    if (!line.empty() && line.back() == '\r') { line.pop_back(); }
    reader.take_line(line.c_str());
  }
  return reader.profiles();
}

std::string listing_text(const std::vector<std::string>& profiles) {
  std::string text = std::string(list_heading) + "\n";
  for (const std::string& profile : profiles) {
    text += list_mark + profile + "\n";
  }
  return text;
}

profile_choice choose_profile(const std::vector<std::string>& quoted_profile,
                              std::int32_t max_profile) {
  const bool has_limit = max_profile > 0;
  for (const std::string& profile : quoted_profile) {
    if (!has_limit || strtol(profile.c_str(), nullptr, 10) <= max_profile) {
      return {profile, has_limit ? choice_basis::first_within_limit : choice_basis::first};
    }
  }
  const auto i = quoted_profile.rbegin();
  assert(i != quoted_profile.rend());
  return {*i, choice_basis::last_because_none_within_limit};
}

std::optional<std::int32_t> frame_count::progress() const {
  if (!is_found || total == 0) { return std::nullopt; }
  return static_cast<std::int32_t>(frame * progress_complete / total);
}

void read_progress_line(const char* line, frame_count& count) {
  if (!begins_with(line, progress_heading)) { return; }
  const char* at = line + strlen(progress_heading);
  while (*at != '\0') {
    const std::size_t length = strcspn(at, " ");
    read_word(std::string(at, length), count);
    at += length;
    at += strspn(at, " ");
  }
}

std::string progress_line_text(std::int64_t frame, std::int64_t total, double fps, double speed) {
  char text[160];
  snprintf(text, sizeof(text), "%s %s%lld/%lld fps=%.1f speed=%.2fx", progress_heading, frame_key,
           static_cast<long long>(frame), static_cast<long long>(total), fps, speed);
  return text;
}
