// How a remote job's document changes the local item, in the test's own process.
#include <string>

#include <gtest/gtest.h>

#include "queue/queue_item.h"

namespace {

using object = json11::Json::object;

// A remote item in this state. Its folders do not exist here, so no status is written.
object remote_document(const char* state, const object& more = {}) {
  object document{{"entry id", "far-id"},     {"input file", "/mnt/far/clip.ts"},
                  {"output file", ""},        {"state", "far text"},
                  {"transcode state", state}, {"transcode progress", json11::Json::array{25, 100}},
                  {"paused", false}};
  for (const auto& [key, value] : more) {
    document[key] = value;
  }
  return document;
}

class remote_update : public testing::Test {
protected:
  remote_update() {
    item.sm.set_state(TRANSCODE_REMOTE);
    item.sm.remote.set_state(REMOTE_MONITOR);
    item.remote_info.entry_id = "far-id";
  }
  void update(const object& document) {
    item.remote_info.json = document;
    item.on_remote_job_json_update();
  }

  QueueItem item;
};

TEST_F(remote_update, copies_progress_and_text) {
  update(remote_document("transcoding"));
  EXPECT_EQ(item.progress, 2500);
  EXPECT_EQ(item.state_message, "Remote: far text");
  EXPECT_EQ(item.sm.remote.state, REMOTE_MONITOR);
}

TEST_F(remote_update, shows_a_remote_pause) {
  update(remote_document("transcoding", {{"paused", true}}));
  EXPECT_TRUE(item.paused);
  EXPECT_EQ(item.state_message, "Remote: far text (paused)");
}

TEST_F(remote_update, ignores_an_unreadable_document) {
  item.state_message = "before";
  update({{"entry id", ""}});
  EXPECT_EQ(item.state_message, "before");
  EXPECT_EQ(item.sm.state, TRANSCODE_REMOTE);
}

TEST_F(remote_update, cancels_when_the_entry_id_changed) {
  update(remote_document("transcoding", {{"entry id", "another"}}));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_EQ(item.state_message, "Remote: entry ID changed");
  EXPECT_EQ(item.progress, 0);
}

TEST_F(remote_update, only_copies_the_pause_after_the_item_changed_state) {
  item.sm.set_state(TRANSCODE_THUMBNAIL);
  update(remote_document("cancelled", {{"paused", true}}));
  EXPECT_EQ(item.sm.state, TRANSCODE_THUMBNAIL);
  EXPECT_TRUE(item.paused);
}

class remote_update_running : public remote_update,
                              public testing::WithParamInterface<const char*> {};

TEST_P(remote_update_running, keeps_monitoring) {
  item.paused = true;
  update(remote_document(GetParam()));
  EXPECT_FALSE(item.paused);
  EXPECT_EQ(item.sm.state, TRANSCODE_REMOTE);
  EXPECT_EQ(item.sm.remote.state, REMOTE_MONITOR);
}

INSTANTIATE_TEST_SUITE_P(states, remote_update_running,
                         testing::Values("ready", "remote transcode", "transcoding", "thumbnail",
                                         "cleanup"));

TEST_F(remote_update, starts_the_download_when_it_is_done) {
  update(remote_document("done"));
  EXPECT_EQ(item.state_message, "Remote: Transcode complete");
  EXPECT_EQ(item.sm.remote.state, REMOTE_DOWNLOAD);
}

TEST_F(remote_update, ends_a_command_when_it_is_done) {
  item.sm.remote.set_state(REMOTE_COMMAND);
  update(remote_document("done"));
  EXPECT_EQ(item.sm.remote.state, REMOTE_DOWNLOAD);
}

TEST_F(remote_update, leaves_other_steps_alone_when_it_is_done) {
  item.sm.remote.set_state(REMOTE_ADD);
  update(remote_document("done"));
  EXPECT_EQ(item.sm.remote.state, REMOTE_ADD);
  EXPECT_EQ(item.state_message, "Remote: far text");
}

class remote_update_cancelled : public remote_update,
                                public testing::WithParamInterface<const char*> {};

TEST_P(remote_update_cancelled, cancels_with_the_remote_text) {
  item.user_wants_pause = true;
  item.paused = true;
  update(remote_document(GetParam(), {{"paused", true}}));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_EQ(item.state_message, "Transcode was cancelled remotely. far text");
  EXPECT_FALSE(item.paused);
  EXPECT_FALSE(item.user_wants_pause);
}

TEST_P(remote_update_cancelled, says_that_the_user_wanted_it) {
  item.user_wants_cancel = true;
  update(remote_document(GetParam()));
  EXPECT_EQ(item.state_message, "Transcode cancelled, remote end cancelled");
}

INSTANTIATE_TEST_SUITE_P(states, remote_update_cancelled,
                         testing::Values("cancelled", "cancelling"));

class remote_update_odd : public remote_update, public testing::WithParamInterface<const char*> {};

TEST_P(remote_update_odd, cancels) {
  update(remote_document(GetParam()));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_EQ(item.state_message, "Remote: unexpected remote state");
}

INSTANTIATE_TEST_SUITE_P(states, remote_update_odd, testing::Values("init", "cleared", "nonsense"));

}  // namespace
