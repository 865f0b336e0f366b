#include "tests/support/checkpoint/film_checks.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <sstream>

namespace qx_test {

namespace {

constexpr double first_fill = 0.9;
constexpr double no_fill = -1e9;
constexpr long pictures_before = 75;
constexpr long pictures_after = 50;

std::string quoted(const std::string& path) {
  std::string text = "'";
  for (const char character : path) {
    text += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return text + "'";
}

std::vector<std::string> lines_of(const std::string& command) {
  std::istringstream stream(output_of(command));
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty()) { lines.push_back(line); }
  }
  return lines;
}

// The figure after the first `name` in the film's bytes; 0 if there is none.
double setting_in(const std::string& path, const std::string& name) {
  return std::atof(
      output_of("grep -aom1 '" + name + "=[0-9]*' " + quoted(path) + " | head -1 | cut -d= -f2")
          .c_str());
}

std::string without_duration(const std::string& packet) {
  std::vector<std::string> fields;
  std::istringstream stream(packet);
  for (std::string field; std::getline(stream, field, ',');) {
    fields.push_back(field);
  }
  if (fields.size() > 3) { fields[3] = "-"; }
  std::string text;
  for (const std::string& field : fields) {
    text += (text.empty() ? "" : ",") + field;
  }
  return text;
}

bool is_of_stream(const std::string& packet, const std::string& stream) {
  return packet.rfind(stream + ",", 0) == 0;
}

}  // namespace

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

std::vector<std::string> packet_list(const std::string& path, const std::string& stream) {
  const std::string select = stream.empty() ? "" : " -select_streams " + stream;
  std::vector<std::string> packets = lines_of(
      "ffprobe -v error" + select +
      " -show_entries packet=stream_index,pts,dts,duration,flags -of csv=p=0 " + quoted(path));
  // How packets of several streams lie between one another is nothing that a player notices.
  std::stable_sort(packets.begin(), packets.end(), [](const auto& one, const auto& other) {
    return one.substr(0, one.find(',')) < other.substr(0, other.find(','));
  });
  const std::string sound = output_of(
      "ffprobe -v error -select_streams a -show_entries stream=index -of csv=p=0 " + quoted(path));
  if (!packets.empty() && !sound.empty() &&
      is_of_stream(packets.back(), sound.substr(0, sound.find('\n')))) {
    packets.back() = without_duration(packets.back());
  }
  return packets;
}

double lowest_buffer_fill(const std::string& path) {
  const double rate = setting_in(path, "vbv_maxrate") * 1000.0;
  const double size = setting_in(path, "vbv_bufsize") * 1000.0;
  if (rate <= 0.0 || size <= 0.0) { return no_fill; }
  double fill = first_fill * size;
  double lowest = size;
  for (const std::string& packet :
       lines_of("ffprobe -v error -select_streams v -show_entries packet=duration_time,size "
                "-of csv=p=0 " +
                quoted(path))) {
    const std::size_t comma = packet.find(',');
    const double seconds = std::atof(packet.c_str());
    fill -= 8.0 * std::atof(packet.c_str() + comma + 1);
    lowest = std::min(lowest, fill);
    fill = std::min(size, fill + rate * seconds);
  }
  return lowest / size;
}

std::vector<double> likeness(const std::string& path, const std::string& reference) {
  std::vector<double> values;
  for (const std::string& line :
       lines_of("ffmpeg -nostdin -v error -i " + quoted(path) + " -i " + quoted(reference) +
                " -lavfi '[0:v]settb=AVTB,setpts=N/25/TB[a];[1:v]settb=AVTB,setpts=N/25/TB[b];"
                "[a][b]ssim=stats_file=-:shortest=1' -f null -")) {
    const std::size_t at = line.find("All:");
    if (at != std::string::npos) { values.push_back(std::atof(line.c_str() + at + 4)); }
  }
  return values;
}

double mean_of(const std::vector<double>& values, long first, long end) {
  first = std::max(first, 0L);
  end = std::min(end, static_cast<long>(values.size()));
  if (first >= end) { return 0.0; }
  return std::accumulate(values.begin() + first, values.begin() + end, 0.0) /
         static_cast<double>(end - first);
}

double loss_at_seams(const std::string& path, const std::string& one_piece,
                     const std::string& source, long distance) {
  const std::vector<double> made = likeness(path, source);
  const std::vector<double> whole = likeness(one_piece, source);
  if (made.empty() || made.size() != whole.size()) { return 1.0; }
  double worst = 0.0;
  for (long seam = distance; seam < static_cast<long>(made.size()); seam += distance) {
    const auto loss = [&](long first, long end) {
      return mean_of(whole, first, end) - mean_of(made, first, end);
    };
    worst =
        std::max({worst, loss(seam - pictures_before, seam), loss(seam, seam + pictures_after)});
  }
  return worst;
}

}  // namespace qx_test
