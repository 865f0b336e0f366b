// "modify" and "ready": accepted and refused changes, as the client sees them.
#include <gmock/gmock.h>

#include "queue/transcode_queue.h"
#include "tests/control/control_bench.h"

using namespace qx_test;

namespace {

constexpr char cannot_be_modified[] = "ONE OR MORE PARAMETERS CANNOT BE MODIFIED";

}  // namespace

class modify_command : public control_bench {};

TEST_F(modify_command, changes_fields_and_shows_the_item) {
  QueueItem& item = add_item(TRANSCODE_READY);
  const auto reply =
      command("modify", item, {{"transcode profile", "720"}, {"delete on finish", "1"}});
  EXPECT_EQ(reply.words, (strings{"modify", "OK"}));
  EXPECT_EQ(reply.result_code, 0U);
  EXPECT_TRUE(reply.pairs.empty());
  EXPECT_EQ(reply.json()["entry id"].string_value(), item.entry_id);
  EXPECT_EQ(reply.json()["transcode profile"].string_value(), "720");
  EXPECT_TRUE(item.delete_on_finish);
  EXPECT_TRUE(scan_is_due());
  EXPECT_FALSE(write_is_armed());
}

TEST_F(modify_command, refuses_what_the_item_refuses_and_shows_the_item) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  const auto reply = command("modify", item, {{"transcode profile", "720"}});
  EXPECT_EQ(reply.words, (strings{"modify", cannot_be_modified}));
  EXPECT_EQ(reply.result_code, 1000U);
  EXPECT_TRUE(reply.pairs.empty());
  EXPECT_EQ(reply.json()["entry id"].string_value(), item.entry_id);
  EXPECT_TRUE(nothing_is_armed());
}

TEST_F(modify_command, applies_names_in_order_and_stops_at_the_first_refusal) {
  QueueItem& item = add_item(TRANSCODE_READY);
  const auto reply =
      command("modify", item,
              {{"transcode profile", "720"}, {"no such field", "1"}, {"delete on finish", "1"}});
  EXPECT_EQ(reply.status(), cannot_be_modified);
  EXPECT_TRUE(item.delete_on_finish) << "applied before the refusal, and kept";
  EXPECT_EQ(item.transcode_profile, "") << "behind the refusal";
}

TEST_F(modify_command, uses_the_last_value_of_a_name) {
  QueueItem& item = add_item(TRANSCODE_READY);
  command("modify", item, {{"transcode profile", "720"}, {"transcode profile", "480"}});
  EXPECT_EQ(item.transcode_profile, "480");
}

TEST_F(modify_command, does_not_treat_the_selection_as_fields) {
  QueueItem& item = add_item(TRANSCODE_READY);
  EXPECT_EQ(command("modify", item, {{"fileops job id", "77"}}).status(), "OK");
  EXPECT_EQ(request("modify", {{"fileops job id", "1"}}).status(), "OK");
  EXPECT_EQ(item.fileops_job_id, 1);
}

TEST_F(modify_command, refuses_inexact_names) {
  QueueItem& item = add_item(TRANSCODE_READY);
  for (const char* name : {"Paused", "paused ", "transcode_profile", "approved", "state", ""}) {
    EXPECT_EQ(command("modify", item, {{name, "1"}}).status(), cannot_be_modified) << name;
  }
}

class ready_command : public control_bench {};

TEST_F(ready_command, leaves_a_ready_item_unchanged) {
  QueueItem& item = add_item(TRANSCODE_READY);
  item.sm.ready.set_state(READY_QUERY_PROFILES);
  item.state_message = "as before";
  const auto reply = command("ready", item);
  EXPECT_EQ(reply.words, (strings{"ready", "OK"}));
  EXPECT_EQ(reply.result_code, 0U);
  EXPECT_EQ(reply.json()["state"].string_value(), "as before");
  EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES);
  EXPECT_FALSE(status_written(item));
  EXPECT_TRUE(scan_is_due());
  EXPECT_FALSE(write_is_armed());
}

TEST_F(ready_command, answers_a_refusal_with_the_word_modify) {
  for (const auto state : {TRANSCODE_INIT, TRANSCODE_CANCELLED, TRANSCODE_CANCELLING,
                           TRANSCODE_REMOTE, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL,
                           TRANSCODE_CLEANUP, TRANSCODE_DONE, TRANSCODE_CLEARED}) {
    QueueItem& item = add_item(state);
    const auto reply = command("ready", item);
    EXPECT_EQ(reply.words, (strings{"modify", cannot_be_modified})) << state;
    EXPECT_EQ(reply.result_code, 1000U);
    EXPECT_EQ(reply.json()["entry id"].string_value(), item.entry_id);
    EXPECT_EQ(item.sm.state, state);
  }
  EXPECT_TRUE(nothing_is_armed());
}

TEST_F(ready_command, shows_the_reason_of_a_refusal) {
  QueueItem& item = add_item();
  EXPECT_EQ(command("ready", item).json()["state"].string_value(), "Rejected: No input file");
}

TEST_F(ready_command, ignores_further_fields) {
  QueueItem& item = add_item(TRANSCODE_READY);
  EXPECT_EQ(command("ready", item, {{"transcode profile", "720"}}).status(), "OK");
  EXPECT_EQ(item.transcode_profile, "");
}
