// The nodes of a Slurm cluster, as sinfo lists them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// A command of Slurm, by name, as an argument vector for child_process. It gets SLURM_CONF of this
// process, which names another settings file than /etc/slurm/slurm.conf, if that is set.
std::vector<std::string> slurm_command(const std::string& program,
                                       const std::vector<std::string>& arguments);

struct slurm_node {
  std::string partition;
  bool of_default_partition = false;
  std::string name;
  std::string state;        // in sinfo's short form: "idle", "mix", "alloc", "down", "drain", ...
  bool answers = true;      // the controller hears of it
  bool is_marked = false;   // not to be used just now: switched off, starting, reserved, ...
  int idle_processors = 0;  // that no job has

  bool takes_jobs() const { return answers && !is_marked && (state == "idle" || state == "mix"); }

  // Now, or as soon as others have done.
  bool may_take_jobs() const {
    return answers && (state == "idle" || state == "mix" || state == "alloc" || state == "comp");
  }
};

// Lists the nodes of all partitions, a line for each node and partition.
std::vector<std::string> node_listing();

// Reads what that command prints. Keeps the nodes of `partition`, or of the cluster's default
// partition if it is empty. Other lines are ignored.
std::vector<slurm_node> read_nodes(std::string_view text, const std::string& partition);

// How many tasks with `processors` each could begin at once.
int free_places(const std::vector<slurm_node>& nodes, int processors);
