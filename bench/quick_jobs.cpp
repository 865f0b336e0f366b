#include "bench/quick_jobs.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "bench/figure.h"

namespace bench {

namespace {

constexpr int jobs_at_once = 50;
constexpr std::chrono::milliseconds poll_time{5};
constexpr double longest_run_ns = 6e10;

}  // namespace

quick_jobs::quick_jobs() {
  using namespace qx_test;
  const tool_plan nothing;
  for (const char* name : {tool::transcode, tool::startitem, tool::grab}) {
    machine_.root.plan(name, nothing);
  }
  machine_.start();
}

quick_jobs::cost quick_jobs::cost_per_job() {
  std::vector<std::string> sources;
  for (int i = 0; i < jobs_at_once; ++i) {
    sources.push_back("/mnt/media/quick" + std::to_string(++sources_) + ".mpg");
    machine_.root.write_source(sources.back(), "video/mp2t");
  }
  std::string last;
  const pid_t service = machine_.service.pid();
  const double processor_begin = processor_ns(service);
  const double begin = wall_ns();
  for (const std::string& source : sources) {
    last = machine_.client.add_ready(source);
  }
  while (machine_.client.transcode_state(last) != "done") {
    if (wall_ns() - begin > longest_run_ns) {
      const double none =
          not_measured("the last of the jobs is " + machine_.client.transcode_state(last));
      return {none, none};
    }
    std::this_thread::sleep_for(poll_time);
  }
  const double taken = wall_ns() - begin;
  const double processor_time = processor_ns(service) - processor_begin;
  remove_all();
  return {taken / jobs_at_once / 1e6, processor_time / jobs_at_once / 1e6};
}

void quick_jobs::remove_all() const {
  for (;;) {
    const json11::Json page = machine_.client.list();
    if (page["total"].int_value() == 0) { return; }
    for (const json11::Json& item : page["list"].array_items()) {
      machine_.client.command("remove", item["entry id"].string_value());
    }
    std::this_thread::sleep_for(poll_time);
  }
}

}  // namespace bench
