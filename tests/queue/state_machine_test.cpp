// The state machines of an item: names, ranges, and which sub-machine is valid when.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/queue/queue_bench.h"

using ::testing::ElementsAre;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

namespace {

using master = QueueItem::transcode_state_machine;

constexpr const char* not_valid_text =
    "Attempt to switch state machine when not initialized (class valid but initialized=false). "
    "Call init() first";
constexpr const char* out_of_range_text = "Invalid state machine index";

// The names of all states of a machine, in order. Each name leads back to its state.
template <typename Machine>
std::vector<std::string> names_of(Machine machine, int count) {
  std::vector<std::string> names;
  machine.init();
  for (int i = 0; i < count; ++i) {
    const auto state = static_cast<decltype(machine.state)>(i);
    machine.set_state(state);
    names.emplace_back(machine.state_name());
    machine.set_state(machine.state_by_name(""));
    EXPECT_EQ(machine.set_state(names.back()), state);
    EXPECT_EQ(machine.state, state) << names.back();
  }
  return names;
}

// Which sub-machines are valid: ready, remote, thumbnail, cleanup.
std::vector<bool> valid_machines(const master& sm) {
  return {sm.ready.initialized, sm.remote.initialized, sm.thumbnail.initialized,
          sm.cleanup.initialized};
}

}  // namespace

TEST(state_machine, names_of_the_main_states) {
  EXPECT_THAT(names_of(master(), 10),
              ElementsAre("init", "cancelled", "cancelling", "ready", "remote transcode",
                          "transcoding", "thumbnail", "cleanup", "done", "cleared"));
}

TEST(state_machine, names_of_the_ready_states) {
  EXPECT_THAT(names_of(QueueItem::ready_state_machine(), 4),
              ElementsAre("init", "check meta", "query profiles", "ready to transcode"));
}

TEST(state_machine, names_of_the_cleanup_states) {
  EXPECT_THAT(names_of(QueueItem::cleanup_state_machine(), 4),
              ElementsAre("init", "unlink file", "unlink meta", "done"));
}

TEST(state_machine, names_of_the_thumbnail_states) {
  EXPECT_THAT(names_of(QueueItem::thumbnail_state_machine(), 4),
              ElementsAre("init", "gen", "metadata gen", "done"));
}

TEST(state_machine, names_of_the_remote_states) {
  EXPECT_THAT(names_of(QueueItem::remote_transcode_state_machine(), 7),
              ElementsAre("init", "upload", "add", "monitor", "download", "done", "command"));
}

TEST(state_machine, new_main_machine_is_valid_and_its_sub_machines_are_not) {
  const master sm;
  EXPECT_TRUE(sm.initialized);
  EXPECT_EQ(sm.state, TRANSCODE_INIT);
  EXPECT_THAT(valid_machines(sm), ElementsAre(false, false, false, false));
  EXPECT_STREQ(sm.ready.state_name(), "init");
  EXPECT_STREQ(sm.remote.state_name(), "init");
  EXPECT_STREQ(sm.thumbnail.state_name(), "init");
  EXPECT_STREQ(sm.cleanup.state_name(), "init");
  EXPECT_EQ(sm.remote_command, "");
}

TEST(state_machine, main_machine_accepts_the_last_state_and_no_further) {
  master sm;
  sm.set_state(TRANSCODE_CLEARED);
  EXPECT_EQ(sm.state, TRANSCODE_CLEARED);
  EXPECT_THAT([&] { sm.set_state(static_cast<transcode_states>(10)); },
              ThrowsMessage<std::runtime_error>(StrEq(out_of_range_text)));
  EXPECT_THAT([&] { sm.set_state(static_cast<transcode_states>(0xffffffffU)); },
              ThrowsMessage<std::runtime_error>(StrEq(out_of_range_text)));
  EXPECT_EQ(sm.state, TRANSCODE_CLEARED);
}

TEST(state_machine, sub_machines_have_their_own_ranges) {
  QueueItem::ready_state_machine ready;
  QueueItem::cleanup_state_machine cleanup;
  QueueItem::thumbnail_state_machine thumbnail;
  QueueItem::remote_transcode_state_machine remote;
  ready.init();
  cleanup.init();
  thumbnail.init();
  remote.init();
  EXPECT_EQ(ready.set_state(READY_READY_TO_TRANSCODE), READY_READY_TO_TRANSCODE);
  EXPECT_EQ(remote.set_state(REMOTE_COMMAND), REMOTE_COMMAND);
  EXPECT_THAT([&] { ready.set_state(static_cast<ready_states>(4)); },
              ThrowsMessage<std::runtime_error>(StrEq(out_of_range_text)));
  EXPECT_THAT([&] { cleanup.set_state(static_cast<cleanup_states>(4)); },
              ThrowsMessage<std::runtime_error>(StrEq(out_of_range_text)));
  EXPECT_THAT([&] { thumbnail.set_state(static_cast<thumbnail_states>(4)); },
              ThrowsMessage<std::runtime_error>(StrEq(out_of_range_text)));
  EXPECT_THAT([&] { remote.set_state(static_cast<remote_transcode_states>(7)); },
              ThrowsMessage<std::runtime_error>(StrEq(out_of_range_text)));
}

TEST(state_machine, range_is_checked_before_validity) {
  QueueItem::ready_state_machine ready;
  EXPECT_THAT([&] { ready.set_state(static_cast<ready_states>(4)); },
              ThrowsMessage<std::runtime_error>(StrEq(out_of_range_text)));
}

TEST(state_machine, invalid_machine_cannot_be_set) {
  QueueItem::thumbnail_state_machine thumbnail;
  EXPECT_THAT([&] { thumbnail.set_state(THUMBNAIL_GEN); },
              ThrowsMessage<std::runtime_error>(StrEq(not_valid_text)));
  EXPECT_THAT([&] { thumbnail.set_state("gen"); },
              ThrowsMessage<std::runtime_error>(StrEq(not_valid_text)));
  EXPECT_THAT([&] { thumbnail.do_set_state(THUMBNAIL_GEN); },
              ThrowsMessage<std::runtime_error>(StrEq(not_valid_text)));
  EXPECT_EQ(thumbnail.state, THUMBNAIL_INIT);
  EXPECT_FALSE(thumbnail.initialized);
}

TEST(state_machine, invalid_main_machine_cannot_be_set) {
  master sm;
  sm.set_state(TRANSCODE_READY);
  sm.initialized = false;
  EXPECT_THAT([&] { sm.set_state(TRANSCODE_DONE); },
              ThrowsMessage<std::runtime_error>(StrEq(not_valid_text)));
  EXPECT_EQ(sm.state, TRANSCODE_READY);
  EXPECT_TRUE(sm.ready.initialized);
}

TEST(state_machine, every_state_can_be_set_by_its_name) {
  for (const char* name : transcode_states__str) {
    master sm;
    sm.set_state(name);
    EXPECT_STREQ(sm.state_name(), name);
  }
}

TEST(state_machine, unknown_name_is_the_first_state) {
  for (const char* name : {"Ready", "READY", " ready", "ready ", "", "cleared2", "check  meta"}) {
    master sm;
    sm.set_state(TRANSCODE_DONE);
    EXPECT_EQ(sm.set_state(name), TRANSCODE_INIT) << name;
    EXPECT_EQ(sm.state, TRANSCODE_INIT) << name;
  }
  QueueItem::ready_state_machine ready;
  ready.init();
  ready.set_state(READY_QUERY_PROFILES);
  EXPECT_EQ(ready.set_state("Ready"), READY_INIT);
}

TEST(state_machine, name_ends_at_a_nul) {
  master sm;
  sm.set_state(std::string("done\0x", 6));
  EXPECT_EQ(sm.state, TRANSCODE_DONE);
}

TEST(state_machine, inner_setter_does_not_check_the_range) {
  QueueItem::ready_state_machine ready;
  ready.init();
  EXPECT_EQ(ready.do_set_state(static_cast<ready_states>(4)), 4U);
  EXPECT_STREQ(ready.state_name(), "");
}

TEST(state_machine, name_of_a_state_out_of_range_is_empty) {
  master sm;
  sm.state = static_cast<transcode_states>(10);
  EXPECT_STREQ(sm.state_name(), "");
  sm.remote.state = static_cast<remote_transcode_states>(7);
  EXPECT_STREQ(sm.remote.state_name(), "");
}

TEST(state_machine, only_the_sub_machine_of_the_state_is_valid) {
  for (const auto from : {TRANSCODE_INIT, TRANSCODE_READY, TRANSCODE_REMOTE, TRANSCODE_THUMBNAIL,
                          TRANSCODE_CLEANUP}) {
    for (const auto to : qx_test::all_states) {
      master sm;
      sm.set_state(from);
      sm.set_state(to);
      EXPECT_THAT(valid_machines(sm),
                  ElementsAre(to == TRANSCODE_READY, to == TRANSCODE_REMOTE,
                              to == TRANSCODE_THUMBNAIL, to == TRANSCODE_CLEANUP))
          << from << " to " << to;
    }
  }
}

TEST(state_machine, entering_the_state_again_restarts_its_sub_machine) {
  master sm;
  sm.set_state(TRANSCODE_REMOTE);
  sm.remote.set_state(REMOTE_MONITOR);
  sm.set_state(TRANSCODE_REMOTE);
  EXPECT_EQ(sm.remote.state, REMOTE_INIT);
  EXPECT_TRUE(sm.remote.initialized);
}

TEST(state_machine, sub_machine_restarts_when_its_state_is_entered_again) {
  master sm;
  sm.set_state(TRANSCODE_CLEANUP);
  sm.cleanup.set_state(CLEANUP_UNLINK_META);
  sm.set_state(TRANSCODE_DONE);
  EXPECT_EQ(sm.cleanup.state, CLEANUP_UNLINK_META) << "leaving keeps the value";
  sm.set_state(TRANSCODE_CLEANUP);
  EXPECT_EQ(sm.cleanup.state, CLEANUP_INIT);
}

TEST(state_machine, sub_machine_of_a_state_that_was_left_throws) {
  master sm;
  sm.set_state(TRANSCODE_READY);
  sm.ready.set_state(READY_CHECK_META);
  sm.set_state(TRANSCODE_TRANSCODING);
  EXPECT_THAT([&] { sm.ready.set_state(READY_QUERY_PROFILES); },
              ThrowsMessage<std::runtime_error>(StrEq(not_valid_text)));
  EXPECT_THAT([&] { sm.thumbnail.set_state(THUMBNAIL_GEN); },
              ThrowsMessage<std::runtime_error>(StrEq(not_valid_text)));
}

TEST(state_machine, advance_stops_at_the_last_state) {
  QueueItem::ready_state_machine ready;
  ready.init();
  ready.set_state(READY_QUERY_PROFILES);
  EXPECT_EQ(ready.advance(), READY_READY_TO_TRANSCODE);
  EXPECT_THAT([&] { ready.advance(); },
              ThrowsMessage<std::runtime_error>(StrEq(out_of_range_text)));
  EXPECT_EQ(ready.state, READY_READY_TO_TRANSCODE);
}

TEST(state_machine, copy_keeps_sub_machines_and_command_and_is_independent) {
  master sm;
  sm.set_state(TRANSCODE_REMOTE);
  sm.remote.set_state(REMOTE_COMMAND);
  sm.remote_command = "pause";
  master copy;
  copy = sm;
  sm.set_state(TRANSCODE_CANCELLING);
  sm.remote_command = "cancel";
  EXPECT_EQ(copy.state, TRANSCODE_REMOTE);
  EXPECT_TRUE(copy.remote.initialized);
  EXPECT_EQ(copy.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(copy.remote_command, "pause");
}
