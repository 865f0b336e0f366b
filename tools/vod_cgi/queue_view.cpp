// Filters, sorts and cuts the queue.
#include "tools/vod_cgi/queue_view.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/media_metadata.h"
#include "rules/states.h"
#include "tools/job_log/job_reason.h"
#include "tools/vod_cgi/folded_text.h"
#include "tools/vod_cgi/job_view.h"

namespace {

// What moments are told for: further ahead they would be guesses.
constexpr std::size_t most_in_line = 16;

std::vector<job_view> read_jobs(const json11::Json::array& jobs) {
  std::vector<job_view> views;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    if (auto view = read_job(jobs[i], static_cast<int>(i))) { views.push_back(std::move(*view)); }
  }
  return views;
}

// What runs stands first, then what is to come in its order, then what has ended, the latest first.
int rank(const job_view& job) {
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

bool stands_before(const job_view& a, const job_view& b) {
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

std::string reason_of(const job_view& job) {
  if (job.group != job_group::failed) { return ""; }
  return why_it_failed({job.text, job.file, job.output, job.fileops_job});
}

json11::Json item_json(const job_view& job, const vod_folder& folder) {
  const bool is_done = job.group == job_group::done;
  return json11::Json::object{
      {"id", job.id},
      {"position", job.position},
      {"file", job.file},
      {"state", job.state},
      {"step", job.step},
      {"group", group_name(job.group)},
      {"text", job.text},
      {"reason", reason_of(job)},
      {"progress", job.progress},
      {"profile", job.profile},
      {"profiles", job.profiles},
      {"paused", job.paused},
      {"deletes_source", job.deletes_source},
      {"fileops_job", job.fileops_job},
      {"length", length_or_null(is_done ? job.output : job.file)},
      {"vod", is_done ? text_or_null(vod_url(folder, job.output)) : json11::Json()},
      {"thumbnail", is_done ? text_or_null(thumbnail_url(folder, job.output)) : json11::Json()}};
}

bool is_wanted(const job_view& job, const queue_query& wanted, const std::string& folded_search) {
  return (wanted.show.empty() || wanted.show == group_name(job.group)) &&
         (wanted.state.empty() || wanted.state == job.state) &&
         (folded_search.empty() || matches_search(job, folded_search));
}

// The transcodes of this machine that run or will run without anybody's doing.
json11::Json::array jobs_in_line(const std::vector<job_view>& sorted) {
  json11::Json::array line;
  for (const job_view& job : sorted) {
    const bool is_in_line =
        (job.group == job_group::running && job.state == name_of(TRANSCODE_TRANSCODING)) ||
        (job.group == job_group::waiting && job.state != name_of(TRANSCODE_INIT));
    if (is_in_line && line.size() < most_in_line) {
      line.push_back(json11::Json::object{{"id", job.id},
                                          {"group", group_name(job.group)},
                                          {"profile", job.profile},
                                          {"progress", job.progress},
                                          {"length", length_or_null(job.file)}});
    }
  }
  return line;
}

json11::Json::object count_groups(const std::vector<job_view>& jobs) {
  int counts[job_group_count] = {};
  for (const job_view& job : jobs) {
    ++counts[static_cast<std::size_t>(job.group)];
  }
  json11::Json::object groups;
  for (int i = 0; i < job_group_count; ++i) {
    groups[group_name(static_cast<job_group>(i))] = counts[i];
  }
  return groups;
}

json11::Json::object count_states(const std::vector<job_view>& jobs) {
  std::map<std::string, int> counts;
  for (const job_view& job : jobs) {
    ++counts[job.state];
  }
  return {counts.begin(), counts.end()};
}

}  // namespace

json11::Json view_of_queue(const json11::Json::array& jobs, const queue_query& wanted,
                           const vod_folder& folder) {
  std::vector<job_view> sorted = read_jobs(jobs);
  std::sort(sorted.begin(), sorted.end(), stands_before);
  const std::string folded_search = folded_text(wanted.search);
  json11::Json::array items;
  int matches = 0;
  for (const job_view& job : sorted) {
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
