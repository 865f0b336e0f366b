// qxmi_vod_transcode: lists what can be made of a media file, and makes it.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "tools/command_line/command_line.h"
#include "tools/command_line/option_parser.h"
#include "tools/job_log/job_log.h"
#include "tools/job_log/job_log_file.h"
#include "tools/media/profiles.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/quote.h"
#include "tools/qxmi_vod_transcode/segment_key.h"
#include "tools/qxmi_vod_transcode/source_media.h"
#include "tools/qxmi_vod_transcode/spread/range_task.h"
#include "tools/qxmi_vod_transcode/transcode.h"

namespace {

const std::string tool_name = "qxmi_vod_transcode";

struct command_line {
  bool quote = false;
  int max_height = 0;
  std::string format = "mp4";
  transcode_options job;
  std::string work_folder;
  int task = -1;
  bool engine = false;
};

void define_options(option_parser& parser, command_line& line) {
  parser.add_option("--file", line.job.input, "Media file to read");
  const declared_option quote =
      parser.add_flag("--quote", line.quote, "List the profiles that the file offers");
  parser.add_option("--height", line.max_height, "List no profiles above this number of lines")
      .in_range(1, std::numeric_limits<int>::max())
      .needs(quote);
  parser.add_option("-d", line.job.level, "Priority: 0 normal, 1 to 6 low, 7 only when idle")
      .in_range(0, 7);
  parser.add_option("--cpu-cap", line.job.cpu_cap, "Percent of all processors to use; 0: no limit")
      .in_range(0, 100);
  parser.add_option("--max-threads", line.job.max_threads, "Maximum number of encoder threads")
      .in_range(1, 1024);
  parser
      .add_option("--profile", line.job.profile,
                  "Encoding profile, one of those that --quote lists")
      .excludes(quote);
  parser.add_option("-f", line.format, "Output format").one_of({"mp4"});
  parser.add_option("-o", line.job.output, "File to create").excludes(quote);
  const declared_option task =
      parser.add_option("--task", line.task, "Number of a range of segments")
          .in_range(0, std::numeric_limits<int>::max())
          .hidden();
  parser.add_option("--work", line.work_folder, "Folder of segments, on a node of a cluster")
      .hidden()
      .needs(task)
      .excludes(quote);
  parser.add_flag("--engine", line.engine, "Print what all nodes of a cluster must have").hidden();
}

int quote_source(const command_line& line) {
  source_media media;
  std::string error;
  if (!read_source_media(line.job.input, source_parts::picture_and_sound, media, error)) {
    // A user who stopped the tool needs no reason.
    return stop_signal() != 0 ? exit_failure : report_failure(tool_name, line.job.input, error);
  }
  std::fputs(quote_text(media, line.max_height).c_str(), stdout);
  return std::fflush(stdout) == 0
             ? exit_success
             : report_failure(tool_name, "standard output", std::strerror(errno));
}

int print_engine() {
  std::fputs(installed_engine().c_str(), stdout);
  return std::fflush(stdout) == 0
             ? exit_success
             : report_failure(tool_name, "standard output", std::strerror(errno));
}

int run(int argc, char** argv) {
  program_parser parser(tool_name, "Transcodes media files for video on demand.");
  command_line line;
  define_options(parser, line);
  const int status = parser.parse(argc, argv);
  if (status != keep_going) { return status; }
  if (!line.work_folder.empty()) { return make_range(line.work_folder, line.task); }
  if (line.engine) { return print_engine(); }
  if (line.job.input.empty()) { return report_usage(tool_name, "--file is required"); }
  const std::string& logged = line.quote ? line.job.input : line.job.output;
  open_job_log(tool_name, metadata_folder_of(logged), line.job.input, {argc, argv});
  if (line.quote) { return quote_source(line); }
  if (line.job.output.empty()) { return report_usage(tool_name, "-o is required"); }
  const bool known = line.job.profile == sound_profile || profile_height(line.job.profile) > 0;
  if (!known) { return report_usage(tool_name, "no such profile: \"" + line.job.profile + "\""); }
  return transcode(tool_name, line.job);
}

}  // namespace

int main(int argc, char** argv) {
  if (!catch_tool_signals()) {
    std::perror("qxmi_vod_transcode: signals");
    return exit_failure;
  }
  return end_of_tool(run(argc, argv));
}
