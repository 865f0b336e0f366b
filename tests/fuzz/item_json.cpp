// An item's JSON: from the queue file, and as the document of a remote server. The items get no job
// number, so that no status file of this machine is touched.
#include <algorithm>

#include <json11.hpp>

#include "queue/item_document.h"
#include "queue/queue_item.h"
#include "rules/json_text.h"
#include "rules/limits.h"
#include "tests/fuzz/fuzz_target.h"
#include "tools/client/item_view.h"

namespace {

std::string text_of(const QueueItem& item) {
  std::string text;
  item.serialize_to_string(text, true);
  return text;
}

// What was read can be written, and reads back the same; the clients can read it too.
void read_and_write(const json11::Json& document) {
  QueueItem item;
  if (read_item(item, document) != nullptr) { return; }
  item_view view;
  fuzz_expect(read_item(text_of(item), view), "a client can read it");
  fuzz_expect(view.progress >= 0 && view.progress <= progress_complete, "its progress is a share");
  // A plain number is a percentage without limits, but is written as a share, which has some.
  item.progress = std::clamp(item.progress, 0, progress_complete);
  const std::string text = text_of(item);
  std::string error;
  const json11::Json written = parse_json(text, error);
  fuzz_expect(error.empty(), "an item that was read can be written as JSON");
  QueueItem again;
  fuzz_expect(read_item(again, written) == nullptr, "an item that was written can be read");
  fuzz_expect(text_of(again) == text, "it reads back the same");
}

void follow_remote_server(const json11::Json& document, remote_transcode_states step) {
  QueueItem item;
  item.entry_id = "here";
  item.remote_info.entry_id = "there";
  item.remote_info.json = document;
  item.sm.set_state(TRANSCODE_REMOTE);
  item.sm.remote.set_state(step);
  item.on_remote_job_json_update();
  fuzz_expect(item.entry_id == "here" && item.input_file.empty() && item.fileops_job_id == -1,
              "a remote server cannot change what a job is");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string error;
  const std::string text(reinterpret_cast<const char*>(data), size);
  json11::Json::object members = parse_json(text, error).object_items();
  members.erase("fileops job id");
  read_and_write(members);
  follow_remote_server(members, REMOTE_MONITOR);
  follow_remote_server(members, REMOTE_COMMAND);
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  const std::string files = "\"input file\": \"/mnt/media/clip.mpg\", \"output file\": "
                            "\"/mnt/main/tv/vod/clip.mp4\", ";
  const std::string profiles = "\"quoted profile\": [\"720\", 480, null]}";
  return {"{\"entry id\": \"there\", " + files +
              "\"transcode state\": \"transcoding\", \"state\": \"Transcoding file...\", "
              "\"transcode progress\": [2500, 10000], \"paused\": true, \"waiting\": 1}",
          "{\"entry id\": \"there\", " + files +
              "\"transcode state\": \"remote\", \"remote transcode state\": \"command\", "
              "\"remote transcode command\": \"pause\", \"uploaded\": true, \"remote job\": "
              "{\"ip\": \"far.example\", \"entry id\": \"x\", \"json\": {\"a\": [1, 2.5e3]}}}",
          "{\"entry id\": \"there\", \"transcode state\": \"done\", \"transcode progress\": 99.5}",
          "{\"entry id\": \"there\", " + files + "\"transcode progress\": -1}",
          "{\"entry id\": \"there\", \"transcode state\": \"cancelled\", \"state\": \"\\u00e4\", " +
              profiles};
}
