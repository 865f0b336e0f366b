// Transcodes each source of the media matrix with the tool that ships, measures the result and
// prints one line for it:
// media_matrix [--short] [--interrupt] [--jobs N] [--tool FILE] [--list] [NAME...]
// With --interrupt each transcode is killed once and finished, and compared with one in one piece;
// it must have been resumed if the source can be read from any place.
// Exit status 0 when all are as they should be, 1 when not, 2 for wrong arguments.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

#include "tests/media/child_output.h"
#include "tests/media/interrupted.h"
#include "tests/media/verdict.h"

namespace {

using namespace qx_test;
namespace fs = std::filesystem;

constexpr const char* usage =
    "usage: media_matrix [--short] [--interrupt] [--jobs N] [--tool FILE] [--list] [NAME...]";

constexpr const char* resumed_course = "resumed";

struct matrix_options {
  bool brief = false;
  bool list = false;
  bool interrupt = false;
  int jobs = 2;
  std::string tool = QX_TRANSCODE;
  std::set<std::string> names;
};

bool read_options(int argc, char** argv, matrix_options& options) {
  for (int at = 1; at < argc; ++at) {
    const std::string word = argv[at];
    if (word == "--short") {
      options.brief = true;
    } else if (word == "--list") {
      options.list = true;
    } else if (word == "--interrupt") {
      options.interrupt = true;
    } else if (word == "--jobs" && at + 1 < argc) {
      options.jobs = std::max(1, std::atoi(argv[++at]));
    } else if (word == "--tool" && at + 1 < argc) {
      options.tool = argv[++at];
    } else if (word.rfind("--", 0) != 0) {
      options.names.insert(word);
    } else {
      return false;
    }
  }
  return true;
}

std::vector<expected_result> chosen(const matrix_options& options) {
  std::vector<expected_result> result;
  for (const expected_result& each : all_expected()) {
    const bool named = options.names.empty() || options.names.count(each.source) > 0;
    if (named && (!options.brief || each.in_short_form)) { result.push_back(each); }
  }
  return result;
}

std::string decimals(double value, int places) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", places, value);
  return text;
}

bool make_sources(const std::vector<std::string>& names) {
  std::vector<std::string> words = {QX_MAKE_SOURCE, QX_MATRIX_DIR};
  words.insert(words.end(), names.begin(), names.end());
  return run_child(words).status == 0;
}

// The longest name that a file system takes, in letters of two bytes.
std::string long_name() {
  std::string name;
  while (name.size() < 246) {
    name += "\u00fc";
  }
  return name + ".mp4";
}

fs::path source_path(const std::string& name) {
  fs::path made = fs::path(QX_MATRIX_DIR) / name;
  if (name != "long_name.mp4") { return made; }
  fs::path copy = fs::path(QX_MATRIX_DIR) / long_name();
  std::error_code error;
  fs::copy_file(made, copy, fs::copy_options::overwrite_existing, error);
  return error ? made : copy;
}

std::string transcode(const std::string& tool, const std::vector<std::string>& arguments,
                      const std::string& output) {
  std::vector<std::string> words = {tool, "-o", output};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const child_result run = run_child(words, true);
  if (run.status == 0) { return {}; }
  const std::size_t begin = run.errors.find(": ");
  return "failed: " + (begin == std::string::npos
                           ? "exit status " + std::to_string(run.status)
                           : run.errors.substr(begin + 2, run.errors.find('\n') - begin - 2));
}

struct line {
  measured_result measured;
  std::vector<std::string> deviations;
  std::string course;  // of an interrupted transcode
};

std::string course_of(const interrupted_result& result) {
  return result.resumed  ? resumed_course
         : result.killed ? "killed, not resumed"
                         : "not killed in time";
}

// Returns the tool's failure.
std::string make_result(const matrix_options& options, const expected_result& expected,
                        const std::string& output, line& result) {
  const std::vector<std::string> arguments = {
      "--profile", expected.profile, "-f", "mp4", "--file", source_path(expected.source)};
  if (!options.interrupt) { return transcode(options.tool, arguments, output); }
  const interrupted_result made =
      transcode_interrupted(output + ".interrupted", options.tool, arguments, output,
                            expected.decodes_alike ? packet_likeness::all : packet_likeness::times);
  result.deviations = made.deviations;
  result.course = course_of(made);
  return made.error;
}

line examine(const matrix_options& options, const expected_result& expected, double reference) {
  line result;
  const std::string output = (fs::path(QX_MATRIX_DIR) / "results" / (expected.source + ".mp4"));
  std::string error;
  if (!make_sources({expected.source})) {
    error = "the source cannot be made";
  } else {
    error = make_result(options, expected, output, result);
  }
  if (error.empty()) { measure_result(output, result.measured, error); }
  if (!error.empty()) {
    result.deviations.push_back(error);
    return result;
  }
  if (options.interrupt && expected.is_resumable() && result.course != resumed_course) {
    result.deviations.emplace_back("should have been resumed");
  }
  for (const std::string& each : deviations(expected, result.measured, reference)) {
    result.deviations.push_back(each);
  }
  if (result.deviations.empty()) { fs::remove(output); }
  return result;
}

std::string sync_text(const measured_result& measured) {
  const std::vector<double> late = sync_of(measured);
  if (late.empty()) { return "-"; }
  std::string text;
  for (const double each : {late.front(), late[late.size() / 2], late.back()}) {
    text += (text.empty() ? "" : "/") + decimals(each * 1000.0, 0);
  }
  return text;
}

std::string shape_text(const measured_result& measured) {
  const std::vector<flash>& flashes = measured.pictures.flashes();
  if (flashes.empty()) { return "-"; }
  return decimals(shape_of(flashes.front()), 2) + "/" + decimals(shape_of(flashes.back()), 2);
}

std::string codec_text(const measured_result& measured) {
  const char* between = measured.video_codec.empty() || measured.audio_codec.empty() ? "" : "+";
  return measured.video_codec + between + measured.audio_codec;
}

constexpr const char* columns = "%-30s %-7s %-9s %-9s %-9s %-10s %6s %6s %-12s %6s %6s %6s  %s\n";

void print_heading() {
  std::printf(columns, "source", "profile", "codec", "size", "shape", "rate", "pict s", "sound s",
              "sync ms", "colour", "combs", "LU", "verdict");
}

void print_line(const expected_result& expected, const line& result, double reference) {
  const measured_result& found = result.measured;
  std::string verdict = result.deviations.empty() ? "PASS" : "";
  for (const std::string& each : result.deviations) {
    verdict += (verdict.empty() ? "" : "; ") + each;
  }
  if (!result.course.empty()) { verdict += " (" + result.course + ")"; }
  std::printf(columns, expected.source.c_str(), expected.profile.c_str(), codec_text(found).c_str(),
              (std::to_string(found.width) + "x" + std::to_string(found.height)).c_str(),
              shape_text(found).c_str(), found.rate.c_str(),
              decimals(found.picture_seconds, 2).c_str(), decimals(found.sound_seconds, 2).c_str(),
              sync_text(found).c_str(), decimals(colour_error(found), 1).c_str(),
              decimals(found.pictures.worst_comb() * 100.0, 2).c_str(),
              decimals(found.loudness - reference, 1).c_str(), verdict.c_str());
  std::fflush(stdout);
}

// Works through the list side by side; the lines come in the order in which they are ready.
int examine_all(const std::vector<expected_result>& list, const matrix_options& options,
                double reference) {
  std::atomic<std::size_t> next{0};
  std::atomic<int> failed{0};
  std::atomic<int> resumed{0};
  std::mutex printing;
  const auto work = [&] {
    for (std::size_t at = next++; at < list.size(); at = next++) {
      const line result = examine(options, list[at], reference);
      failed += result.deviations.empty() ? 0 : 1;
      resumed += result.course == resumed_course ? 1 : 0;
      const std::lock_guard<std::mutex> guard(printing);
      print_line(list[at], result, reference);
    }
  };
  std::vector<std::thread> workers;
  for (int number = 0; number < options.jobs; ++number) {
    workers.emplace_back(work);
  }
  for (std::thread& worker : workers) {
    worker.join();
  }
  if (options.interrupt) { std::printf("%d transcodes were resumed\n", resumed.load()); }
  return failed;
}

}  // namespace

int main(int argc, char** argv) {
  matrix_options options;
  if (!read_options(argc, argv, options)) {
    std::fprintf(stderr, "%s\n", usage);
    return 2;
  }
  const std::vector<expected_result> list = chosen(options);
  if (options.list) {
    for (const expected_result& each : list) {
      std::printf("%s\n", each.source.c_str());
    }
    return 0;
  }
  fs::create_directories(fs::path(QX_MATRIX_DIR) / "results");
  if (list.empty() || !make_sources({"reference.wav"})) {
    std::fprintf(stderr, "media_matrix: no such source, or none can be made\n");
    return 2;
  }
  const double reference = loudness_of(std::string(QX_MATRIX_DIR) + "/reference.wav");
  print_heading();
  const int failed = examine_all(list, options, reference);
  std::printf("%zu sources, %d not as they should be\n", list.size(), failed);
  return failed == 0 ? 0 : 1;
}
