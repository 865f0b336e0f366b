// Lines of the transcoder's log, and the notes among them.
#pragma once

#include <string>
#include <string_view>

// Calls `act` with each line of `text`.
template <typename Action>
void for_each_line(std::string_view text, Action act) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    act(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

// Whether a line opens a run of the transcoder, or opens or closes one.
bool opens_run(std::string_view line);
bool bounds_run(std::string_view line);

// The text of a line "TIME KEY: TEXT"; empty for any other.
std::string_view note_text(std::string_view line, std::string_view key);

// The log of the transcode that makes `output_file`, at least from the opening of its last run, as
// far as that is there.
std::string log_of_last_run(const std::string& output_file);
