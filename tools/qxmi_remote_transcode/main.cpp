// qxmi_remote_transcode: sends a file to the server that is to transcode it.
#include <cstdio>

#include "platform/transcode_settings.h"
#include "tools/command_line/command_line.h"
#include "tools/command_line/option_parser.h"
#include "tools/job_log/job_log.h"
#include "tools/job_log/job_log_file.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_remote_transcode/put_command.h"
#include "tools/qxmi_remote_transcode/upload.h"

namespace {

const std::string tool_name = "qxmi_remote_transcode";

int run(int argc, char** argv) {
  program_parser parser(tool_name,
                        "Sends a file to the transcode server that /mnt/main/tv/vod.conf names.");
  std::string name;
  std::string file;
  parser.add_option("NAME", name, "Name of the file on the server");
  parser.add_option("FILE", file, "File to send");
  const int status = parser.parse(argc, argv);
  if (status != keep_going) { return status; }
  if (name.empty() || file.empty()) {
    return report_usage(tool_name, "NAME and FILE are required");
  }
  if (!is_upload_name(name)) {
    return report_usage(tool_name, "not allowed as a name on the server: \"" + name + "\"");
  }
  transcode_settings.vod_conf_load();
  hide_in_job_log(transcode_settings.password);
  open_job_log(tool_name, metadata_folder_of(file), file, {argc, argv});
  return upload(tool_name, transcode_settings, name, file);
}

}  // namespace

int main(int argc, char** argv) {
  if (!catch_tool_signals()) {
    std::perror("qxmi_remote_transcode: signals");
    return exit_failure;
  }
  return end_of_tool(run(argc, argv));
}
