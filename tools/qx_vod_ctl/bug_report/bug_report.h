// Collects the parts of a bug report about one job and its machine.
#pragma once

#include <ctime>
#include <string>

#include <json11.hpp>

#include "tools/qx_vod_ctl/bug_report/report_parts.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

// The answers of the service, collected before the machine is examined.
struct reported_item {
  json11::Json json;
  bool stored = false;  // it is the queue file's, since there is no service
  finding_list findings;
};

// Adds all parts: the item, its status files, probes of source and output, versions, configuration
// and findings. The probes take up to two minutes; ends early if the client is asked to stop.
void add_all_parts(const reported_item& item, report_parts& parts);

// The passwords that the configuration file holds, in whatever line.
secret_mask configured_secrets();

// "qx_vod_report-12345678-20260131-235959": of the item's id, with nothing in it but letters,
// digits and dashes, and the moment in UTC.
std::string report_name(const std::string& entry_id, std::time_t now);
