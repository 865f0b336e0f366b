// Filters, sorts and cuts the queue.
#include "tools/vod_cgi/queue_view.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "platform/media_metadata.h"
#include "rules/states.h"
#include "tools/client/estimate.h"
#include "tools/job_log/job_reason.h"
#include "tools/vod_cgi/folded_text.h"
#include "tools/vod_cgi/job_view.h"

namespace {

// Jobs further down get no estimate, since it would be a guess.
constexpr std::size_t most_in_line = 16;

struct shown_job {
  std::uint64_t position = 0;
  item_view item;
  job_group group = job_group::waiting;
  std::optional<std::int64_t> ready_at;  // seconds since 1970
};

// Without those in state "cleared", which leave the queue when the service looks at it next.
std::vector<shown_job> shown_jobs(const std::vector<listed_item>& jobs, const expected_ends& ends) {
  std::vector<shown_job> shown;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    const auto& [position, item] = jobs[i];
    if (item.state == name_of(TRANSCODE_CLEARED)) { continue; }
    shown.push_back({position, item, group_of(item), ready_at(ends.left[i], ends.now)});
  }
  return shown;
}

// Running jobs come first, then waiting ones in queue order, then ended ones, the latest first.
int rank(const shown_job& job) {
  switch (job.group) {
  case job_group::running:
    return 0;
  case job_group::waiting:
  case job_group::paused:
    return 1;
  default:
    return 2;
  }
}

bool stands_before(const shown_job& a, const shown_job& b) {
  if (rank(a) != rank(b)) { return rank(a) < rank(b); }
  return rank(a) == 2 ? a.position > b.position : a.position < b.position;
}

json11::Json text_or_null(const std::string& text) {
  return text.empty() ? json11::Json() : json11::Json(text);
}

json11::Json length_or_null(const std::string& media) {
  const double length = media_metadata(media).length();
  return length > 0 ? json11::Json(length) : json11::Json();
}

std::string reason_of(const shown_job& job) {
  if (job.group != job_group::failed) { return ""; }
  return why_it_failed(
      {job.item.text, job.item.input_file, job.item.output_file, job.item.fileops_job});
}

json11::Json spread_or_null(const std::optional<job_spread>& spread) {
  if (!spread) { return {}; }
  return json11::Json::object{{"finished", static_cast<int>(spread->finished)},
                              {"segments", static_cast<int>(spread->all)},
                              {"under_way", static_cast<int>(spread->under_way)},
                              {"nodes", spread->nodes},
                              {"more_nodes", static_cast<int>(spread->more_nodes)}};
}

json11::Json item_json(const shown_job& job, const vod_folder& folder) {
  const item_view& item = job.item;
  const bool is_done = job.group == job_group::done;
  return json11::Json::object{
      {"id", item.entry_id},
      {"position", static_cast<int>(job.position)},
      {"file", item.input_file},
      {"state", item.state},
      {"step", item.sub_state},
      {"group", group_name(job.group)},
      {"text", item.text},
      {"reason", reason_of(job)},
      {"progress", item.progress},
      {"resumed_at", item.resumed ? json11::Json(item.resumed->percent) : json11::Json()},
      {"spread", spread_or_null(item.spread)},
      {"ready_at",
       job.ready_at ? json11::Json(static_cast<double>(*job.ready_at)) : json11::Json()},
      {"profile", item.profile},
      {"profiles", item.offered},
      {"paused", item.paused},
      {"deletes_source", item.delete_on_finish},
      {"fileops_job", item.fileops_job},
      {"length", length_or_null(is_done ? item.output_file : item.input_file)},
      {"vod", is_done ? text_or_null(vod_url(folder, item.output_file)) : json11::Json()},
      {"thumbnail",
       is_done ? text_or_null(thumbnail_url(folder, item.output_file)) : json11::Json()}};
}

bool is_wanted(const shown_job& job, const queue_query& wanted, const std::string& folded_search) {
  return (wanted.show.empty() || wanted.show == group_name(job.group)) &&
         (wanted.state.empty() || wanted.state == job.item.state) &&
         (folded_search.empty() || matches_search(job.item, folded_search));
}

bool is_in_line(const shown_job& job) {
  return job.group == job_group::running
             ? job.item.transcoding_here()
             : job.group == job_group::waiting && job.item.state != name_of(TRANSCODE_INIT);
}

// The transcodes of this machine that run or will run without a user's action.
json11::Json::array jobs_in_line(const std::vector<shown_job>& sorted) {
  json11::Json::array line;
  for (const shown_job& job : sorted) {
    if (is_in_line(job) && line.size() < most_in_line) {
      line.push_back(json11::Json::object{{"id", job.item.entry_id},
                                          {"group", group_name(job.group)},
                                          {"profile", job.item.profile},
                                          {"progress", job.item.progress},
                                          {"length", length_or_null(job.item.input_file)}});
    }
  }
  return line;
}

json11::Json::object count_groups(const std::vector<shown_job>& jobs) {
  int counts[job_group_count] = {};
  for (const shown_job& job : jobs) {
    ++counts[static_cast<std::size_t>(job.group)];
  }
  json11::Json::object groups;
  for (int i = 0; i < job_group_count; ++i) {
    groups[group_name(static_cast<job_group>(i))] = counts[i];
  }
  return groups;
}

json11::Json::object count_states(const std::vector<shown_job>& jobs) {
  std::map<std::string, int> counts;
  for (const shown_job& job : jobs) {
    ++counts[job.item.state];
  }
  return {counts.begin(), counts.end()};
}

}  // namespace

json11::Json view_of_queue(const std::vector<listed_item>& jobs, const expected_ends& ends,
                           const queue_query& wanted, const vod_folder& folder) {
  std::vector<shown_job> sorted = shown_jobs(jobs, ends);
  std::sort(sorted.begin(), sorted.end(), stands_before);
  const std::string folded_search = folded_text(wanted.search);
  json11::Json::array items;
  int matches = 0;
  for (const shown_job& job : sorted) {
    if (!is_wanted(job, wanted, folded_search)) { continue; }
    if (matches >= wanted.first && matches < wanted.first + wanted.count) {
      items.push_back(item_json(job, folder));
    }
    ++matches;
  }
  return json11::Json::object{{"items", items},
                              {"first", wanted.first},
                              {"matches", matches},
                              {"total", static_cast<int>(sorted.size())},
                              {"groups", count_groups(sorted)},
                              {"states", count_states(sorted)},
                              {"line", jobs_in_line(sorted)}};
}
