// Media that one test alone needs, and what a picture looks like.
#include "tests/tools/made_media.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

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
  for (std::string& word : words)
    argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  int status = -1;
  return posix_spawn(&pid, "/usr/bin/ffmpeg", nullptr, nullptr, argv.data(), environ) == 0 &&
         waitpid(pid, &status, 0) == pid && status == 0;
}

}  // namespace

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
  for (std::istreambuf_iterator<char> at(stream); at != std::istreambuf_iterator<char>(); ++at)
    points.push_back(static_cast<unsigned char>(*at));
  return points;
}

int brightness(const std::string& picture) {
  const std::vector<int> point = grey_points(picture, 1, 1);
  EXPECT_EQ(point.size(), 1U) << picture;
  return point.empty() ? -1 : point[0];
}

}  // namespace qx_test
