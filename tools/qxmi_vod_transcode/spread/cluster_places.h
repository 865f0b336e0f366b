// How much a cluster could do just now.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/media/tool_config.h"

struct cluster_places {
  int count = 0;                   // tasks that could begin at once, or are there already
  std::vector<std::string> nodes;  // that may take tasks, now or later
};

// Asks the cluster for the places that the settings allow for the tasks of the jobs `name`. Those
// that others wait for are not free. Nothing with the cause if that cannot be found out; the cause
// is empty if the tool is asked to stop.
std::optional<cluster_places> ask_for_places(const tool_config& config, const std::string& name,
                                             std::string& cause);
