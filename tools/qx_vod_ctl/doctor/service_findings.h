// Checks the service: its socket, its answer, and whether it is up to date with its files.
#pragma once

#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/doctor/finding.h"
#include "tools/qx_vod_ctl/doctor/service_process.h"
#include "tools/qx_vod_ctl/text_file.h"

// Checks the socket, the service's answer and its queue.
finding_list check_service(vod_service& service, const std::string& socket_path);

// Who may use the control socket, and so have sources deleted.
finding check_socket(const std::string& socket_path);

// Whether the service has read the current configuration, and is the installed program.
finding_list judge_process(const service_process& process, const text_file& configuration);

// A warning for each remote job that needs an operator's action.
finding_list check_held_jobs(vod_service& service);
