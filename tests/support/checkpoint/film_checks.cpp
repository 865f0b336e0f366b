#include "tests/support/checkpoint/film_checks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <sstream>

namespace qx_test {

namespace {

constexpr double first_fill = 0.9;
constexpr double no_fill = -1e9;
constexpr double most_likeness = 100.0;  // dB
constexpr std::size_t part_samples = 2 * 4800;
constexpr std::size_t most_shift = 2 * 48;
constexpr std::size_t packet_samples = 2 * 1024;
// Weaker sound, of -50 dB of the strongest, counts as so strong: its coding is a matter of taste.
constexpr double least_power = 100.0 * 100.0;
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

// Both channels of all sound, one sample after another.
std::vector<std::int16_t> sound_of(const std::string& path) {
  const std::string bytes = output_of("ffmpeg -nostdin -v error -i " + quoted(path) +
                                      " -vn -f s16le -ac 2 -ar 48000 - 2>/dev/null");
  std::vector<std::int16_t> samples(bytes.size() / sizeof(std::int16_t));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int16_t));
  return samples;
}

// Of a part of the sound, in dB.
double likeness_of(const std::int16_t* made, const std::int16_t* expected) {
  double power = 0.0;
  double difference = 0.0;
  for (std::size_t i = 0; i < part_samples; ++i) {
    power += double(expected[i]) * expected[i];
    difference += double(made[i] - expected[i]) * (made[i] - expected[i]);
  }
  power = std::max(power, part_samples * least_power);
  return difference > 0.0 ? std::min(most_likeness, 10.0 * std::log10(power / difference))
                          : most_likeness;
}

// At the best place near the one where it belongs.
double likeness_nearby(const std::int16_t* made, const std::int16_t* expected) {
  double best = likeness_of(made, expected);
  for (std::size_t shift = 2; shift <= most_shift && best < least_sound_likeness; shift += 2) {
    best =
        std::max({best, likeness_of(made + shift, expected), likeness_of(made - shift, expected)});
  }
  return best;
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

double worst_psnr(const std::string& path, const std::string& reference) {
  const std::string text = output_of("ffmpeg -nostdin -hide_banner -i " + quoted(path) + " -i " +
                                     quoted(reference) + " -lavfi psnr -xerror -f null - 2>&1");
  const std::size_t at = text.find(" min:");
  if (at == std::string::npos) { return 0.0; }
  return text.compare(at + 5, 3, "inf") == 0 ? most_likeness : std::atof(text.c_str() + at + 5);
}

double worst_sound_likeness(const std::string& path, const std::string& reference) {
  const std::vector<std::int16_t> made = sound_of(path);
  const std::vector<std::int16_t> expected = sound_of(reference);
  const std::size_t shorter = std::min(made.size(), expected.size());
  const std::size_t longer = std::max(made.size(), expected.size());
  if (longer == 0) { return most_likeness; }
  if (shorter == 0 || longer - shorter > packet_samples) { return -most_likeness; }
  double worst = most_likeness;
  double before = most_likeness;
  for (std::size_t at = most_shift; at + part_samples + most_shift <= shorter; at += part_samples) {
    const double now = likeness_nearby(made.data() + at, expected.data() + at);
    worst = std::min(worst, std::max(before, now));
    before = now;
  }
  return worst;
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
