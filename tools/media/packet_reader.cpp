#include "tools/media/packet_reader.h"

#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>

#include "tools/media/engine.h"
#include "tools/media/time_budget.h"

namespace {

double seconds(std::istringstream& fields) {
  std::string field;
  std::getline(fields, field, ',');
  char* end = nullptr;
  const double value = std::strtod(field.c_str(), &end);
  return end == field.c_str() ? std::numeric_limits<double>::quiet_NaN() : value;
}

}  // namespace

program_request packet_request(const source_file& source, const probe_depth& depth) {
  program_request request = confined_request(ffprobe_command(), source);
  request.argv.insert(request.argv.end(),
                      {"-of", "csv=p=0", "-show_entries",
                       "packet=stream_index,pts_time,dts_time,duration_time,flags"});
  add_input(request.argv, source.url(), {}, depth);
  set_budget(request, reading_budget(source.data_size()));
  return request;
}

void packet_reader::on_line(std::string_view line) {
  std::istringstream fields{std::string(line)};
  std::string stream;
  if (!std::getline(fields, stream, ',') || stream.empty()) { return; }
  packet_times packet{};
  packet.shown = seconds(fields);
  packet.decoded = seconds(fields);
  packet.duration = seconds(fields);
  std::string flags;
  if (std::getline(fields, flags, ',') && flags.find('D') != std::string::npos) { return; }
  timeline_.add(std::atoi(stream.c_str()), packet);
}

bool packet_reader::on_tick(const child_process&, bool) {
  return false;
}
