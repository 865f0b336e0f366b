#include "tools/qx_vod_ctl/doctor/media_settings.h"

#include <unistd.h>

#include "tools/job_log/one_line.h"
#include "tools/media/tool_config.h"

finding_list check_media_settings(const std::string& path) {
  constexpr const char* check = "media settings";
  if (access(path.c_str(), F_OK) != 0) { return {}; }
  std::vector<std::string> warnings;
  read_tool_config(path, warnings);
  finding_list findings;
  for (const std::string& text : warnings) {
    findings.push_back(
        warning(check, on_one_line(text), "correct it; media.conf(5) describes the settings"));
  }
  if (findings.empty()) { findings.push_back(fine(check, path)); }
  return findings;
}
