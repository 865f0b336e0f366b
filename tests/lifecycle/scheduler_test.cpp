// The scheduler: turns of work and the scan. The chosen start is visible by its failure: without a
// job directory the chosen item is cancelled.
#include <functional>
#include <map>

#include <gmock/gmock.h>

#include "lifecycle/scheduler.h"
#include "queue/process_state.h"
#include "queue/slots.h"
#include "queue/transcode_queue.h"
#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr std::uint64_t second_us = 1000000;

class scheduler : public exec_bench {
protected:
  QueueItem& add_startable() {
    QueueItem& item = add_candidate();
    item.fileops_job_dir.clear();
    return item;
  }
  QueueItem& add_transcoding(bool waiting = false) {
    QueueItem& item = add_item(TRANSCODE_TRANSCODING);
    EXPECT_TRUE(QueueItem::_std_init_buffer(item.proc_stdout_buffer, proc_buffer_size));
    fake_child::run_for(item);
    item.waiting = waiting;
    return item;
  }
  static bool scan() {
    next_queue_scan = 0;
    return idle_transcode_queue();
  }
  static bool was_chosen(const QueueItem& item) { return item.sm.state == TRANSCODE_CANCELLED; }

  fake_child child_;
};

}  // namespace

TEST_F(scheduler, scans_every_five_seconds) {
  EXPECT_FALSE(idle_transcode_queue());
  EXPECT_EQ(next_queue_scan, clock_us + 5 * second_us);
  QueueItem& item = add_startable();
  clock_us += 5 * second_us - 1;
  idle_transcode_queue();
  EXPECT_FALSE(was_chosen(item));
  clock_us += 1;
  EXPECT_FALSE(idle_transcode_queue());
  EXPECT_TRUE(was_chosen(item));
}

TEST_F(scheduler, turn_with_work_never_scans) {
  QueueItem& item = add_startable();
  QueueItem& busy = add_ready_item(READY_INIT);
  next_queue_scan = 0;
  EXPECT_TRUE(idle_transcode_queue());
  EXPECT_EQ(busy.sm.ready.state, READY_CHECK_META) << "the turn comes to everybody";
  EXPECT_FALSE(was_chosen(item));
  EXPECT_EQ(next_queue_scan, 0U);
}

// The change is made where the scheduler cannot see it, so that a turn is visible.
TEST_F(scheduler, item_at_rest_has_no_turn_until_somebody_may_have_changed_it) {
  QueueItem& item = add_item(TRANSCODE_DONE);
  scan();
  EXPECT_FALSE(idle_transcode_queue());
  item.sm.set_state(TRANSCODE_READY);
  EXPECT_FALSE(idle_transcode_queue());
  EXPECT_EQ(item.sm.ready.state, READY_INIT);
  trigger_all_turns();
  EXPECT_TRUE(idle_transcode_queue());
  EXPECT_EQ(item.sm.ready.state, READY_CHECK_META);
}

TEST_F(scheduler, item_at_rest_has_a_turn_when_a_scan_is_due) {
  QueueItem& item = add_item(TRANSCODE_DONE);
  scan();
  idle_transcode_queue();
  item.sm.set_state(TRANSCODE_READY);
  clock_us = next_queue_scan;
  EXPECT_TRUE(idle_transcode_queue());
  EXPECT_EQ(item.sm.ready.state, READY_CHECK_META);
}

TEST_F(scheduler, items_that_are_not_at_rest_have_every_turn_in_queue_order) {
  uptime_wait = true;  // they wait
  add_ready_item(READY_CHECK_META);
  QueueItem& first = add_ready_item(READY_CHECK_META);
  add_item(TRANSCODE_DONE);
  QueueItem& second = add_ready_item(READY_CHECK_META);
  scan();
  idle_transcode_queue();
  first.sm.ready.set_state(READY_INIT);
  second.sm.ready.set_state(READY_INIT);
  EXPECT_TRUE(idle_transcode_queue());
  EXPECT_EQ(first.sm.ready.state, READY_CHECK_META);
  EXPECT_EQ(second.sm.ready.state, READY_CHECK_META);
}

TEST_F(scheduler, ready_item_that_lacks_anything_is_not_at_rest) {
  const std::pair<const char*, std::function<void(QueueItem&)>> lacks[] = {
      {"profile", [](QueueItem& item) { item.transcode_profile.clear(); }},
      {"listing", [](QueueItem& item) { item.quoted_profile.clear(); }},
      {"output", [](QueueItem& item) { item.output_file.clear(); }}};
  for (const auto& [what, take_away] : lacks) {
    QueueItem& item = add_candidate();
    take_away(item);
    DIE = 1;  // its first turn does nothing
    scan();
    idle_transcode_queue();
    DIE = 0;
    idle_transcode_queue();
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << "without " << what;
  }
}

TEST_F(scheduler, deleted_item_is_not_followed) {
  uptime_wait = true;
  QueueItem& item = add_ready_item(READY_CHECK_META);
  scan();
  idle_transcode_queue();
  EXPECT_FALSE(all_turns_due);
  transcode_queue.remove(&item);
  delete &item;
  EXPECT_TRUE(all_turns_due);
  EXPECT_FALSE(idle_transcode_queue());
}

TEST_F(scheduler, null_element_is_logged_and_removed_without_counting) {
  transcode_queue.push_back(nullptr);
  const stderr_capture capture;
  EXPECT_FALSE(scan());
  EXPECT_EQ(capture.text(), "WARNING: transcode queue has NULL pointer!\nItem == NULL removing\n");
  EXPECT_THAT(transcode_queue, IsEmpty());
  EXPECT_EQ(transcode_queue_mod_count, 0U);
}

TEST_F(scheduler, item_left_in_init_is_removed_after_fifteen_seconds) {
  const std::string id = add_item().entry_id;
  clock_us += 15 * second_us - 1;
  scan();
  EXPECT_EQ(transcode_queue.size(), 1U);
  clock_us += 1;
  const stderr_capture capture;
  EXPECT_FALSE(scan());
  EXPECT_THAT(transcode_queue, IsEmpty());
  EXPECT_EQ(transcode_queue_mod_count, 1U);
  EXPECT_EQ(capture.text(), "Item '" + id + "' should terminate\n");
}

TEST_F(scheduler, cleared_item_is_removed_when_nothing_of_its_child_is_left) {
  QueueItem& item = add_item(TRANSCODE_CLEARED);
  item_active_upload_in_action = &item;
  fake_child::run_for(item);
  scan();
  EXPECT_EQ(transcode_queue.size(), 1U);
  child_.end(exited(0));
  EXPECT_TRUE(scan());  // reaped: a turn with work
  EXPECT_EQ(transcode_queue.size(), 1U);
  item_active_upload_in_action = &item;
  scan();
  EXPECT_THAT(transcode_queue, IsEmpty());
  EXPECT_EQ(item_active_upload_in_action, nullptr);
  EXPECT_EQ(transcode_queue_mod_count, 1U);
}

TEST_F(scheduler, cleared_item_with_output_stays) {
  QueueItem& item = add_item(TRANSCODE_CLEARED);
  for (auto* const end : {&item.proc_stdout_read_fd, &item.proc_stdout_write_fd}) {
    *end = 900;
    scan();
    EXPECT_EQ(transcode_queue.size(), 1U);
    *end = -1;
  }
  ASSERT_TRUE(QueueItem::_std_init_buffer(item.proc_stdout_buffer, proc_buffer_size));
  scan();
  EXPECT_EQ(transcode_queue.size(), 1U);
}

TEST_F(scheduler, items_in_every_other_state_stay) {
  DIE = 1;  // no item does any work of its own
  for (const auto state :
       {TRANSCODE_CANCELLED, TRANSCODE_CANCELLING, TRANSCODE_READY, TRANSCODE_REMOTE,
        TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL, TRANSCODE_CLEANUP, TRANSCODE_DONE}) {
    add_item(state);
  }
  clock_us += 1000 * second_us;
  scan();
  EXPECT_EQ(transcode_queue.size(), 8U);
  EXPECT_EQ(transcode_queue_mod_count, 0U);
}

TEST_F(scheduler, only_the_first_ready_item_is_chosen) {
  QueueItem& first = add_startable();
  QueueItem& second = add_startable();
  scan();
  EXPECT_TRUE(was_chosen(first));
  EXPECT_FALSE(was_chosen(second));
  EXPECT_EQ(next_queue_scan, clock_us + 5 * second_us) << "a failed start brings no earlier scan";
}

TEST_F(scheduler, failed_start_cancels_and_writes_the_status) {
  QueueItem& item = add_startable();
  item.state_message = "Ready";
  scan();
  EXPECT_TRUE(was_chosen(item));
  EXPECT_THAT(status_writes, ElementsAre("cancelled: Ready"));
}

TEST_F(scheduler, item_that_lacks_anything_is_not_chosen) {
  const std::map<std::string, std::function<void(QueueItem&)>> lacks = {
      {"profile", [](QueueItem& item) { item.transcode_profile.clear(); }},
      {"listing", [](QueueItem& item) { item.quoted_profile.clear(); }},
      {"output", [](QueueItem& item) { item.output_file.clear(); }},
      {"input", [](QueueItem& item) { item.input_file.clear(); }},
      {"approval", [](QueueItem& item) { item.approved = false; }},
      {"leave to run", [](QueueItem& item) { item.paused = true; }},
      {"the last ready step", [](QueueItem& i) { i.sm.ready.set_state(READY_QUERY_PROFILES); }},
      {"end of its child", [](QueueItem& item) { fake_child::run_for(item); }}};
  DIE = 1;  // no item does any work of its own
  for (const auto& [what, take_away] : lacks) {
    QueueItem& item = add_startable();
    take_away(item);
    scan();
    EXPECT_FALSE(was_chosen(item)) << "without " << what;
  }
}

TEST_F(scheduler, item_that_holds_the_slot_itself_is_chosen) {
  QueueItem& item = add_startable();
  item_active_transcode_in_action = &item;
  scan();
  EXPECT_TRUE(was_chosen(item));
}

TEST_F(scheduler, running_transcode_keeps_the_slot_and_others_wait) {
  QueueItem& ready = add_startable();
  QueueItem& running = add_transcoding();
  item_active_transcode_in_action = &running;
  scan();
  EXPECT_EQ(item_active_transcode_in_action, &running);
  EXPECT_FALSE(was_chosen(ready));
}

TEST_F(scheduler, slot_goes_to_the_first_running_transcode) {
  QueueItem& first = add_transcoding();
  QueueItem& second = add_transcoding();
  item_active_transcode_in_action = &second;
  scan();
  EXPECT_EQ(item_active_transcode_in_action, &first);
}

TEST_F(scheduler, slot_is_freed_when_nothing_transcodes) {
  QueueItem& done = add_item(TRANSCODE_DONE);
  QueueItem& ready = add_startable();
  item_active_transcode_in_action = &done;
  scan();
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
  EXPECT_FALSE(was_chosen(ready)) << "the slot was taken when the scan came by";
  scan();
  EXPECT_TRUE(was_chosen(ready));
}

TEST_F(scheduler, slot_is_freed_when_the_queue_is_empty) {
  QueueItem item;
  item_active_transcode_in_action = &item;
  EXPECT_FALSE(scan());
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
}

TEST_F(scheduler, paused_transcode_lets_another_item_start) {
  QueueItem& paused = add_transcoding();
  paused.paused = true;
  QueueItem& ready = add_startable();
  scan();
  EXPECT_TRUE(was_chosen(ready));
  EXPECT_THAT(child_.signals, IsEmpty());
}

TEST_F(scheduler, waiting_transcode_is_resumed) {
  QueueItem& item = add_transcoding(true);
  const stderr_capture capture;
  EXPECT_FALSE(scan());
  EXPECT_THAT(child_.signals, ElementsAre(SIGUSR2));
  EXPECT_EQ(item_active_transcode_in_action, &item);
  EXPECT_FALSE(item.waiting);
  EXPECT_THAT(status_writes, ElementsAre("transcoding: Transcoding file..."));
  EXPECT_EQ(capture.text(), "Item '" + item.entry_id + "' resuming transcode\n");
}

TEST_F(scheduler, first_waiting_transcode_precedes_a_ready_item) {
  QueueItem& ready = add_startable();
  QueueItem& first = add_transcoding(true);
  QueueItem& second = add_transcoding(true);
  scan();
  EXPECT_FALSE(first.waiting);
  EXPECT_TRUE(second.waiting);
  EXPECT_FALSE(was_chosen(ready));
}

TEST_F(scheduler, waiting_transcode_waits_for_a_running_one) {
  QueueItem& waiting = add_transcoding(true);
  add_transcoding();
  scan();
  EXPECT_TRUE(waiting.waiting);
  EXPECT_THAT(child_.signals, IsEmpty());
}

TEST_F(scheduler, waiting_transcode_that_is_paused_again_is_skipped) {
  QueueItem& item = add_transcoding(true);
  item.paused = true;
  scan();
  EXPECT_TRUE(item.waiting);
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
}

TEST_F(scheduler, waiting_transcode_whose_child_has_ended_is_resumed_without_a_signal) {
  QueueItem& item = add_transcoding(true);
  item.proc_pid = -1;
  scan();
  EXPECT_FALSE(item.waiting);
  EXPECT_EQ(item.state_message, "Transcoding file...");
  EXPECT_TRUE(child_.signals.empty() && child_.stray_signals.empty());
}

// Its own turn would cancel it with another text.
TEST_F(scheduler, waiting_transcode_without_a_process_is_cancelled) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  item.waiting = true;
  DIE = 1;
  scan();
  EXPECT_THAT(status_writes, ElementsAre("cancelled: Cannot resume, process not running"));
}

TEST_F(scheduler, ready_items_wait_on_a_machine_just_booted) {
  uptime_wait = true;
  QueueItem& ready = add_startable();
  scan();
  EXPECT_EQ(ready.sm.state, TRANSCODE_READY);
}

TEST_F(scheduler, waiting_transcode_resumes_on_a_machine_just_booted) {
  uptime_wait = true;
  QueueItem& item = add_transcoding(true);
  scan();
  EXPECT_FALSE(item.waiting);
  EXPECT_THAT(child_.signals, ElementsAre(SIGUSR2));
}

TEST_F(scheduler, only_the_items_own_slots_are_released) {
  QueueItem one;
  QueueItem two;
  item_metadata_ident_in_action = &one;
  item_query_profiles_in_action = &two;
  item_active_transcode_in_action = &one;
  item_active_upload_in_action = &one;
  item_active_download_in_action = &one;
  item_in_action_remove_self(&one);
  EXPECT_EQ(item_metadata_ident_in_action, nullptr);
  EXPECT_EQ(item_query_profiles_in_action, &two);
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
  EXPECT_EQ(item_active_upload_in_action, nullptr);
  EXPECT_EQ(item_active_download_in_action, nullptr);
}
