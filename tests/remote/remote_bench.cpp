#include "tests/remote/remote_bench.h"

namespace qx_test {

std::string far_reply::text() const {
  return "HTTP/1.1 " + status + "\r\nContent-Type: " + content_type + "\r\n\r\n" + comm_headers +
         "\n" + body;
}

std::string far_item(std::string_view state, std::string_view more) {
  return std::string("{\"entry id\": \"") + far_id +
         "\", \"input file\": \"/mnt/main/tv/upload/x\", \"output file\": "
         "\"/mnt/main/tv/vod/far.mp4\", \"state\": \"far text\", \"transcode progress\": [1, 4], "
         "\"transcode state\": \"" +
         std::string(state) + "\"" + std::string(more) + "}";
}

tool_plan replies(const far_reply& reply) {
  return tool_plan().read_stdin().print(reply.text());
}

far_reply added() {
  far_reply reply;
  reply.comm_headers = std::string("entry id:") + far_id + "\n";
  reply.body = far_item("ready");
  return reply;
}

remote_bench::remote_bench() {
  machine.root.write_config({{"transcode server address", "far.example:8080"},
                             {"transcode server user", "vod"},
                             {"transcode server password", "pass word"}});
  machine.root.write_source("/mnt/media/clip.ts", "video/mp2t");
  machine.root.plan("curl.add", replies(added()));
  far_state("transcoding");
}

void remote_bench::begin() {
  machine.start();
  id = machine.client.add_ready("/mnt/media/clip.ts", {{"transcode profile", "720"}});
}

void remote_bench::begin_monitoring() {
  begin();
  machine.root.wait_for_call("curl.list");
}

void remote_bench::far_state(std::string_view state, std::string_view more) {
  far_reply reply;
  reply.body = far_item(state, more);
  machine.root.plan("curl.list", replies(reply));
}

json11::Json remote_bench::wait_for_remote_state(const std::string& state) {
  return machine.client.wait_for_item(id, [&](const json11::Json& item) {
    return item["remote transcode state"].string_value() == state;
  });
}

json11::Json remote_bench::wait_for_text(const std::string& text) {
  return machine.client.wait_for_state_text(id, text);
}

}  // namespace qx_test
