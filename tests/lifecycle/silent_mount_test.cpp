// Sources on a file system that does not answer: their jobs wait, everybody else is served.
#include <atomic>
#include <filesystem>
#include <thread>

#include "tests/support/silent_mount.h"
#include "tests/support/skip.h"
#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;

namespace {

constexpr char waiting_text[] = "Waiting for the file system of the source";
constexpr char clip[] = "/mnt/share/clip.mpg";
constexpr char other[] = "/mnt/share/other.mpg";
constexpr char local[] = "/mnt/media/local.mpg";

// The mount ends before the service, so that nothing waits for it at the end.
class job_on_a_mount : public ::testing::Test {
protected:
  void SetUp() override {
    if (!mount_.is_mounted()) { QX_SKIP_OR_FAIL_IN_CI("FUSE cannot be used"); }
    machine_.root.write_source(local, "video/mp4");
  }

  // Adds a job, ready at once, and waits until it says that it waits.
  std::string add_waiting(const char* source) const {
    std::string id = client().add_ready(source);
    client().wait_for_state_text(id, waiting_text);
    return id;
  }
  void expect_done(const std::string& id) const { client().wait_for_transcode_state(id, "done"); }
  // Starts a job that is ready and whose transcode runs until release("go").
  std::string start_held_job(const char* source) const {
    machine_.root.plan_call(tool::transcode, 1, tool_plan().wait("go").write("{-o}", "video"));
    std::string id = client().add_ready(source);
    machine_.root.wait_for_call(tool::transcode);
    return id;
  }
  const control_client& client() const { return machine_.client; }

  test_machine machine_;
  silent_mount mount_{machine_.root, "/mnt/share"};
};

}  // namespace

TEST_F(job_on_a_mount, that_answers_is_done_like_any_other) {
  machine_.start();
  expect_done(client().add_ready(clip));
  EXPECT_EQ(machine_.root.calls(tool::startitem).size(), 1U) << "only for the output";
}

TEST_F(job_on_a_mount, that_answers_slowly_is_done_too) {
  mount_.answer_slowly();
  machine_.start();
  expect_done(client().add_ready(clip));
}

// On a crowded machine an answer can be late, and the job is accepted for the time being.
TEST_F(job_on_a_mount, without_its_file_is_refused_with_the_usual_text) {
  machine_.start();
  std::string id;
  EXPECT_TRUE(wait_until([&] {
    id = client().add_file("/mnt/share/missing.mpg");
    return client().command("ready", id).status() == "ONE OR MORE PARAMETERS CANNOT BE MODIFIED";
  }));
  EXPECT_EQ(client().state_text(id), "Rejected: file not accessible, No such file or directory");
}

TEST_F(job_on_a_mount, that_is_silent_waits_and_goes_on_with_its_answer) {
  mount_.fall_silent();
  machine_.start();
  const std::string id = add_waiting(clip);
  EXPECT_EQ(client().transcode_state(id), "ready");
  EXPECT_TRUE(machine_.service.wait_for_stderr(
      "Mount '/mnt/share' does not answer, jobs with sources on it wait\n"));
  EXPECT_TRUE(machine_.root.calls().empty());
  mount_.answer();
  expect_done(id);
  EXPECT_TRUE(machine_.service.wait_for_stderr("Mount '/mnt/share' answers again\n"));
}

TEST_F(job_on_a_mount, that_was_silent_is_refused_once_its_file_turns_out_to_be_missing) {
  mount_.fall_silent();
  machine_.start();
  const std::string id = add_waiting("/mnt/share/missing.mpg");
  mount_.answer();
  client().wait_for_state_text(id, "Rejected: file not accessible, No such file or directory");
  EXPECT_EQ(client().transcode_state(id), "cancelled");
}

TEST_F(job_on_a_mount, reached_by_a_link_waits_too) {
  std::filesystem::create_symlink("../share", machine_.root.path("/mnt/media/link"));
  mount_.fall_silent();
  machine_.start();
  const std::string id = add_waiting("/mnt/media/link/clip.mpg");
  mount_.answer();
  expect_done(id);
}

TEST_F(job_on_a_mount, that_is_silent_can_be_cancelled_and_removed) {
  mount_.fall_silent();
  machine_.start();
  const std::string id = add_waiting(clip);
  EXPECT_EQ(client().command("cancel", id).status(), "OK");
  EXPECT_EQ(client().transcode_state(id), "cancelled");
  EXPECT_EQ(client().state_text(id), "Cancelled by user");
  EXPECT_EQ(client().command("remove", id).status(), "OK");
  EXPECT_TRUE(wait_until([&] { return client().item(id).is_null(); }));
}

TEST_F(job_on_a_mount, that_is_silent_lets_later_jobs_pass) {
  machine_.start();
  const std::string first = start_held_job(local);
  const std::string silent = client().add_ready(clip);
  const std::string later = client().add_ready(local);
  for (const auto& id : {silent, later}) {
    client().wait_for_item(id, [](const json11::Json& item) {
      return item["ready state"].string_value() == "ready to transcode";
    });
  }
  mount_.fall_silent();
  machine_.root.release("go");
  expect_done(later);
  client().wait_for_state_text(silent, waiting_text);
  mount_.answer();
  expect_done(silent);
}

TEST_F(job_on_a_mount, that_falls_silent_during_the_transcode_is_completed_later) {
  machine_.start();
  const std::string id = start_held_job(clip);
  mount_.fall_silent();
  machine_.root.release("go");
  client().wait_for_state_text(id, waiting_text);
  EXPECT_EQ(client().transcode_state(id), "thumbnail");
  mount_.answer();
  expect_done(id);
}

TEST_F(job_on_a_mount, that_is_silent_keeps_its_source_until_it_answers) {
  mount_.fall_silent();
  machine_.start();
  const std::string id = client().add_ready(clip, {{"delete on finish", "1"}});
  EXPECT_EQ(client().command("remove", id).status(), "OK");
  client().wait_for_state_text(id, waiting_text);
  EXPECT_EQ(client().transcode_state(id), "cleanup");
  EXPECT_TRUE(machine_.root.calls(tool::rm).empty());
  mount_.answer();
  machine_.root.wait_for_call(tool::rm);
}

TEST_F(job_on_a_mount, that_is_silent_does_not_hold_up_the_start_of_the_service) {
  machine_.start();
  const std::string held = start_held_job(clip);
  const std::string ready = client().add_ready(other);
  client().wait_for_state_text(ready, "Ready");
  mount_.fall_silent();
  machine_.service.restart();
  for (const auto& id : {held, ready}) {
    client().wait_for_state_text(id, waiting_text);
    EXPECT_EQ(client().transcode_state(id), "ready");
  }
  mount_.answer();
  machine_.root.release("go");
  expect_done(held);
  expect_done(ready);
}

TEST_F(job_on_a_mount, that_was_cancelled_stays_as_it_is_after_a_restart) {
  machine_.start();
  const std::string gone = client().add_file("/mnt/share/missing.mpg");
  const std::string there = client().add_file(clip);
  for (const auto& id : {gone, there}) {
    EXPECT_EQ(client().command("cancel", id).status(), "OK");
  }
  mount_.fall_silent();
  machine_.service.restart();
  const std::string next = add_waiting(other);
  mount_.answer();
  expect_done(next);
  for (const auto& id : {gone, there}) {
    EXPECT_EQ(client().state_text(id), "Cancelled by user");
    EXPECT_NE(client().item(id)["input file"].string_value(), "");
  }
}

TEST_F(job_on_a_mount, that_is_silent_does_not_hold_up_the_end_of_the_service) {
  mount_.fall_silent();
  machine_.start();
  add_waiting(clip);
  EXPECT_EQ(machine_.service.stop().status, 0);
}

// Each would wait until the mount answers. How long replies take is measured by
// scripts/silent-mounts.
TEST_F(job_on_a_mount, that_is_silent_does_not_hold_up_requests_of_others) {
  machine_.start();
  mount_.fall_silent();
  std::atomic<bool> is_over{false};
  std::thread adder([&] {
    for (int i = 0; i < 100 && !is_over; ++i) {
      client().add_ready(i % 2 == 0 ? clip : other);
    }
  });
  for (int i = 0; i < 500; ++i) {
    EXPECT_EQ(client().request("test").status(), "OK");
    EXPECT_EQ(client().request("list").status(), "OK");
  }
  is_over = true;
  adder.join();
}
