// qxmi_startitem: finds out what a file is and writes its metadata.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#include "platform/metadata_v4.h"
#include "tools/command_line/command_line.h"
#include "tools/command_line/option_parser.h"
#include "tools/job_log/job_log.h"
#include "tools/job_log/job_log_file.h"
#include "tools/media/identify.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_startitem/item_metadata.h"

namespace {

const std::string tool_name = "qxmi_startitem";

struct command_line {
  bool daemon = false;
  bool identify = false;
  bool create_meta = false;
  std::string file;
};

// The caller waits for the tool and checks its exit status, so it never goes to the background.
constexpr const char* daemon_help = "Ignored; the tool never goes to the background";

void define_options(option_parser& parser, command_line& line) {
  parser.add_option("--file", line.file, "File to identify");
  parser.add_flag("--identify", line.identify, "Identify the file");
  parser.add_flag("--create-meta", line.create_meta, "Write its metadata instead of printing them");
  parser.add_flag("--daemon", line.daemon, daemon_help);
}

bool print_entries(const std::vector<item_entry>& entries) {
  for (const item_entry& entry : entries) {
    if (!entry.value.empty()) { std::printf("%s=%s\n", entry.name, entry.value.c_str()); }
  }
  return std::fflush(stdout) == 0;
}

// The metadata belongs to the given name, even if that is a symbolic link.
std::string absolute(const std::string& path) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(path, error);
  return error ? path : whole.string();
}

int fail(const std::string& file, const std::string& cause) {
  // A user who stopped the tool needs no reason.
  return stop_signal() != 0 ? exit_failure : report_failure(tool_name, file, cause);
}

int list(const std::string& file) {
  std::vector<item_entry> entries;
  std::string error;
  if (!identify(file, entries, error)) { return fail(file, error); }
  return print_entries(entries) ? exit_success : fail("standard output", std::strerror(errno));
}

int write_metadata(const std::string& file) {
  const std::string path = absolute(file);
  if (metadata_v4_context_is_metadata_name(path.c_str())) {
    return fail(file, "is itself a metadata file");
  }
  std::vector<item_entry> entries;
  std::string error;
  if (!identify(path, entries, error)) { return fail(file, error); }
  read_tool_signals();
  if (stop_signal() != 0) { return exit_failure; }
  item_metadata metadata;
  const bool written =
      metadata.load(path, error) && metadata.set(entries, error) && metadata.save(error);
  return written ? exit_success : fail(file, error);
}

// The metadata is made here, and the reason why it could not be belongs in its place. A file that
// is not there gets none.
void open_log(const std::string& file, process_arguments arguments) {
  if (metadata_v4_context_is_metadata_name(absolute(file).c_str())) { return; }
  if (access(file.c_str(), F_OK) != 0) { return; }
  open_job_log_and_folder(tool_name, metadata_folder_of(file), file, arguments);
}

int run(int argc, char** argv) {
  program_parser parser(tool_name, "Identifies a file and writes its metadata.");
  command_line line;
  define_options(parser, line);
  const int status = parser.parse(argc, argv);
  if (status != keep_going) { return status; }
  if (line.file.empty()) { return report_usage(tool_name, "--file is required"); }
  if (!line.identify) { return report_usage(tool_name, "--identify is required"); }
  if (!line.create_meta) { return list(line.file); }
  open_log(line.file, {argc, argv});
  return write_metadata(line.file);
}

}  // namespace

int main(int argc, char** argv) {
  if (!catch_tool_signals()) {
    std::perror("qxmi_startitem: signals");
    return exit_failure;
  }
  return end_of_tool(run(argc, argv));
}
