#include "tools/media/slurm_nodes.h"

#include <charconv>
#include <cstdlib>
#include <sstream>

namespace {

// Partition, name, state, and processors as "allocated/idle/other/total".
constexpr const char* node_format = "%R %P %N %t %C";

bool read_number(std::string_view text, int& number) {
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stopped == end && number >= 0;
}

bool read_idle(std::string_view counts, int& idle) {
  const std::size_t begin = counts.find('/');
  if (begin == std::string_view::npos) { return false; }
  const std::size_t end = counts.find('/', begin + 1);
  return end != std::string_view::npos &&
         read_number(counts.substr(begin + 1, end - begin - 1), idle);
}

// The marks after a state: "*" for a node that does not answer, "~" for one that is switched off;
// "#", "%", "!", "@" and "^" for one that starts or stops; "$" for maintenance, "-" for one that
// another job is about to get.
void read_state(const std::string& text, slurm_node& node) {
  const std::size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz_");
  node.state = text.substr(0, end);
  node.answers = text.find('*') == std::string::npos;
  node.is_marked = end != std::string::npos;
}

bool read_node(const std::string& line, slurm_node& node) {
  std::istringstream words(line);
  std::string marked;
  std::string state;
  std::string counts;
  std::string more;
  if (!(words >> node.partition >> marked >> node.name >> state >> counts) || words >> more) {
    return false;
  }
  node.of_default_partition = marked == node.partition + "*";
  read_state(state, node);
  return read_idle(counts, node.idle_processors);
}

}  // namespace

std::vector<std::string> slurm_command(const std::string& program,
                                       const std::vector<std::string>& arguments) {
  std::vector<std::string> command;
  if (const char* const conf = std::getenv("SLURM_CONF"); conf != nullptr) {
    command = {"/usr/bin/env", std::string("SLURM_CONF=") + conf};
  }
  command.push_back("/usr/bin/" + program);
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

std::vector<std::string> node_listing() {
  return slurm_command("sinfo", {"--noheader", "--Node", "--format", node_format});
}

std::vector<slurm_node> read_nodes(std::string_view text, const std::string& partition) {
  std::vector<slurm_node> nodes;
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    slurm_node node;
    if (!read_node(line, node)) { continue; }
    const bool wanted = partition.empty() ? node.of_default_partition : node.partition == partition;
    if (wanted) { nodes.push_back(node); }
  }
  return nodes;
}

int free_places(const std::vector<slurm_node>& nodes, int processors) {
  int places = 0;
  for (const slurm_node& node : nodes) {
    if (node.takes_jobs()) { places += node.idle_processors / processors; }
  }
  return places;
}
