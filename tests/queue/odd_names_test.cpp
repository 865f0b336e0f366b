// File names that are not UTF-8, through the shipped service: what it writes is UTF-8 all the same,
// and gives the bytes back.
#include <gmock/gmock.h>

#include "platform/json_bytes.h"
#include "tests/queue/stored_queue.h"

using namespace qx_test;
using ::testing::HasSubstr;

namespace {

constexpr const char* latin1_source = "/mnt/media/caf\xe9 \xe2\x82.mpg";
constexpr const char* utf8_source = "/mnt/media/caf\xc3\xa9.mpg";
constexpr const char* latin1_text = R"("/mnt/media/caf\udce9 \udce2\udc82.mpg")";

struct odd_machine : stored_machine {
  odd_machine() {
    root.write_source(latin1_source, "video/mp2t");
    root.write_source(utf8_source, "video/mp2t");
    service.set_uptime(young_uptime_s);
    start();
  }
};

bool is_utf8(std::string_view text) {
  while (!text.empty() && utf8_length(text) != 0) {
    text.remove_prefix(utf8_length(text));
  }
  return text.empty();
}

}  // namespace

TEST(odd_names, are_utf8_in_every_reply) {
  odd_machine machine;
  const auto id = machine.client.add_ready(latin1_source);
  for (const auto& reply : {machine.client.request("list"), machine.client.command("list", id),
                            machine.client.command("pause", id)}) {
    EXPECT_TRUE(is_utf8(reply.data));
    EXPECT_THAT(reply.data, HasSubstr(latin1_text));
  }
}

TEST(odd_names, survive_a_restart) {
  odd_machine machine;
  const auto id = machine.client.add_ready(latin1_source);
  machine.service.stop();
  EXPECT_TRUE(is_utf8(machine.root.queue_file()));
  EXPECT_THAT(machine.root.queue_file(), HasSubstr(latin1_text));
  machine.start();
  EXPECT_EQ(machine.client.transcode_state(id), "ready") << "its source was found";
  EXPECT_THAT(machine.client.request("list").data, HasSubstr(latin1_text));
}

TEST(odd_names, of_an_earlier_version_s_file_are_read) {
  odd_machine machine;
  machine.service.stop();
  machine.start_with({machine.stored("caf\xe9", "ready")});
  EXPECT_THAT(machine.client.request("list").data, HasSubstr(R"("caf\udce9")"));
}

TEST(odd_names, in_utf8_are_written_as_they_are) {
  odd_machine machine;
  machine.client.add_ready(utf8_source);
  EXPECT_THAT(machine.client.request("list").data, HasSubstr(utf8_source));
  machine.service.stop();
  EXPECT_THAT(machine.root.queue_file(), HasSubstr(utf8_source));
}
