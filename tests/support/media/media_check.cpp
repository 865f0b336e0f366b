#include "tests/support/media/media_check.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

namespace qx_test {
namespace {

// The names come from the test's own folder, so quoting for the shell is simple.
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

// The pts_time of each frame whose value is above `threshold` while the previous one's was not,
// from the output of the metadata filters: a line "frame:N pts:P pts_time:T", then a line
// "key=value".
std::vector<double> times_above(const std::string& report, double threshold) {
  std::istringstream stream(report);
  std::vector<double> times;
  double time = -1.0;
  bool above = false;
  for (std::string line; std::getline(stream, line);) {
    const std::size_t at = line.find("pts_time:");
    const std::size_t equals = line.find('=');
    if (at != std::string::npos) {
      time = std::atof(line.c_str() + at + 9);
    } else if (equals != std::string::npos) {
      const bool now = std::atof(line.c_str() + equals + 1) > threshold;
      if (now && !above) { times.push_back(time); }
      above = now;
    }
  }
  return times;
}

double first_of(const std::vector<double>& times) {
  return times.empty() ? -1.0 : times.front();
}

std::string brightness_report(const std::string& path, const std::string& before) {
  return filtered(path, "-an -vf " + before +
                            ",signalstats,metadata=print:key=lavfi.signalstats.YAVG:file=-");
}

std::string level_report(const std::string& path, const std::string& before) {
  return filtered(path, "-vn -af '" + before +
                            ",asetnsamples=480,astats=metadata=1:reset=1,"
                            "ametadata=print:key=lavfi.astats.Overall.RMS_level:file=-'");
}

// The last value in the statistics of the whole sound.
double statistic(const std::string& path, const std::string& before, const std::string& name) {
  const std::string report =
      filtered(path, "-vn -af 'aformat=sample_fmts=flt,atrim=start=0.25,asetpts=N/SR/TB,areverse,"
                     "atrim=start=0.25,asetpts=N/SR/TB," +
                         before + ",astats=metadata=1,ametadata=print:key=lavfi.astats.Overall." +
                         name + ":file=-'");
  const std::size_t equals = report.rfind('=');
  return equals == std::string::npos ? 0.0 : std::atof(report.c_str() + equals + 1);
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
    if (stream["codec_type"].string_value() == kind) { return stream; }
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
    if (!line.empty()) { times.push_back(std::atof(line.c_str())); }
  }
  return times;
}

bool index_in_front(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  return bytes.find("moov") < bytes.find("mdat");
}

double first_bright_time(const std::string& path, const std::string& before) {
  return first_of(times_above(brightness_report(path, before), 128.0));
}

double first_loud_time(const std::string& path, const std::string& before) {
  return first_of(times_above(level_report(path, before), -30.0));
}

std::vector<double> bright_times(const std::string& path) {
  return times_above(brightness_report(path, "null"), 128.0);
}

std::vector<double> loud_times(const std::string& path, const std::string& before) {
  return times_above(level_report(path, before), -30.0);
}

double loudness(const std::string& path, const std::string& before) {
  return statistic(path, before, "RMS_level");
}

double peak_level(const std::string& path) {
  return statistic(path, "anull", "Peak_level");
}

int combed_frames(const std::string& path) {
  std::istringstream stream(filtered(path, "-an -vf idet,metadata=print:"
                                           "key=lavfi.idet.multiple.current_frame:file=-"));
  int combed = 0;
  for (std::string line; std::getline(stream, line);) {
    const std::string value = line.substr(line.find('=') + 1);
    if (value == "tff" || value == "bff") { ++combed; }
  }
  return combed;
}

}  // namespace qx_test
