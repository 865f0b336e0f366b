#include "tests/support/media/made_media.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/media/media_check.h"

namespace qx_test {
namespace {

std::vector<std::string> words_of(std::string_view text) {
  std::istringstream stream{std::string(text)};
  return {std::istream_iterator<std::string>(stream), {}};
}

bool run_ffmpeg(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {"ffmpeg", "-nostdin", "-v", "error", "-y"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);
  pid_t pid = -1;
  int status = -1;
  return posix_spawn(&pid, "/usr/bin/ffmpeg", nullptr, nullptr, argv.data(), environ) == 0 &&
         waitpid(pid, &status, 0) == pid && status == 0;
}

constexpr std::size_t bars = 7;

struct weights {
  double red;
  double blue;
};

// One point of a picture as red, green and blue.
std::vector<double> rgb_of(const std::string& planes, std::size_t at, weights weight, bool full) {
  const std::size_t plane = planes.size() / 3;
  const auto value = [&](std::size_t place) {
    return static_cast<double>(static_cast<unsigned char>(planes[place]));
  };
  const double luma = full ? value(at) / 255.0 : (value(at) - 16.0) / 219.0;
  const double step = full ? 127.5 : 112.0;
  const double blue = luma + (value(plane + at) - 128.0) / step * (1.0 - weight.blue);
  const double red = luma + (value(2 * plane + at) - 128.0) / step * (1.0 - weight.red);
  const double green =
      (luma - weight.red * red - weight.blue * blue) / (1.0 - weight.red - weight.blue);
  return {red, green, blue};
}

}  // namespace

std::string join_media(const scratch_folder& folder, const std::string& name,
                       const std::vector<std::string>& parts) {
  std::ofstream whole(folder.file(name), std::ios::binary);
  for (const std::string& part : parts) {
    whole << std::ifstream(part, std::ios::binary).rdbuf();
  }
  EXPECT_TRUE(whole.flush()) << name;
  return folder.file(name);
}

std::string colour_bars(const std::string& size) {
  const auto channel = [](int bit) {
    return "'191*gt(bitand(7-floor(X*7/W)," + std::to_string(bit) + "),0)'";
  };
  return "-f lavfi -i nullsrc=size=" + size + ":rate=25,format=gbrp,geq=r=" + channel(2) +
         ":g=" + channel(4) + ":b=" + channel(1) + " ";
}

int bars_error(const std::string& path) {
  const scratch_folder folder;
  const std::string raw = folder.file("raw");
  const bool still = path.size() > 4 && path.substr(path.size() - 4) == ".jpg";
  const json11::Json picture = stream_of(inspect(path), "video");
  const auto width = static_cast<std::size_t>(picture["width"].int_value());
  const auto height = static_cast<std::size_t>(picture["height"].int_value());
  if (!run_ffmpeg({"-i", "file:" + path, "-frames:v", "1", "-pix_fmt",
                   still ? "yuvj444p" : "yuv444p", "-f", "rawvideo", "file:" + raw})) {
    return 255;
  }
  std::ifstream stream(raw, std::ios::binary);
  const std::string planes{std::istreambuf_iterator<char>(stream), {}};
  if (planes.size() != 3 * width * height) { return 255; }
  const std::string matrix = picture["color_space"].string_value();
  if (matrix.empty()) { return 255; }
  const bool newer = matrix == "bt709";
  const weights weight = newer ? weights{0.2126, 0.0722} : weights{0.299, 0.114};
  double worst = 0.0;
  for (std::size_t bar = 0; bar < bars; ++bar) {
    const std::size_t at = height / 3 * width + (2 * bar + 1) * width / (2 * bars);
    const std::vector<double> found = rgb_of(planes, at, weight, still);
    const std::size_t bits = 7 - bar;
    const std::vector<bool> lit = {(bits & 2U) != 0, (bits & 4U) != 0, (bits & 1U) != 0};
    for (std::size_t n = 0; n < 3; ++n) {
      const double shown = 255.0 * std::clamp(found[n], 0.0, 1.0);
      worst = std::max(worst, std::fabs(shown - (lit[n] ? 191.0 : 0.0)));
    }
  }
  return static_cast<int>(std::lround(worst));
}

std::string make_media(const scratch_folder& folder, const std::string& name,
                       std::string_view arguments) {
  std::string path = folder.file(name);
  std::vector<std::string> words = words_of(arguments);
  words.push_back("file:" + path);
  EXPECT_TRUE(run_ffmpeg(words)) << "cannot make " << name;
  return path;
}

std::string copy_to(const std::string& target, const std::string& source) {
  std::error_code error;
  std::filesystem::copy_file(source, target, error);
  EXPECT_FALSE(error) << target << ": " << error.message();
  return target;
}

std::vector<int> grey_points(const std::string& picture, int width, int height) {
  const scratch_folder folder;
  const std::string raw = folder.file("raw");
  const std::string filters =
      "scale=" + std::to_string(width) + ":" + std::to_string(height) + ":flags=area,format=gray";
  if (!run_ffmpeg({"-f", "jpeg_pipe", "-i", "file:" + picture, "-vf", filters, "-f", "rawvideo",
                   "file:" + raw})) {
    return {};
  }
  std::ifstream stream(raw, std::ios::binary);
  std::vector<int> points;
  for (std::istreambuf_iterator<char> at(stream); at != std::istreambuf_iterator<char>(); ++at) {
    points.push_back(static_cast<unsigned char>(*at));
  }
  return points;
}

int brightness(const std::string& picture) {
  const std::vector<int> point = grey_points(picture, 1, 1);
  EXPECT_EQ(point.size(), 1U) << picture;
  return point.empty() ? -1 : point[0];
}

}  // namespace qx_test
