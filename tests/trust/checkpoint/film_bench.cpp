#include "tests/trust/checkpoint/film_bench.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "tests/support/checkpoint/film_checks.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;
using clock_type = std::chrono::steady_clock;

constexpr int usual_segment_seconds = 2;
constexpr int usual_seconds = 12;
constexpr int long_seconds = 90;
constexpr const char* hidden_folder = ".qx-segments-";

const char* const h264 = "-c:v libx264 -preset ultrafast -bf 2 -g 40 -pix_fmt yuv420p";
const char* const mpeg2 = "-c:v mpeg2video -b:v 1M -g 12 -bf 2 -pix_fmt yuv420p";
const char* const interlaced =
    "-vf setfield=tff -c:v mpeg2video -b:v 1M -g 12 -bf 2 -flags +ildct+ilme -top 1 "
    "-pix_fmt yuv420p -output_ts_offset 95435";  // its 33 bits run over after 8 s
const char* const open_groups =
    "-c:v libx264 -preset ultrafast -bf 2 -pix_fmt yuv420p -x264-params "
    "open-gop=1:keyint=50:scenecut=0 -output_ts_offset 1000";

long frame_in(const std::string& line) {
  const std::size_t at = line.find("frame=");
  return at == std::string::npos ? -1 : std::atol(line.c_str() + at + 6);
}

}  // namespace

const std::vector<film_kind>& film_kinds() {
  static const std::vector<film_kind> kinds = {
      {"sound.mkv", std::string(h264) + " -c:a aac -ac 2", "64x36", true},
      {"interlaced.ts", std::string(interlaced) + " -c:a mp2 -ac 2 -ar 48000", "64x48", true},
      {"silent.mp4", h264, "64x36", false},
      {"sound.mxf", std::string(mpeg2) + " -c:a pcm_s16le -ar 48000", "64x48", true},
      {"open.ts", std::string(open_groups) + " -c:a aac -ac 2 -ar 48000", "64x36", true},
      {"sound.mp4", std::string(h264) + " -c:a aac -ac 2", "64x36", true},
      {"silent.mkv", h264, "64x36", false},
      {"silent_interlaced.ts", interlaced, "64x48", false},
      {"silent.mxf", mpeg2, "64x48", false},
      {"silent_open.ts", open_groups, "64x36", false}};
  return kinds;
}

long first_frame(const std::string& progress) {
  return frame_in(progress.substr(0, progress.find('\n')));
}

long last_frame(const std::string& progress) {
  const std::size_t at = progress.rfind("frame=");
  return at == std::string::npos ? -1 : frame_in(progress.substr(at));
}

film_bench::film_bench(findings& found, const film_kind& kind)
    : found_(found), kind_(kind), source_(settings_.file(kind.name)) {
  make_film();
  configure();
}

void film_bench::make_film() const {
  const std::string length = std::to_string(kind_.is_long ? long_seconds : usual_seconds);
  // Rises to 2 kHz again and again: of higher sound, the nearest whole sample is too far away from
  // where a seam may have shifted it.
  const std::string sound =
      kind_.has_sound
          ? " -f lavfi -i 'aevalsrc=0.3*sin(500*mod(t\\,13)^2):s=44100:d=" + length + "'"
          : "";
  const std::string errors =
      output_of("ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=" + kind_.size +
                ":r=25:d=" + length + sound + " " + kind_.arguments + " '" + source_ + "' 2>&1");
  found_.expect(fs::exists(source_), about("cannot be made: " + errors));
}

const std::string& film_bench::reference() const {
  if (fs::exists(reference_)) { return reference_; }
  std::ofstream(one_piece_conf_) << "checkpoint=no\n";
  setenv("QX_MEDIA_CONF", one_piece_conf_.c_str(), 1);
  const tool_result result = run_tool("qxmi_vod_transcode", arguments(reference_));
  found_.expect(result.end.status == 0, about("cannot be transcoded"));
  return reference_;
}

const std::vector<std::string>& film_bench::expected() const {
  if (expected_.empty()) { expected_ = packet_list(reference()); }
  found_.expect(!expected_.empty(), about("its transcode cannot be read"));
  return expected_;
}

void film_bench::measure() {
  if (steps_ > 0) { return; }
  tool_.reset();
  const auto begin = clock_type::now();
  found_.expect(start().wait().status == 0, about("cannot be made in segments"));
  usual_time_ = std::chrono::duration_cast<std::chrono::microseconds>(clock_type::now() - begin);
  steps_ = tool_.steps();
  expect_right_result("without a disturbance");
  clear();
}

std::vector<std::string> film_bench::arguments(const std::string& output) const {
  const std::string height = kind_.size.substr(kind_.size.find('x') + 1);
  std::vector<std::string> all = kind_.options;
  all.insert(all.end(), {"--profile", height, "-f", "mp4", "-o", output, "--file", source_});
  return all;
}

tool_run film_bench::start(const std::vector<std::string>& more) const {
  setenv("QX_MEDIA_CONF", conf_.c_str(), 1);
  std::vector<std::string> all = arguments(output_);
  all.insert(all.begin(), more.begin(), more.end());
  return tool_.start(all);
}

void film_bench::configure() const {
  if (!kind_.is_long) { return configure(usual_segment_seconds); }
  std::ofstream(conf_) << "checkpoint=yes\n";
}

void film_bench::configure(int segment_seconds, int runs) const {
  std::ofstream(conf_) << "checkpoint=yes\ncheckpoint.min_seconds=6\ncheckpoint.segment_seconds="
                       << segment_seconds << "\ncheckpoint.runs=" << runs << "\n";
}

bool film_bench::is_done() const {
  return fs::exists(output_);
}

std::string film_bench::segment_folder() const {
  for (const std::string& name : results_.names()) {
    if (name.rfind(hidden_folder, 0) == 0) { return results_.file(name); }
  }
  return {};
}

long film_bench::finished() const {
  std::set<std::string> pictures;
  std::set<std::string> recorded;
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(segment_folder(), ignored)) {
    const fs::path name = entry.path().filename();
    if (name.extension() == ".mp4") { pictures.insert(name); }
    if (name.extension() == ".sum") { recorded.insert(name.stem().stem()); }
  }
  return std::count_if(pictures.begin(), pictures.end(),
                       [&](const std::string& name) { return recorded.count(name) > 0; });
}

tool_result film_bench::finish(const std::string& when, long finished) {
  tool_.reset();
  tool_run run = start();
  tool_result result = {run.wait(), run.output_lines(), run.error_lines()};
  const std::string errors = run.errors();
  found_.expect(result.end.status == 0, about("failed " + when + ": " + errors));
  found_.expect(errors.find("starts over") == std::string::npos,
                about("started over " + when + ": " + errors));
  const long taken_over = first_frame(run.output());
  found_.expect(finished == 0 || taken_over >= (finished - 1) * segment_frames(),
                about("took over " + std::to_string(taken_over) + " frames of " +
                      std::to_string(finished) + " segments " + when));
  return result;
}

void film_bench::expect_right_result(const std::string& when, bool hidden_too) const {
  if (!is_done()) {
    found_.add(about("no result " + when));
    return;
  }
  found_.expect(packet_list(output_) == expected(), about("other packets " + when));
  const double psnr = worst_psnr(output_, reference());
  found_.expect(psnr >= kind_.least_psnr,
                about("other pictures " + when + ": " + std::to_string(psnr) + " dB"));
  const double sound = worst_sound_likeness(output_, reference());
  found_.expect(sound >= least_sound_likeness,
                about("other sound " + when + ": " + std::to_string(sound) + " dB"));
  const std::string left = "left " + when + ": ";
  for (const std::string& name : results_.names()) {
    const bool is_expected = name == "out.mp4" || (hidden_too && name[0] == '.');
    found_.expect(is_expected, about(left).append(name));
  }
}

void film_bench::expect_nothing_visible(const std::string& when) const {
  if (is_done()) { return expect_right_result(when, true); }
  const std::string left = "left visible " + when + ": ";
  for (const std::string& name : results_.names()) {
    found_.expect(name[0] == '.', about(left).append(name));
  }
}

void film_bench::clear() const {
  for (const std::string& name : results_.names()) {
    fs::remove_all(results_.file(name));
  }
}

}  // namespace qx_test
