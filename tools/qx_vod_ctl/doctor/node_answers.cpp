#include "tools/qx_vod_ctl/doctor/node_answers.h"

#include <cstdlib>
#include <sstream>

#include "tools/qx_vod_ctl/doctor/name_list.h"

namespace {

constexpr std::int64_t clock_tolerance_s = 30;  // munge refuses what is five minutes off

struct node_answer {
  std::string name;
  std::int64_t time = 0;
  std::string tool;
  std::string engine;
  std::string parts;
  std::string access;  // to the folder
};

bool read_answer(const std::string& line, node_answer& answer) {
  std::istringstream fields(line);
  std::string time;
  for (std::string* const field :
       {&answer.name, &time, &answer.tool, &answer.engine, &answer.parts}) {
    if (!std::getline(fields, *field, '|')) { return false; }
  }
  std::getline(fields, answer.access);
  answer.time = std::strtoll(time.c_str(), nullptr, 10);
  return !answer.name.empty() && answer.time > 0;
}

struct answer_sums {
  int count = 0;
  name_list blind;    // do not see the folder
  name_list readers;  // see it, but cannot write to it
  name_list other_tool;
  name_list other_engine;
  name_list other_parts;
  name_list wrong_clock;

  void add(const node_answer& answer, const node_question& asked) {
    ++count;
    if (answer.access.empty()) { blind.add(answer.name); }
    if (answer.access == "seen") { readers.add(answer.name); }
    if (answer.tool != asked.tool) { other_tool.add(answer.name); }
    if (answer.engine != asked.engine) { other_engine.add(answer.name); }
    if (answer.parts != asked.parts) { other_parts.add(answer.name); }
    const bool is_wrong = answer.time < asked.begin - clock_tolerance_s ||
                          answer.time > asked.end + clock_tolerance_s;
    if (is_wrong) { wrong_clock.add(answer.name); }
  }
};

std::string of_nodes(int count) {
  return count == 1 ? "1 node" : std::to_string(count) + " nodes";
}

finding judge_folder(const answer_sums& sums, const node_question& asked) {
  constexpr const char* check = "cluster folder";
  if (!sums.blind.empty()) {
    return problem(check, asked.folder + " of this machine is not seen by " + sums.blind.text(),
                   "mount the same folder there under the same path, for example by NFS");
  }
  if (!sums.readers.empty()) {
    return problem(check, asked.folder + " cannot be written to by " + sums.readers.text(),
                   "let root of the nodes write there; with NFS that needs rw and no_root_squash");
  }
  return fine(check, of_nodes(sums.count) + " asked, all can write to " + asked.folder);
}

finding judge_versions(const answer_sums& sums) {
  constexpr const char* check = "cluster versions";
  if (!sums.other_tool.empty()) {
    return problem(check,
                   "qxmi_vod_transcode is missing or another one on " + sums.other_tool.text(),
                   "install the same version of qx-vod-tools there");
  }
  if (!sums.other_engine.empty()) {
    return problem(check, "ffmpeg is missing or another one on " + sums.other_engine.text(),
                   "install the same version of ffmpeg there");
  }
  if (!sums.other_parts.empty()) {
    return problem(check, "the libraries of ffmpeg are others on " + sums.other_parts.text(),
                   "install the same versions of its packages there: a node where they differ "
                   "refuses the work");
  }
  return fine(check, "transcoder and ffmpeg are the same everywhere");
}

finding judge_clock(const answer_sums& sums) {
  constexpr const char* check = "cluster clock";
  if (sums.wrong_clock.empty()) { return fine(check, "the clocks agree"); }
  return warning(check,
                 "differs by more than " + std::to_string(clock_tolerance_s) + " s on " +
                     sums.wrong_clock.text(),
                 "apt-get install chrony there; munge refuses what is five minutes off");
}

}  // namespace

finding_list judge_answers(const std::string& answers, const node_question& asked) {
  answer_sums sums;
  std::istringstream lines(answers);
  for (std::string line; std::getline(lines, line);) {
    node_answer answer;
    if (read_answer(line, answer)) { sums.add(answer, asked); }
  }
  finding_list findings;
  if (sums.count < asked.nodes) {
    findings.push_back(
        warning("cluster nodes",
                of_nodes(asked.nodes) + " asked, " + std::to_string(sums.count) + " answered",
                "see the log of slurmd on the others"));
  }
  if (sums.count == 0) { return findings; }
  append(findings, {judge_folder(sums, asked), judge_versions(sums), judge_clock(sums)});
  return findings;
}
