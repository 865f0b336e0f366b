#include "tools/qx_vod_ctl/doctor/cluster.h"

#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

#include "platform/unique_fd.h"
#include "tools/job_log/one_line.h"
#include "tools/media/engine.h"
#include "tools/media/process_runner.h"
#include "tools/media/segment_folder.h"
#include "tools/media/slurm_nodes.h"
#include "tools/qx_vod_ctl/doctor/name_list.h"
#include "tools/qx_vod_ctl/doctor/node_answers.h"

namespace {

// The clients of a controller that is down give up after 9 s.
constexpr std::chrono::seconds listing_limit{15};
constexpr std::chrono::seconds asking_limit{30};

constexpr const char* tool_path = "/usr/bin/qxmi_vod_transcode";

// A sum of what the transcoder compares of ffmpeg before it works on a node.
constexpr const char* parts_question = "/usr/bin/qxmi_vod_transcode --engine 2>/dev/null | cksum";

// Prints one line about a node; see node_answers.h. Its arguments are the folder that it shall see
// and the question above.
constexpr const char* question =
    "access=; [ -d \"$1\" ] && access=seen;"
    " touch \"$1/$SLURMD_NODENAME\" 2>/dev/null && rm \"$1/$SLURMD_NODENAME\" && access=written;"
    " printf '%s|%s|%s|%s|%s|%s\\n' \"$SLURMD_NODENAME\" \"$(date +%s)\""
    " \"$(/usr/bin/qxmi_vod_transcode --version 2>/dev/null | head -n 1)\""
    " \"$(/usr/bin/ffmpeg -version 2>/dev/null | head -n 1)\" \"$(sh -c \"$2\")\" \"$access\"";

program_result run(const std::vector<std::string>& argv, std::chrono::seconds limit) {
  program_request request;
  request.argv = argv;
  request.time_limit = limit;
  return run_program(request);
}

std::string first_line_of(const std::vector<std::string>& command) {
  const std::string output = run(command, listing_limit).output;
  return output.substr(0, output.find('\n'));
}

finding check_munge() {
  const program_result result = run({"/usr/bin/munge", "--no-input"}, listing_limit);
  if (result.success()) { return fine("munge", "issues credentials"); }
  return problem("munge", on_one_line(result.cause()),
                 "apt-get install munge, copy the cluster's /etc/munge/munge.key, and start it");
}

// A folder that exists as long as this object, private as those of segments are.
class probe_folder {
public:
  explicit probe_folder(const std::string& parent)
      : parent_(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
        path_(parent + "/.qx-doctor-XXXXXX") {
    made_ = parent_.valid() && mkdtemp(path_.data()) != nullptr;
  }
  // With the files of nodes that have not ended their test.
  ~probe_folder() {
    if (made_) { remove_run_folder(parent_.get(), path_.substr(path_.rfind('/') + 1)); }
  }
  probe_folder(const probe_folder&) = delete;
  probe_folder& operator=(const probe_folder&) = delete;

  bool made() const { return made_; }
  const std::string& path() const { return path_; }

private:
  unique_fd parent_;
  std::string path_;
  bool made_ = false;
};

std::vector<std::string> asking_command(const std::string& partition, int nodes,
                                        const std::string& probe) {
  const std::string count = std::to_string(nodes);
  std::vector<std::string> options = {
      "--quiet",  "--immediate=10", "--nodes=" + count, "--ntasks=" + count, "--ntasks-per-node=1",
      "--time=1", "--input=none",   "--chdir=/",        "--export=NONE"};
  if (!partition.empty()) { options.push_back("--partition=" + partition); }
  options.insert(options.end(), {"/bin/sh", "-c", question, "sh", probe, parts_question});
  return slurm_command("srun", options);
}

finding_list ask_nodes(const std::string& listing, const tool_config& config,
                       const std::string& folder) {
  constexpr const char* check = "cluster nodes";
  int idle = 0;
  for (const slurm_node& node : read_nodes(listing, config.spread_partition)) {
    idle += node.takes_jobs() && node.idle_processors > 0 ? 1 : 0;
  }
  if (idle == 0) {
    return {warning(check, "could not be asked, since none has a free processor",
                    "run this again when jobs have ended (squeue)")};
  }
  const probe_folder probe(folder);
  if (!probe.made()) {
    return {warning(
        check, "could not be asked whether they see " + folder + ": no folder can be made there",
        "run this as root")};
  }
  node_question asked;
  asked.folder = folder;
  asked.nodes = idle;
  asked.tool = first_line_of({tool_path, "--version"});
  asked.engine = first_line_of({ffmpeg_path, "-version"});
  asked.parts = first_line_of({"/bin/sh", "-c", parts_question});
  asked.begin = time(nullptr);
  const program_result result =
      run(asking_command(config.spread_partition, idle, probe.path()), asking_limit);
  asked.end = time(nullptr);
  if (!result.success() && result.output.empty()) {
    return {warning(check, "could not be asked: " + on_one_line(result.cause()),
                    "see whether other jobs have taken them (squeue), and whether this machine's "
                    "firewall lets them connect to it")};
  }
  return judge_answers(result.output, asked);
}

}  // namespace

finding judge_nodes(const std::string& listing, const tool_config& config) {
  constexpr const char* check = "cluster nodes";
  const std::string partition =
      config.spread_partition.empty() ? "the default partition" : config.spread_partition;
  const std::vector<slurm_node> nodes = read_nodes(listing, config.spread_partition);
  if (nodes.empty()) {
    return problem(check, "there are none in " + partition, "correct spread.partition; see sinfo");
  }
  name_list lost;
  for (const slurm_node& node : nodes) {
    const bool down = node.state == "down" || node.state == "drain" || node.state == "drained" ||
                      node.state == "fail" || !node.answers;
    if (down) { lost.add(node.name); }
  }
  const std::string text = std::to_string(nodes.size()) + " in " + partition + ", with " +
                           std::to_string(free_places(nodes, config.spread_cpus)) +
                           " free places for tasks of " + std::to_string(config.spread_cpus) +
                           " processors";
  if (lost.empty()) { return fine(check, text); }
  return warning(check, text + "; not available: " + lost.text(),
                 "see the reason with sinfo -R; scontrol update NodeName=... State=resume");
}

finding_list check_cluster(const tool_config& config, const std::string& folder) {
  if (config.spread != "slurm") { return {}; }
  finding_list findings = {check_munge()};
  const program_result listed = run(node_listing(), listing_limit);
  if (!listed.success()) {
    findings.push_back(
        problem("cluster", "the controller does not answer: " + on_one_line(listed.cause()),
                "apt-get install slurm-client, copy the cluster's /etc/slurm/slurm.conf, and check "
                "slurmctld on the controller; until then transcodes run on this machine"));
    return findings;
  }
  findings.push_back(fine("cluster", "the controller answers"));
  findings.push_back(judge_nodes(listed.output, config));
  append(findings, ask_nodes(listed.output, config, folder));
  return findings;
}
