// What the nodes of a cluster report about themselves.
#pragma once

#include <cstdint>
#include <string>

#include "tools/qx_vod_ctl/doctor/finding.h"

// What was asked, and what the answers should be.
struct node_question {
  std::string folder;      // that the nodes should see and write to
  int nodes = 0;           // how many were asked
  std::string tool;        // version of the transcoder on this machine
  std::string engine;      // and of ffmpeg
  std::string parts;       // a sum of ffmpeg's files and libraries
  std::int64_t begin = 0;  // the answers were given between these times, in seconds
  std::int64_t end = 0;
};

// Judges the answers, lines of the form "NODE|TIME|TOOL|ENGINE|PARTS|ACCESS" where ACCESS is
// "written", "seen" or empty. Other lines are ignored.
finding_list judge_answers(const std::string& answers, const node_question& asked);
