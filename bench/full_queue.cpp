#include "bench/full_queue.h"

#include <chrono>
#include <thread>

#include "bench/figure.h"

namespace bench {

namespace {

using json11::Json;

constexpr int pages = 2000;
constexpr std::chrono::seconds rest_time{4};
constexpr std::chrono::microseconds start_poll{500};
constexpr double longest_start_ns = 6e10;

Json stored_job(const qx_test::private_root& root, int number) {
  const std::string name = "clip" + std::to_string(number);
  const std::string source = "/mnt/media/shows/" + name + ".mpg";
  root.write_source(source, "video/mp2t");
  root.write("/mnt/main/tv/fileops/jobs/" + std::to_string(number) + "/status", "op=vod\n");
  return Json::object{
      {"entry id", "00000000-0000-4000-8000-" + std::to_string(100000000000 + number)},
      {"input file", source},
      {"output file", "/mnt/main/tv/vod/720." + name + ".mp4"},
      {"transcode state", "ready"},
      {"ready state", "ready to transcode"},
      {"transcode profile", "720"},
      {"quoted profile", Json::array{"1080", "720", "480"}},
      {"fileops job id", number},
      {"paused", true},
      {"state", "Paused"}};
}

std::string list_request() {
  qx_test::request_packet packet;
  packet.words = {"list"};
  return packet.encoded();
}

}  // namespace

full_queue::full_queue() {
  Json::array jobs;
  for (int number = 1; number <= full_queue_jobs; ++number) {
    jobs.push_back(stored_job(machine_.root, number));
  }
  queue_text_ = Json(Json::object{{"list", jobs}}).dump();
}

double full_queue::start_ms() {
  if (machine_.service.running()) { machine_.service.stop(); }
  machine_.root.write_queue_file(queue_text_);
  const double begin = wall_ns();
  machine_.service.launch();
  while (machine_.client.request("test").status() != "OK") {
    if (wall_ns() - begin > longest_start_ns) { return not_measured("the service did not start"); }
    std::this_thread::sleep_for(start_poll);
  }
  return (wall_ns() - begin) / 1e6;
}

double full_queue::page_us() const {
  const qx_test::raw_connection connection(machine_.client.socket_path());
  const std::string request = list_request();
  const double before = processor_ns(machine_.service.pid());
  for (int i = 0; i < pages; ++i) {
    connection.send(request);
    if (connection.receive().status() != "OK") { return not_measured("no page was sent"); }
  }
  return (processor_ns(machine_.service.pid()) - before) / pages / 1e3;
}

double full_queue::rest_percent() const {
  const double begin = wall_ns();
  const double before = processor_ns(machine_.service.pid());
  std::this_thread::sleep_for(rest_time);
  return (processor_ns(machine_.service.pid()) - before) / (wall_ns() - begin) * 100;
}

}  // namespace bench
