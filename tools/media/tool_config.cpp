#include "tools/media/tool_config.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tools/job_log/job_log.h"
#include "tools/job_log/one_line.h"
#include "tools/media/settings_text.h"

namespace {

constexpr std::size_t longest_file = 65536;  // bytes

void declare_settings(settings_text& settings, tool_config& config) {
  settings.add_number("stall.seconds", config.stall_seconds, 1, 86400);
  settings.add_number("length.max_hours", config.longest_hours, 1, 10000);
  settings.add_switch("checkpoint", config.checkpoint);
  settings.add_number("checkpoint.keep_days", config.checkpoint_keep_days, 0, 365);
  settings.add_number("checkpoint.segment_seconds", config.segment_seconds, 2, 600);
  settings.add_number("checkpoint.min_seconds", config.checkpoint_min_seconds, 1, 86400);
  settings.add_number("checkpoint.runs", config.checkpoint_runs, 0, 64);
  settings.add_choice("spread", config.spread, {"none", "slurm"});
  settings.add_name("spread.partition", config.spread_partition);
  settings.add_number("spread.nodes", config.spread_nodes, 0, 10000);
  settings.add_number("spread.cpus", config.spread_cpus, 1, 1024);
  settings.add_number("spread.min_length", config.spread_min_length, 60, 86400);
  settings.add_number("spread.patience", config.spread_patience, 10, 86400);
}

// Opened non-blocking: a FIFO in place of the file would block the tool indefinitely.
bool read_file(const std::string& path, std::string& text) {
  const unique_fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status = {};
  if (!file.valid() || fstat(file.get(), &status) != 0) { return false; }
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return false;
  }
  return read_all(file.get(), longest_file, text);
}

tool_config read_and_report() {
  std::vector<std::string> warnings;
  tool_config config = read_tool_config(media_conf_path(), warnings);
  for (const std::string& warning : warnings) {
    const std::string line = on_one_line(warning);
    std::fprintf(stderr, "%s\n", line.c_str());
    log_note("settings", line);
  }
  return config;
}

}  // namespace

std::string media_conf_path() {
  const char* const other = std::getenv("QX_MEDIA_CONF");
  return other != nullptr ? other : path_media_conf;
}

tool_config read_tool_config(const std::string& path, std::vector<std::string>& warnings) {
  tool_config config;
  std::string text;
  if (!read_file(path, text)) {
    if (errno != ENOENT) { warnings.push_back(path + ": " + std::strerror(errno)); }
    return config;
  }
  settings_text settings;
  declare_settings(settings, config);
  for (const std::string& warning : settings.read(text)) {
    warnings.push_back(std::string(path).append(": ").append(warning));
  }
  return config;
}

const tool_config& configured() {
  static const tool_config config = read_and_report();
  return config;
}
