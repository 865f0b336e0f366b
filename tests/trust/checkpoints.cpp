// Interrupts transcodes that are made in segments at random moments, and damages what they leave;
// the next run must give the whole result or fail, never a wrong one. Prints one line per figure.
// The argument is the number of interruptions, and of damages.
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "tests/support/media/tool_run.h"
#include "tests/support/wait_until.h"
#include "tests/trust/trial.h"

using namespace qx_test;

namespace {

namespace fs = std::filesystem;
using clock_type = std::chrono::steady_clock;

constexpr long usual_count = 10;
constexpr const char* tool = "qxmi_vod_transcode";
constexpr unsigned longest_chain = 4;  // interruptions before a transcode may end
constexpr double least_psnr = 25.0;    // dB, of every picture of two encodes of the same film

struct totals {
  long interruptions = 0;
  long resumed = 0;
  long damages = 0;
  long refused = 0;  // damages after which the tool failed, which is allowed
};

std::string output_of(const std::string& command) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string text;
  std::array<char, 4096> bytes{};
  std::size_t count = 0;
  while (pipe && (count = std::fread(bytes.data(), 1, bytes.size(), pipe.get())) > 0) {
    text.append(bytes.data(), count);
  }
  return text;
}

// Without the duration of the last packet, which holds padding.
std::string packets(const std::string& path) {
  const std::string text =
      output_of("ffprobe -v error -show_entries packet=stream_index,pts,dts,flags -of csv=p=0 '" +
                path + "' | sort");
  return text;
}

double worst_psnr(const std::string& path, const std::string& reference) {
  const std::string text = output_of("ffmpeg -nostdin -hide_banner -i '" + path + "' -i '" +
                                     reference + "' -lavfi psnr -xerror -f null - 2>&1");
  const std::size_t at = text.find(" min:");
  if (at == std::string::npos) { return 0.0; }
  return text.compare(at + 5, 3, "inf") == 0 ? 100.0 : std::atof(text.c_str() + at + 5);
}

pid_t child_of(pid_t parent) {
  pid_t child = -1;
  const std::string number = std::to_string(parent);
  std::ifstream("/proc/" + number + "/task/" + number + "/children") >> child;
  return child;
}

class checkpoint_trial {
public:
  checkpoint_trial(findings& found, totals& sums) : found_(found), sums_(sums) {
    std::ofstream(settings_.file("media.conf"))
        << "checkpoint=yes\ncheckpoint.segment_seconds=2\ncheckpoint.min_seconds=6\n";
    setenv("QX_MEDIA_CONF", settings_.file("media.conf").c_str(), 1);
    output_of("ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=64x36:r=10:d=20 -f lavfi -i "
              "'aevalsrc=0.3*sin(2000*t*t):s=44100:d=20' -c:v libx264 -g 30 -pix_fmt yuv420p "
              "-c:a aac -ac 2 '" +
              source_ + "' 2>&1");
    const auto begin = clock_type::now();
    found_.expect(run(reference_) == 0, "the undisturbed transcode failed");
    usual_time_ = clock_type::now() - begin;
    expected_ = packets(reference_);
  }

  // Some interruptions of one transcode, and then its end.
  void interrupt(long count) {
    for (long i = 0; i < count && !fs::exists(output_); ++i) {
      interrupt_once();
    }
    if (!fs::exists(output_)) {
      const std::size_t finished = finished_segments();
      const tool_result result = run_tool(tool, arguments(output_));
      found_.expect(result.end.status == 0, "a resumed transcode failed");
      const bool said =
          !result.errors.empty() && result.errors.front().find("resumed at") != std::string::npos;
      found_.expect(finished == 0 || said, "finished segments were made again");
      sums_.resumed += said ? 1 : 0;
    }
    expect_right_result("after an interruption");
    fs::remove(output_);
  }

  // Keeps a copy of the segments of a transcode that was killed when it had `count` of them, or
  // all.
  void prepare_damages(std::size_t count) {
    tool_run run(tool, arguments(output_));
    wait_until([&] {
      return fs::exists(folder() + "/complete") || (count > 0 && finished_segments() >= count);
    });
    run.signal_group(SIGKILL);
    run.wait();
    fs::remove_all(kept_);
    fs::copy(folder(), kept_, fs::copy_options::recursive);
    name_ = fs::path(folder()).filename();
    clear();
  }

  void damage_and_run() {
    fs::copy(kept_, results_.file(name_), fs::copy_options::recursive);
    const std::string what = damage();
    ++sums_.damages;
    if (run(output_) != 0) {
      ++sums_.refused;
    } else {
      expect_right_result("after " + what);
    }
    clear();
  }

private:
  std::vector<std::string> arguments(const std::string& result) const {
    return {"--profile", "36", "-f", "mp4", "-o", result, "--file", source_};
  }
  int run(const std::string& result) const { return run_tool(tool, arguments(result)).end.status; }

  std::string folder() const {
    for (const std::string& name : results_.names()) {
      if (name.rfind(".qx-segments-", 0) == 0) { return results_.file(name); }
    }
    return results_.file("none");
  }

  std::size_t finished_segments() const {
    std::size_t count = 0;
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder(), ignored)) {
      count += entry.path().extension() == ".mp4" ? 1 : 0;
    }
    return count;
  }

  // Of the tool, of its engine or of both, at any moment.
  void interrupt_once() {
    tool_run run(tool, arguments(output_));
    const auto longest = std::chrono::duration_cast<std::chrono::microseconds>(usual_time_).count();
    std::this_thread::sleep_for(
        std::chrono::microseconds(random_below(static_cast<unsigned>(longest))));
    const unsigned victim = random_below(3);
    const pid_t engine = child_of(run.pid());
    if (victim == 0) { kill(run.pid(), SIGKILL); }
    if (victim == 1 && engine > 0) { kill(engine, SIGKILL); }
    if (victim == 2) { run.signal_group(SIGKILL); }
    run.wait();
    ++sums_.interruptions;
    for (const std::string& name : results_.names()) {
      found_.expect(name[0] == '.' || name == "out.mp4", "left visible: " + name);
    }
  }

  std::string damage() const {
    std::vector<std::string> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(results_.file(name_))) {
      if (entry.is_regular_file()) { files.push_back(entry.path()); }
    }
    std::sort(files.begin(), files.end());
    const std::string& file = files[random_below(static_cast<unsigned>(files.size()))];
    const std::string& other = files[random_below(static_cast<unsigned>(files.size()))];
    const std::string name = fs::path(file).filename();
    const auto size = static_cast<unsigned>(fs::file_size(file));
    switch (random_below(6)) {
    case 0:
      fs::remove(file);
      return "the loss of " + name;
    case 1:
      fs::resize_file(file, size == 0 ? 0 : random_below(size));
      return "the end of " + name + " is lost";
    case 2:
      overwrite(file, size, std::string(64, '\0'));
      return "zeros in " + name;
    case 3:
      overwrite(file, size, std::string(1, static_cast<char>(random_below(256))));
      return "another byte in " + name;
    case 4:
      std::ofstream(file, std::ios::app | std::ios::binary) << "more";
      return "more bytes in " + name;
    default:
      if (other == file) { return "nothing"; }
      fs::copy_file(other, file, fs::copy_options::overwrite_existing);
      return "a copy of " + fs::path(other).filename().string() + " as " + name;
    }
  }

  static void overwrite(const std::string& path, unsigned size, const std::string& bytes) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(size == 0 ? 0 : random_below(size));
    file << bytes;
  }

  void expect_right_result(const std::string& when) const {
    const bool same = packets(output_) == expected_;
    found_.expect(same, "other packets " + when);
    const double psnr = worst_psnr(output_, reference_);
    found_.expect(psnr >= least_psnr, "other pictures " + when + ": " + std::to_string(psnr));
    found_.expect(results_.names() == std::vector<std::string>{"out.mp4"}, "files left " + when);
  }

  void clear() const {
    for (const std::string& name : results_.names()) {
      fs::remove_all(results_.file(name));
    }
  }

  findings& found_;
  totals& sums_;
  scratch_folder settings_;
  scratch_folder results_;
  std::string source_ = settings_.file("film.mkv");
  std::string reference_ = settings_.file("reference.mp4");
  std::string kept_ = settings_.file("kept");
  std::string output_ = results_.file("out.mp4");
  std::string name_;
  std::string expected_;
  clock_type::duration usual_time_{};
};

}  // namespace

int main(int argc, char** argv) {
  const long count = count_argument(argc, argv, usual_count);
  findings found("checkpoints");
  totals sums;
  checkpoint_trial trial(found, sums);
  while (sums.interruptions < count) {
    trial.interrupt(1 + random_below(longest_chain));
  }
  for (const std::size_t segments : {std::size_t{5}, std::size_t{0}}) {
    trial.prepare_damages(segments);
    for (long i = 0; i < (count + 1) / 2; ++i) {
      trial.damage_and_run();
    }
  }
  std::printf("interruptions: %ld, transcodes that were resumed: %ld\n", sums.interruptions,
              sums.resumed);
  std::printf("damaged folders: %ld, of which the tool refused: %ld\n", sums.damages, sums.refused);
  return found.report();
}
