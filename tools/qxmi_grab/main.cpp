// qxmi_grab: one JPEG out of a media file.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "platform/metadata_v4.h"
#include "tools/command_line/command_line.h"
#include "tools/command_line/option_parser.h"
#include "tools/job_log/job_log.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_grab/grab.h"
#include "tools/qxmi_grab/picture_shape.h"

namespace {

const std::string tool_name = "qxmi_grab";

struct command_line {
  bool jpeg = false;
  bool keep_aspect_ratio = false;
  bool no_uid = false;
  std::string height = std::to_string(default_height);
  std::string moment = "random";
  grab_options job;
};

void define_options(option_parser& parser, command_line& line) {
  parser.add_option("--file", line.job.input, "Media file to read");
  parser.add_option("-o", line.job.output, "Picture file to create");
  parser.add_flag("--jpeg", line.jpeg, "Create a JPEG (the only format)");
  parser
      .add_option("--jpeg-quality", line.job.quality,
                  "From 1 (smallest file) to 100 (best quality)")
      .in_range(1, 100);
  parser.add_option("--height", line.height, "Height in lines, at most that of the source");
  parser.add_flag("--keep-aspect-ratio", line.keep_aspect_ratio,
                  "Keep the aspect ratio (always done)");
  parser.add_flag("--clip-aspect-ratio", line.job.clip, "Crop the picture to 16:9");
  parser.add_option("-t", line.moment, "Time in seconds, or \"random\" for a good frame");
  parser.add_flag("--no-uid", line.no_uid, "Do not add an id to the file name (never done)");
}

// "random" or a number of seconds.
bool read_moment(const std::string& text, std::optional<double>& moment) {
  if (text == "random") { return true; }
  char* end = nullptr;
  const double seconds = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !std::isfinite(seconds) || seconds < 0.0) { return false; }
  moment = seconds;
  return true;
}

// A thumbnail is made in the metadata directory of its film, and the film's log is there.
std::string log_folder(const std::string& output) {
  const std::string folder = std::filesystem::path(output).parent_path().string();
  return metadata_v4_context_is_metadata_name(folder.c_str()) ? folder : "";
}

int run(int argc, char** argv) {
  program_parser parser(tool_name,
                        "Extracts a picture from a video, or draws the waveform of an audio file.");
  command_line line;
  define_options(parser, line);
  const int status = parser.parse(argc, argv);
  if (status != keep_going) { return status; }
  if (line.job.input.empty()) { return report_usage(tool_name, "--file is required"); }
  if (line.job.output.empty()) { return report_usage(tool_name, "-o is required"); }
  if (!read_moment(line.moment, line.job.moment)) {
    return report_usage(tool_name, "-t: neither seconds nor \"random\": \"" + line.moment + "\"");
  }
  open_job_log(tool_name, log_folder(line.job.output), line.job.input, {argc, argv});
  line.job.height = height_from_text(line.height);
  return grab(tool_name, line.job);
}

}  // namespace

int main(int argc, char** argv) {
  if (!catch_tool_signals()) {
    std::perror("qxmi_grab: signals");
    return exit_failure;
  }
  return end_of_tool(run(argc, argv));
}
