#include "tools/qxmi_vod_transcode/spread/cluster_places.h"

#include <algorithm>

#include "tools/media/slurm_nodes.h"
#include "tools/qxmi_vod_transcode/spread/slurm_client.h"
#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"

namespace {

// What a command of Slurm prints; nothing, with the cause unless the tool is asked to stop, if it
// fails.
std::optional<std::string> output_of(const std::vector<std::string>& command, std::string& cause) {
  slurm_call call;
  call.start(command, answer_limit);
  if (!ended_before_stop(call)) { return {}; }
  if (call.success()) { return call.output(); }
  cause = call.cause();
  return {};
}

std::vector<std::string> names_of(const std::vector<slurm_node>& nodes) {
  std::vector<std::string> names;
  for (const slurm_node& node : nodes) {
    if (node.may_take_jobs()) { names.push_back(node.name); }
  }
  return names;
}

}  // namespace

std::optional<cluster_places> ask_for_places(const tool_config& config, const std::string& name,
                                             std::string& cause) {
  const auto own = output_of(task_listing(name), cause);
  const auto listing = own ? output_of(node_listing(), cause) : own;
  if (!listing) { return {}; }
  const std::vector<slurm_node> nodes = read_nodes(*listing, config.spread_partition);
  if (nodes.empty()) { return cluster_places{}; }
  const auto waiting = output_of(waiting_listing(nodes.front().partition), cause);
  if (!waiting) { return {}; }
  const int processors = config.spread_cpus;
  const int wanted = processors_waited_for(*waiting, name);
  const int taken = wanted / processors + (wanted % processors > 0 ? 1 : 0);
  cluster_places places;
  places.nodes = names_of(nodes);
  places.count = std::max(0, free_places(nodes, processors) - taken) +
                 static_cast<int>(read_tasks(*own).size());
  if (config.spread_nodes > 0) { places.count = std::min(places.count, config.spread_nodes); }
  return places;
}
