// The cluster that makes long transcodes.
#pragma once

#include <string>

#include "tools/media/tool_config.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

// Looks at munge, the controller and the nodes. Has each idle node report its clock, its versions
// and whether it can make files in `folder`, in a folder that is made there for that purpose; takes
// at most a minute. No findings unless `config` names a cluster.
finding_list check_cluster(const tool_config& config, const std::string& folder);

// Judges the nodes that sinfo lists.
finding judge_nodes(const std::string& listing, const tool_config& config);
