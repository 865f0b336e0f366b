// Where a transcode runs that is spread over a cluster, out of the log of its tool.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// The tool's notes: "cluster: " and spread_text() while nodes make segments, at least every
// spread_note_s seconds; "cluster: ended, ..." when it goes on without them.
constexpr const char* cluster_note = "cluster";
constexpr const char* spread_ended_words = "ended, ";
constexpr int spread_note_s = 30;

// A note names no more nodes: there may be a thousand.
constexpr std::size_t most_nodes_named = 8;

struct job_spread {
  std::int64_t finished = 0;  // segments
  std::int64_t all = 0;       // segments that the output is expected to have, at least `finished`
  std::int64_t under_way = 0;
  std::vector<std::string> nodes;  // that work on them: the first most_nodes_named of them
  std::int64_t more_nodes = 0;     // that are not named
};

// Names the first of `nodes` in `spread`, and counts the others.
void set_nodes(job_spread& spread, const std::set<std::string>& nodes);

// Where the transcoder's run with which `log` ends has its segments made. Nothing if it makes them
// itself, has ended, or has not written about it for so long before `now`, in seconds since 1970,
// that it cannot be at work.
std::optional<job_spread> spread_in(std::string_view log, std::time_t now);

// The same of the transcode that makes `output_file`.
std::optional<job_spread> find_spread(const std::string& output_file);

// "41 of 96 segments, 9 under way on n1, n2", with " and 4 more" if there are more nodes.
std::string spread_text(const job_spread& spread);
