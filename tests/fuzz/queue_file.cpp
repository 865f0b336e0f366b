// The text of a queue file, as the service and the client read it. The items get no job number, so
// that no status file of this machine is touched.
#include <json11.hpp>

#include "queue/queue_item.h"
#include "rules/queue_document.h"
#include "tests/fuzz/fuzz_target.h"
#include "tools/qx_vod_ctl/queue_copy/stored_queue.h"

namespace {

void restore_item(const json11::Json& element) {
  json11::Json::object members = element.object_items();
  members.erase("fileops job id");
  QueueItem item;
  if (!item.deserialize_json(members, false)) { return; }
  const std::string& id = members["entry id"].string_value();
  fuzz_expect(item.entry_id == id.substr(0, id.find('\0')), "a restored item has its id");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const queue_document document(text);
  for (std::size_t i = 0; i < document.size(); ++i) {
    std::string error;
    restore_item(document.job(i, error));
  }
  const stored_queue stored = read_stored_queue(text);
  const stored_queue again = read_stored_queue(queue_file_text(stored.jobs, {}));
  fuzz_expect(!again.damaged, "a text that was written can be read");
  fuzz_expect(again.jobs.size() == stored.jobs.size(), "it has the same jobs");
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  const std::string job =
      "{\"entry id\": \"0f8b1c2d-0000-4abc-8def-0123456789ab\", \"input file\": "
      "\"/mnt/media/clip.mpg\", \"output file\": \"/mnt/main/tv/vod/clip.mp4\", "
      "\"transcode state\": \"remote\", \"remote transcode state\": \"monitor\", "
      "\"quoted profile\": [\"720\", \"480\"], \"transcode progress\": [1, 4], \"paused\": true, "
      "\"remote job\": {\"ip\": \"far.example\", \"entry id\": \"x\", \"json\": {}}}";
  return {"{\"list\": []}", "{\"list\": [" + job + ", " + job + "]}",
          "{\"list\": [" + job + ", {\"entry id\": \"cut", "{\"list\": [7, null, " + job + "]}"};
}
