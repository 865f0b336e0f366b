// What ffprobe and ffmpeg find in a file.
#include "tests/support/media/media_check.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

namespace qx_test {
namespace {

// The names are those of a test's own folder, so a shell with quotes will do.
std::string output_of(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "re"), pclose);
  std::string text;
  char buffer[4096];
  std::size_t count = 0;
  while (pipe && (count = fread(buffer, 1, sizeof buffer, pipe.get())) > 0) {
    text.append(buffer, count);
  }
  return text;
}

std::string quoted(const std::string& path) {
  std::string result = "'file:";
  for (const char character : path) {
    if (character == '\'') {
      result += "'\\''";
    } else {
      result += character;
    }
  }
  return result + "'";
}

std::string filtered(const std::string& path, const std::string& filters) {
  return output_of("ffmpeg -nostdin -v error -i " + quoted(path) + " " + filters + " -f null -");
}

// The pts_time of the first frame whose value is above `threshold`, in the form of the metadata
// filters: a line "frame:N pts:P pts_time:T", then a line "key=value".
double first_time_above(const std::string& report, double threshold) {
  std::istringstream stream(report);
  double time = -1.0;
  for (std::string line; std::getline(stream, line);) {
    const std::size_t at = line.find("pts_time:");
    const std::size_t equals = line.find('=');
    if (at != std::string::npos) {
      time = std::atof(line.c_str() + at + 9);
    } else if (equals != std::string::npos && std::atof(line.c_str() + equals + 1) > threshold) {
      return time;
    }
  }
  return -1.0;
}

}  // namespace

json11::Json inspect(const std::string& path) {
  std::string error;
  return json11::Json::parse(output_of("ffprobe -v error -of json -show_format -show_streams "
                                       "-count_frames -i " +
                                       quoted(path)),
                             error);
}

json11::Json stream_of(const json11::Json& report, std::string_view kind) {
  for (const json11::Json& stream : report["streams"].array_items()) {
    if (stream["codec_type"].string_value() == kind) return stream;
  }
  return {};
}

double number(const json11::Json& value) {
  return std::atof(value.string_value().c_str());
}

std::vector<double> key_frame_times(const std::string& path) {
  std::istringstream stream(output_of("ffprobe -v error -of csv=p=0 -select_streams v:0 "
                                      "-skip_frame nokey -show_entries frame=pts_time -i " +
                                      quoted(path)));
  std::vector<double> times;
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty()) times.push_back(std::atof(line.c_str()));
  }
  return times;
}

bool index_in_front(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  return bytes.find("moov") < bytes.find("mdat");
}

double first_bright_time(const std::string& path, const std::string& before) {
  const std::string filters = before + ",signalstats,metadata=print:"
                                       "key=lavfi.signalstats.YAVG:file=-";
  return first_time_above(filtered(path, "-an -vf " + filters), 128.0);
}

double first_loud_time(const std::string& path, const std::string& before) {
  const std::string filters = before + ",asetnsamples=480,astats=metadata=1:reset=1,"
                                       "ametadata=print:"
                                       "key=lavfi.astats.Overall.RMS_level:file=-";
  return first_time_above(filtered(path, "-vn -af " + filters), -30.0);
}

int combed_frames(const std::string& path) {
  std::istringstream stream(filtered(path, "-an -vf idet,metadata=print:"
                                           "key=lavfi.idet.multiple.current_frame:file=-"));
  int combed = 0;
  for (std::string line; std::getline(stream, line);) {
    const std::string value = line.substr(line.find('=') + 1);
    if (value == "tff" || value == "bff") ++combed;
  }
  return combed;
}

}  // namespace qx_test
