// What goes into a bug report about one item.
#pragma once

#include <ctime>
#include <string>

#include <json11.hpp>

#include "tools/qx_vod_ctl/bug_report/report_parts.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

// What was asked of the service, before anything of the machine was looked at.
struct reported_item {
  json11::Json json;
  bool stored = false;  // it is the queue file's, since there is no service
  finding_list findings;
};

// Adds all parts: the item, its status files, probes of source and output, versions, configuration
// and findings. Takes up to two minutes for the probes; ends early when the client is asked to
// stop.
void add_all_parts(const reported_item& item, report_parts& parts);

// The passwords that the configuration file holds, in whatever line.
secret_mask configured_secrets();

// "qx_vod_report-12345678-20260131-235959": of the item's id, with nothing in it but letters,
// digits and dashes, and the moment in UTC.
std::string report_name(const std::string& entry_id, std::time_t now);
