#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "tests/support/checkpoint/film_checks.h"
#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/wait_until.h"

namespace qx_test {
namespace {

namespace fs = std::filesystem;

// Of the result: 12 s at 25 frames a second, and of sound with the encoder's delay.
constexpr long all_frames = 300;
constexpr long segment_frames = 50;
constexpr long frame_ticks = 512;
constexpr long all_packets = 564;
constexpr long packet_ticks = 1024;

constexpr double least_psnr = 25.0;  // dB, of every picture of two encodes of the film

std::vector<long> evenly_spaced(long first, long step, long count) {
  std::vector<long> values;
  for (long i = 0; i < count; ++i) {
    values.push_back(first + i * step);
  }
  return values;
}

std::vector<long> shown_times(const std::string& path, const std::string& stream) {
  std::vector<long> times;
  for (const std::string& packet : packet_times(path, stream)) {
    times.push_back(std::stol(packet));
  }
  std::sort(times.begin(), times.end());
  return times;
}

// Without the duration of the last packet of sound: the padding in it is known only to the encoder.
std::string without_duration(const std::string& packet) {
  std::istringstream fields(packet);
  std::string shown;
  std::string decoded;
  std::getline(fields, shown, ',');
  std::getline(fields, decoded, ',');
  return shown + "," + decoded;
}

// Of a file of a process, which may end meanwhile; such files have no empty lines.
std::string content_of(const std::string& path) {
  std::ifstream file(path);
  std::string text;
  std::getline(file, text);
  return text;
}

bool has_ended(pid_t pid) {
  const char state = process_state(pid);
  return state == '\0' || state == 'Z';
}

}  // namespace

void overwrite(const std::string& path, std::streamoff at, const std::string& bytes) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(at);
  file << bytes;
}

std::vector<pid_t> children_of(pid_t pid) {
  const std::string number = std::to_string(pid);
  std::istringstream list(content_of("/proc/" + number + "/task/" + number + "/children"));
  return {std::istream_iterator<pid_t>(list), {}};
}

std::string command_line_of(pid_t pid) {
  std::string words = content_of("/proc/" + std::to_string(pid) + "/cmdline");
  std::replace(words.begin(), words.end(), '\0', ' ');
  return words;
}

std::vector<std::string> packet_times(const std::string& path, const std::string& stream) {
  const std::string command = "ffprobe -v error -select_streams " + stream +
                              " -show_entries packet=pts,dts,duration,flags -of csv=p=0 '" + path +
                              "'";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::vector<std::string> lines;
  std::array<char, 256> line{};
  while (pipe && std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
    if (line[0] != '\n') { lines.emplace_back(line.data()); }  // where side data would be
  }
  return lines;
}

checkpoint_bench::checkpoint_bench() {
  setenv("QX_MEDIA_CONF", settings.file("media.conf").c_str(), 1);
  configure("checkpoint=yes\ncheckpoint.segment_seconds=2\ncheckpoint.min_seconds=6\n");
  source = make_media(settings, "film.mkv",
                      "-f lavfi -i testsrc2=s=128x72:r=25:d=12 -f lavfi -i "
                      "aevalsrc=0.3*sin(500*t*t):s=44100:d=12 -c:v libx264 -preset ultrafast -g 30 "
                      "-pix_fmt yuv420p -c:a aac -ac 2");
}

void checkpoint_bench::configure(const std::string& lines) const {
  std::ofstream(settings.file("media.conf")) << lines;
}

std::vector<std::string> checkpoint_bench::arguments() const {
  return {"--profile", "72", "-f", "mp4", "-o", output, "--file", source};
}

std::vector<std::string> checkpoint_bench::slowly() const {
  std::vector<std::string> all = arguments();
  all.insert(all.begin(), {"--cpu-cap", "5"});
  return all;
}

std::string checkpoint_bench::segment_folder() const {
  for (const std::string& name : folder.names()) {
    if (name.rfind(".qx-segments-", 0) == 0) { return folder.file(name); }
  }
  return {};
}

std::size_t checkpoint_bench::finished() const {
  std::size_t count = 0;
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(segment_folder(), ignored)) {
    if (entry.path().extension() == ".mp4") { ++count; }
  }
  return count;
}

void checkpoint_bench::interrupt_with(std::size_t count) const {
  std::vector<std::string> words = arguments();
  words.insert(words.begin(), {"--cpu-cap", "30"});
  tool_run run("qxmi_vod_transcode", words);
  ASSERT_TRUE(wait_until([&] { return finished() >= count; }));
  run.signal_group(SIGKILL);
  ASSERT_EQ(run.wait().signal, SIGKILL);
}

void checkpoint_bench::interrupt_after(std::size_t count, int signal) const {
  tool_run run("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return finished() >= count; }));
  run.signal_group(signal);
  EXPECT_EQ(run.wait().signal, signal);
}

pid_t checkpoint_bench::caught_engine(const tool_run& run, const std::string& words) {
  while (!has_ended(run.pid())) {
    for (const pid_t engine : children_of(run.pid())) {
      if (command_line_of(engine).find(words) == std::string::npos) { continue; }
      kill(engine, SIGSTOP);
      return engine;
    }
  }
  return -1;
}

void checkpoint_bench::expect_failure_without_engine(const std::string& words) const {
  tool_run run("qxmi_vod_transcode", arguments());
  const pid_t engine = caught_engine(run, words);
  ASSERT_GT(engine, 0) << "no engine with " << words << " was seen";
  kill(engine, SIGKILL);
  EXPECT_EQ(run.wait().status, 1) << run.errors();
  EXPECT_FALSE(fs::exists(output));
}

long checkpoint_bench::first_frame(const tool_result& result) {
  if (result.output.empty()) { return -1; }
  const std::size_t at = result.output.front().find("frame=");
  return at == std::string::npos ? -1 : std::stol(result.output.front().substr(at + 6));
}

void checkpoint_bench::expect_resumed(const tool_result& result, long segments) {
  EXPECT_GE(first_frame(result), segments * segment_frames);
  ASSERT_EQ(result.errors.size(), 1U) << "started over";
  EXPECT_NE(result.errors[0].find(": resumed at "), std::string::npos) << result.errors[0];
}

void checkpoint_bench::expect_whole(const tool_result& result) const {
  ASSERT_EQ(result.end.status, 0) << (result.errors.empty() ? "" : result.errors.back());
  EXPECT_EQ(folder.names(), std::vector<std::string>{"out.mp4"});
  EXPECT_EQ(shown_times(output, "v"), evenly_spaced(0, frame_ticks, all_frames));
  EXPECT_EQ(shown_times(output, "a"), evenly_spaced(-packet_ticks, packet_ticks, all_packets));
  const json11::Json report = inspect(output);
  EXPECT_EQ(number(stream_of(report, "video")["nb_read_frames"]), all_frames);
}

void checkpoint_bench::use_pieces(const std::vector<piece>& pieces) {
  std::vector<std::string> parts;
  double begin = 0.0;
  for (const piece& each : pieces) {
    const std::string length = std::to_string(each.seconds);
    parts.push_back(make_media(
        settings, "piece" + std::to_string(parts.size()) + ".ts",
        "-f lavfi -i testsrc2=s=128x72:r=25:d=" + length +
            " -f lavfi -i aevalsrc=0.3*sin(400*t*t):s=48000:d=" + length +
            " -c:v libx264 -preset ultrafast -sc_threshold 0 -g 50 -pix_fmt yuv420p "
            "-c:a aac -ac " +
            std::to_string(each.channels) + " -output_ts_offset " + std::to_string(begin)));
    begin += each.seconds;
  }
  source = join_media(settings, "recording.ts", parts);
}

void checkpoint_bench::expect_same_sound_as_in_one_piece() const {
  expect_as_in_one_piece();
  const std::string packets =
      "ffprobe -v error -select_streams a -show_data_hash md5 -show_entries "
      "packet=pts,dts,duration,flags,data_hash -of csv=p=0 ";
  const std::string made = output_of(packets + output);
  EXPECT_NE(made, "");
  EXPECT_EQ(made, output_of(packets + settings.file("one.mp4")));
}

void checkpoint_bench::expect_as_in_one_piece() const {
  const std::string one_piece = settings.file("one.mp4");
  configure("checkpoint=no\n");
  std::vector<std::string> all = arguments();
  std::replace(all.begin(), all.end(), output, one_piece);
  ASSERT_EQ(run_tool("qxmi_vod_transcode", all).end.status, 0);
  EXPECT_EQ(packet_times(output, "v"), packet_times(one_piece, "v"));
  std::vector<std::string> made = packet_times(output, "a");
  std::vector<std::string> expected = packet_times(one_piece, "a");
  ASSERT_EQ(made.size(), expected.size());
  made.back() = without_duration(made.back());
  expected.back() = without_duration(expected.back());
  EXPECT_EQ(made, expected);
  EXPECT_GE(worst_psnr(output, one_piece), least_psnr);
  EXPECT_GE(worst_sound_likeness(output, one_piece), least_sound_likeness);
}

}  // namespace qx_test
