#include "tests/media/interrupted.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/media/child_output.h"
#include "tests/support/checkpoint/film_checks.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;
using words = std::vector<std::string>;

// The tool with its settings in `conf`, whose content is `lines`.
words with_settings(const std::string& conf, const std::string& lines, const std::string& tool,
                    const words& arguments, const std::string& output) {
  std::ofstream(conf) << lines;
  words all = {"env", "QX_MEDIA_CONF=" + conf, tool, "-o", output};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return all;
}

std::string failure_of(const child_result& run) {
  if (run.status == 0) { return {}; }
  const std::size_t begin = run.errors.find(": ");
  return "failed: " + (begin == std::string::npos
                           ? "exit status " + std::to_string(run.status)
                           : run.errors.substr(begin + 2, run.errors.find('\n') - begin - 2));
}

// Without the time of decoding and the flags, and sorted, so that coding order does not count.
words shown_times(const words& packets) {
  words shown;
  for (const std::string& packet : packets) {
    words fields;
    std::istringstream text(packet);
    for (std::string field; std::getline(text, field, ',');) {
      fields.push_back(field);
    }
    fields.resize(4);
    shown.push_back(fields[0] + "," + fields[1] + "," + fields[3]);
  }
  std::sort(shown.begin(), shown.end());
  return shown;
}

void compare_packets(const std::string& output, const std::string& one_piece,
                     packet_likeness likeness, interrupted_result& result) {
  words made = packet_list(output);
  words expected = packet_list(one_piece);
  if (likeness == packet_likeness::times) {
    made = shown_times(made);
    expected = shown_times(expected);
  }
  if (made == expected) { return; }
  if (made.size() != expected.size()) {
    result.deviations.push_back(std::to_string(made.size()) + " packets, in one piece " +
                                std::to_string(expected.size()));
    return;
  }
  const auto [first, other] = std::mismatch(made.begin(), made.end(), expected.begin());
  result.deviations.push_back("packet " + *first + ", in one piece " + *other);
}

}  // namespace

interrupted_result transcode_interrupted(const std::string& folder, const std::string& tool,
                                         const words& arguments, const std::string& output,
                                         packet_likeness likeness) {
  fs::remove_all(folder);
  fs::create_directories(folder);
  const std::string one_piece = folder + "/one.mp4";
  const std::string made = folder + "/made.mp4";
  const std::string conf = folder + "/media.conf";
  interrupted_result result;
  result.error = failure_of(
      run_child(with_settings(conf, "checkpoint=no\n", tool, arguments, one_piece), true));
  if (!result.error.empty()) { return result; }
  const words in_segments = with_settings(
      conf, "checkpoint=yes\ncheckpoint.min_seconds=3\ncheckpoint.segment_seconds=2\n", tool,
      arguments, made);
  words killed = {QX_INTERRUPT_TRANSCODE, folder};
  killed.insert(killed.end(), in_segments.begin(), in_segments.end());
  result.killed = run_child(killed).status == 0;
  const child_result second = run_child(in_segments, true);
  result.error = failure_of(second);
  result.resumed = second.errors.find(": resumed at ") != std::string::npos;
  if (second.errors.find("starts over") != std::string::npos) {
    result.deviations.push_back("started over");
  }
  if (result.error.empty()) { compare_packets(made, one_piece, likeness, result); }
  if (result.error.empty()) { fs::rename(made, output); }
  fs::remove_all(folder);
  return result;
}

}  // namespace qx_test
