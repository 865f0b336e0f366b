#include "tests/support/media/made_recording.h"

#include <fstream>

#include <gtest/gtest.h>

namespace qx_test {
namespace {

// Commas and blanks have a meaning for the engine and for make_media().
std::string escaped(const std::string& expression) {
  std::string result;
  for (const char character : expression) {
    if (character == ',') { result += '\\'; }
    result += character;
  }
  return result;
}

std::string during(const std::string& when) {
  return "(" + when + ")*lt(mod(t,1),0.2)";
}

std::string transcoded(const scratch_folder& folder, const std::string& source,
                       const std::string& profile) {
  const std::string made = source + ".made.mp4";
  const tool_result result =
      run_tool("qxmi_vod_transcode", {"--profile", profile, "-o", made, "--file", source});
  EXPECT_EQ(result.end.status, 0) << source << " in " << folder.path();
  for (const std::string& line : result.errors) {
    ADD_FAILURE() << line;
  }
  return made;
}

}  // namespace

std::string flashing(int seconds, const std::string& when) {
  return "-f lavfi -i color=black:size=160x120:rate=25:duration=" + std::to_string(seconds) +
         ",drawbox=color=white:t=fill:enable=" + escaped(during(when)) + " ";
}

std::string beeping(int seconds, const std::string& when) {
  return "-f lavfi -i aevalsrc=" + escaped("0.5*sin(6283*t)*" + during(when)) +
         ":sample_rate=48000:duration=" + std::to_string(seconds) + " ";
}

std::string recorded(const scratch_folder& folder, const std::string& name, int start,
                     const std::string& sound) {
  return make_media(folder, name,
                    flashing(3) + beeping(3) + "-c:v mpeg2video " + sound + " -output_ts_offset " +
                        std::to_string(start) + " -f mpegts");
}

std::string moved(const scratch_folder& folder, const std::string& name, int start,
                  const std::string& arguments) {
  return recorded(folder, name, start,
                  "-ac 2 -c:a mp2 -streamid 0:600 -streamid 1:601 " + arguments);
}

std::string joined(const scratch_folder& folder, const std::string& name,
                   const std::vector<std::string>& parts) {
  std::string path = folder.file(name);
  std::ofstream whole(path, std::ios::binary);
  for (const std::string& part : parts) {
    whole << std::ifstream(part, std::ios::binary).rdbuf();
  }
  return path;
}

std::string transcoded_film(const scratch_folder& folder, const std::string& source) {
  return transcoded(folder, source, "120");
}

std::string transcoded_sound(const scratch_folder& folder, const std::string& source) {
  return transcoded(folder, source, "audio");
}

void expect_moments(const std::vector<double>& moments, const std::vector<double>& seconds) {
  ASSERT_EQ(moments.size(), seconds.size());
  for (std::size_t n = 0; n < seconds.size(); ++n) {
    EXPECT_NEAR(moments[n], seconds[n], 0.06);
  }
}

}  // namespace qx_test
