// The service itself: its socket, its answer, the age of what it has read.
#pragma once

#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/doctor/finding.h"
#include "tools/qx_vod_ctl/doctor/service_process.h"
#include "tools/qx_vod_ctl/text_file.h"

// Looks at the socket, asks the service behind it and looks through its queue.
finding_list check_service(vod_service& service, const std::string& socket_path);

// Who may use the control socket, and so have sources deleted.
finding check_socket(const std::string& socket_path);

// Whether the service has read the configuration as it stands, and is the program that is
// installed.
finding_list judge_process(const service_process& process, const text_file& configuration);

// A warning for each remote job that waits for somebody's doing.
finding_list check_held_jobs(vod_service& service);
