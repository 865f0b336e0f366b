// Remote jobs that need an operator's action, as the client shows them.
#include <gmock/gmock.h>

#include "tests/remote/remote_bench.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

class held_jobs : public remote_bench {
protected:
  std::string ctl(const std::string& subcommand) const {
    return machine.root.run({"/usr/bin/qx_vod_ctl", subcommand}).out;
  }
};

}  // namespace

TEST_F(held_jobs, paused_before_the_add_are_shown_with_advice) {
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  EXPECT_THAT(ctl("status"), Not(HasSubstr("is held")));
  machine.client.command("pause", id);
  machine.root.release("go");
  wait_for_remote_state("add");
  const std::string reason = "paused before the step \"add\"\n";
  EXPECT_THAT(ctl("status"),
              HasSubstr(id + " is held: " + reason + "  qx_vod_ctl resume " + id + "\n"));
  EXPECT_THAT(ctl("doctor"), HasSubstr(id + ": " + reason));
}

TEST_F(held_jobs, whose_source_is_missing_are_shown_until_it_is_restored) {
  begin_monitoring();
  wait_for_text("Remote: far text");
  ASSERT_EQ(machine.root.run({"/usr/bin/mv", "/mnt/media/clip.ts", "/mnt/media/away.ts"}).status,
            0);
  machine.client.wait_for_item(
      id, [](const json11::Json& item) { return item["process pid"].int_value() == -1; });
  EXPECT_THAT(ctl("status"), HasSubstr(id + " is held: its source /mnt/media/clip.ts is missing"));
  ASSERT_EQ(machine.root.run({"/usr/bin/mv", "/mnt/media/away.ts", "/mnt/media/clip.ts"}).status,
            0);
  wait_for_text("Remote: far text");
  EXPECT_THAT(ctl("status"), Not(HasSubstr("is held")));
}
