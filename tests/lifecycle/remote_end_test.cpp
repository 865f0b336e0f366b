// The ends of the tools of "remote transcode": the effect on the item, whatever its state is by
// then.
#include <gmock/gmock.h>

#include "tests/lifecycle/ended_step.h"

using namespace qx_test;
using ::testing::ElementsAre;

namespace {

class remote_end : public ended_step {
protected:
  // A tool of this step that has printed this.
  QueueItem& run_remote(remote_transcode_states state, const std::string& output = "") {
    QueueItem& item = add_item(TRANSCODE_REMOTE);
    item.sm.remote.set_state(state);
    item.state_message = "as it was";
    EXPECT_TRUE(QueueItem::_std_init_buffer(item.proc_stdout_buffer, proc_buffer_size));
    memcpy(item.proc_stdout_buffer->write_pos, output.data(), output.size());
    item.proc_stdout_buffer->write_pos += output.size();
    return run(item);
  }
  // A reply whose document is not an item.
  static std::string reply(const std::string& comm_headers = "") {
    return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n" + comm_headers + "\n{}";
  }
};

}  // namespace

TEST_F(remote_end, completed_upload_is_recorded_and_the_item_added) {
  QueueItem& item = run_remote(REMOTE_UPLOAD);
  end(item, exited(0));
  EXPECT_TRUE(item.uploaded);
  EXPECT_EQ(item.sm.remote.state, REMOTE_ADD);
  EXPECT_TRUE(rescans());
  EXPECT_THAT(status_writes, ElementsAre("remote transcode: as it was"));
}

TEST_F(remote_end, failed_upload_cancels) {
  for (const int status : failures) {
    QueueItem& item = run_remote(REMOTE_UPLOAD);
    end(item, status);
    EXPECT_FALSE(item.uploaded);
    EXPECT_THAT(status_writes, ElementsAre("cancelling: Unable to send file to remote"));
  }
}

TEST_F(remote_end, late_upload_is_still_recorded) {
  for (const int status : {exited(0), exited(1)}) {
    QueueItem& item = run_remote(REMOTE_UPLOAD);
    item.sm.set_state(TRANSCODE_CANCELLING);
    end(item, status);
    EXPECT_EQ(item.uploaded, status == 0);
    EXPECT_EQ(rescans(), status == 0);
    EXPECT_THAT(status_writes, ElementsAre("cancelling: as it was"));
  }
}

TEST_F(remote_end, accepted_job_is_monitored_despite_an_empty_document) {
  QueueItem& item = run_remote(REMOTE_ADD, reply("entry id:far\n"));
  end(item, exited(0));
  EXPECT_EQ(item.remote_info.entry_id, "far");
  EXPECT_EQ(item.sm.remote.state, REMOTE_MONITOR);
  EXPECT_THAT(status_writes, ElementsAre("remote transcode: Transcoding file..."));
}

// The user paused the job during a request to its server.
TEST_F(remote_end, is_evaluated_by_what_the_tool_was_started_for) {
  QueueItem& item = run_remote(REMOTE_MONITOR);
  ASSERT_TRUE(item.pause());
  end(item, exited(7));
  EXPECT_THAT(status_writes,
              ElementsAre("remote transcode: Remote item: status temporarily unavailable. Unable "
                          "to connect to web interface"));
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "pause");
}

TEST_F(remote_end, fetched_file_ends_the_download) {
  QueueItem& item = run_remote(REMOTE_DOWNLOAD);
  end(item, exited(0));
  EXPECT_EQ(item.sm.remote.state, REMOTE_DONE);
  EXPECT_EQ(item.progress, 10000);
  EXPECT_THAT(status_writes, ElementsAre("remote transcode: Remote item: download complete"));
}

TEST_F(remote_end, completed_command_leads_back_to_monitoring) {
  QueueItem& item = run_remote(REMOTE_COMMAND, reply());
  item.sm.remote_command = "pause";
  end(item, exited(0));
  EXPECT_EQ(item.sm.remote_command, "");
  EXPECT_EQ(item.sm.remote.state, REMOTE_MONITOR);
  EXPECT_THAT(status_writes, ElementsAre("remote transcode: as it was"));
}

TEST_F(remote_end, command_of_a_user_who_cancels_ends_the_item) {
  QueueItem& item = run_remote(REMOTE_COMMAND, reply());
  item.sm.remote_command = "cancel";
  item.user_wants_cancel = true;
  end(item, exited(0));
  EXPECT_THAT(status_writes, ElementsAre("cancelling: as it was"));
}

TEST_F(remote_end, nothing_is_evaluated_during_a_shutdown) {
  DIE = 1;
  QueueItem& item = run_remote(REMOTE_UPLOAD);
  end(item, exited(0));
  EXPECT_FALSE(item.uploaded);
  EXPECT_EQ(item.sm.remote.state, REMOTE_UPLOAD);
  EXPECT_TRUE(status_writes.empty());
}
