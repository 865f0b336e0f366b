// The checks run in the order in which their problems are best fixed.
#include "tools/qx_vod_ctl/doctor/doctor.h"

#include <unistd.h>

#include "platform/paths.h"
#include "platform/transcode_settings.h"
#include "tools/media/tool_config.h"
#include "tools/media/tool_signals.h"
#include "tools/qx_vod_ctl/doctor/cluster.h"
#include "tools/qx_vod_ctl/doctor/configuration.h"
#include "tools/qx_vod_ctl/doctor/engine_parts.h"
#include "tools/qx_vod_ctl/doctor/engine_sandbox.h"
#include "tools/qx_vod_ctl/doctor/left_metadata.h"
#include "tools/qx_vod_ctl/doctor/left_overs.h"
#include "tools/qx_vod_ctl/doctor/machine.h"
#include "tools/qx_vod_ctl/doctor/media_settings.h"
#include "tools/qx_vod_ctl/doctor/own_files.h"
#include "tools/qx_vod_ctl/doctor/programs.h"
#include "tools/qx_vod_ctl/doctor/remote_server.h"
#include "tools/qx_vod_ctl/doctor/service_findings.h"

namespace {

// Without the slash at its end, as paths of media in it are put together.
constexpr const char* vod_folder = "/mnt/main/tv/vod";

finding_list check_user() {
  if (geteuid() == 0) { return {}; }
  return {warning("user", "not run as root: checks that need root are incomplete",
                  "run it again as root")};
}

}  // namespace

// The service is asked first: until it answers, signals end this process as they always do.
finding_list examine(vod_service& service, bool fix) {
  finding_list findings = check_user();
  append(findings, check_service(service, path_control_socket));
  append(findings, check_left_metadata(service, vod_folder, fix));
  const text_file file = read_configuration_file();
  append(findings, check_configuration(file));
  append(findings, check_media_settings(media_conf_path()));
  append(findings, check_machine());
  append(findings, check_own_files());
  findings.push_back(check_left_overs(path_output_dir, fix));
  std::vector<std::string> ignored;  // check_media_settings() reports them
  const tool_config config = read_tool_config(media_conf_path(), ignored);
  findings.push_back(check_left_segments(path_output_dir, fix, config.checkpoint_keep_days,
                                         is_nearly_full(path_output_dir)));
  findings.push_back(check_left_logins(fix));
  class transcode_settings settings;
  // If the name belongs to something else, such as a FIFO, reading it could block forever.
  if (file.read()) { settings.vod_conf_load(); }
  append(findings, check_programs(settings.go_remote()));
  catch_tool_signals();
  append(findings, check_engine());
  append(findings, check_sandbox());
  append(findings, check_cluster(config, vod_folder));
  if (settings.go_remote()) { append(findings, check_remote_server(settings)); }
  return findings;
}
