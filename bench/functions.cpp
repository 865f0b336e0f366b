// The functions that the service calls most, or on the longest input, each by itself.
#include <cstddef>
#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>
#include <json11.hpp>

#include "platform/comm_packet_v4.h"
#include "platform/json_brackets.h"
#include "platform/mount_table.h"
#include "queue/item_document.h"
#include "queue/queue_item.h"
#include "rules/json_text.h"
#include "rules/limits.h"
#include "rules/queue_document.h"

namespace {

constexpr std::size_t long_text = std::size_t{1} << 20;  // bytes

const char* const job =
    R"({"entry id": "0f8b1c2d-0000-4abc-8def-0123456789ab", )"
    R"("input file": "/mnt/main/tv/recordings/evening_news.mpg", )"
    R"("output file": "/mnt/main/tv/vod/evening_news.mp4", "quoted profile": ["720", "480"], )"
    R"("state": "Transcoding file...", "transcode profile": "720", )"
    R"("transcode progress": [2500, 10000], "transcode state": "transcoding"})";

json11::Json parsed_job() {
  std::string error;
  return parse_json(job, error);
}

std::string full_queue() {
  std::string text = std::string(R"({"list": [)") + job;
  for (std::size_t i = 1; i < most_jobs; ++i) {
    text += std::string(", ") + job;
  }
  return text + "]}";
}

std::string request() {
  comm_socket_v4_packet packet;
  packet.flags = comm_socket_v4_flag_want_reply;
  packet.words = {"add"};
  packet.nv_pairs = {{"input file", "/mnt/main/tv/recordings/evening_news.mpg"},
                     {"transcode profile", "720"}};
  std::string bytes;
  comm_packet_v4_encode(packet, comm_packet_v4_request, bytes);
  return bytes;
}

void request_is_read(benchmark::State& state) {
  const std::string bytes = request();
  while (state.KeepRunning()) {
    comm_socket_v4_packet packet;
    benchmark::DoNotOptimize(comm_packet_v4_decode(bytes, comm_packet_v4_request, packet));
  }
}
BENCHMARK(request_is_read);

void item_is_read(benchmark::State& state) {
  while (state.KeepRunning()) {
    QueueItem item;
    if (read_item(item, parsed_job()) != nullptr) { state.SkipWithError("the job is refused"); }
  }
}
BENCHMARK(item_is_read);

void item_is_listed(benchmark::State& state) {
  QueueItem item;
  read_item(item, parsed_job());
  while (state.KeepRunning()) {
    std::string text;
    item.serialize_to_string(text, false);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(item_is_listed);

void full_queue_is_read(benchmark::State& state) {
  const std::string text = full_queue();
  while (state.KeepRunning()) {
    const queue_document document(text);
    std::string error;
    for (std::size_t i = 0; i < document.size(); ++i) {
      benchmark::DoNotOptimize(document.job(i, error));
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(full_queue_is_read);

void long_text_is_looked_over(benchmark::State& state) {
  const std::string text(long_text, '[');
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(shape_of_json(text));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(long_text_is_looked_over);

void mount_of_a_source_is_looked_up(benchmark::State& state) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(foreign_mount_of(current_mounts(), "/usr/share/doc/clip.mpg"));
  }
}
BENCHMARK(mount_of_a_source_is_looked_up);

}  // namespace

BENCHMARK_MAIN();
