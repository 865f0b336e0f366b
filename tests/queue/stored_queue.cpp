#include "tests/queue/stored_queue.h"

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

namespace qx_test {

json11::Json stored_machine::stored(const std::string& id, const std::string& state,
                                    const json_object& more) {
  const std::string source = "/mnt/media/" + id + ".mpg";
  const std::string output = "/mnt/main/tv/vod/" + id + ".mp4";
  const int job = ++jobs_;
  root.write_source(source, "video/mp2t");
  root.write("/mnt/main/tv/fileops/jobs/" + std::to_string(job) + "/status", "op=vod\n");
  json_object document = more;
  document.insert({{"entry id", id},
                   {"input file", source},
                   {"output file", output},
                   {"transcode state", state},
                   {"transcode profile", "720"},
                   {"quoted profile", json_array{"720"}},
                   {"fileops job id", job}});
  return document;
}

void stored_machine::start_with(const json_array& items) {
  root.write_queue_file(json11::Json(json_object{{"list", items}}).dump());
  start();
}

std::vector<std::string> stored_machine::listed_ids() const {
  std::vector<std::string> ids;
  const auto page = client.list();
  for (const auto& item : page["list"].array_items()) {
    ids.push_back(item["entry id"].string_value());
  }
  return ids;
}

void stored_machine::wait_for_queue_file() const {
  EXPECT_TRUE(wait_until([&] { return root.exists("/mnt/main/tv/vod.queue.js"); }));
}

json11::Json stored_machine::queue_document() const {
  std::string error;
  return json11::Json::parse(root.queue_file(), error);
}

}  // namespace qx_test
