// Waiting for jobs, against answers made for it.
#include <algorithm>

#include <gmock/gmock.h>

#include "tests/tools/client/scripted_service.h"
#include "tools/qx_vod_ctl/job_waiter.h"

using ::testing::ElementsAre;

namespace {

struct waiting {
  int exit_status = -1;
  int pauses = 0;
  std::string out;
  std::string err;
};

waiting wait_for(vod_service& service, const std::vector<std::string>& ids, bool json = false) {
  waiting result;
  job_waiter waiter(service, json, [&] { ++result.pauses; });
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  result.exit_status = waiter.wait(ids);
  result.out = testing::internal::GetCapturedStdout();
  result.err = testing::internal::GetCapturedStderr();
  return result;
}

// Answers one after another; the last one is repeated.
scripted_service service_saying(const std::vector<service_reply>& replies) {
  return scripted_service([replies, next = std::size_t{0}](auto&, auto&) mutable {
    return replies[std::min(next++, replies.size() - 1)];
  });
}

const service_reply running = accepted(item_json("a", "transcoding"));
const service_reply done = accepted(item_json("a", "done", "Finished"));
const service_reply cancelled = accepted(item_json("a", "cancelled", "Cancelled by user"));
const service_reply away = refused(exit_no_service, "no service");
const service_reply unknown = refused(exit_no_such_item, "NOT FOUND");

}  // namespace

TEST(job_waiter, job_that_has_ended_needs_no_pause) {
  auto service = service_saying({done});
  const auto result = wait_for(service, {"a"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.pauses, 0);
  EXPECT_EQ(result.out, "a  done  Finished\n");
}

TEST(job_waiter, pauses_before_each_further_request) {
  auto service = service_saying({running, running, running, done});
  const auto result = wait_for(service, {"a"});
  EXPECT_EQ(result.pauses, 3);
  EXPECT_EQ(service.asked().size(), 4U);
}

TEST(job_waiter, cancelled_job_is_a_failure_with_its_text) {
  auto service = service_saying({running, cancelled});
  const auto result = wait_for(service, {"a"});
  EXPECT_EQ(result.exit_status, exit_job_failed);
  EXPECT_EQ(result.out, "a  cancelled  Cancelled by user\n");
}

TEST(job_waiter, cancelling_is_not_the_end) {
  auto service = service_saying({accepted(item_json("a", "cancelling")), cancelled});
  wait_for(service, {"a"});
  EXPECT_EQ(service.asked().size(), 2U);
}

TEST(job_waiter, job_that_vanishes_is_reported) {
  auto service = service_saying({running, unknown});
  const auto result = wait_for(service, {"a"});
  EXPECT_EQ(result.exit_status, exit_no_such_item);
  EXPECT_EQ(result.err, "qx_vod_ctl: a: no longer in the queue\n");
}

TEST(job_waiter, missing_service_is_waited_for_and_reported_once) {
  auto service = service_saying({running, away, away, away, done});
  const auto result = wait_for(service, {"a"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.err, "qx_vod_ctl: no service; still waiting\n"
                        "qx_vod_ctl: the service is back\n");
  EXPECT_EQ(result.pauses, 4);
}

TEST(job_waiter, missing_service_at_the_first_look_is_paced_too) {
  auto service = service_saying({away, done});
  EXPECT_EQ(wait_for(service, {"a"}).pauses, 1);
}

TEST(job_waiter, several_jobs_are_queried_in_turn) {
  scripted_service service([asked = 0](auto&, auto& pairs) mutable {
    return accepted(item_json(pairs[0].second, ++asked < 5 ? "transcoding" : "done"));
  });
  const auto result = wait_for(service, {"a", "b"});
  EXPECT_THAT(service.asked(),
              ElementsAre("list entry id=a", "list entry id=b", "list entry id=a",
                          "list entry id=b", "list entry id=a", "list entry id=b"));
  EXPECT_EQ(result.pauses, 4);
}

TEST(job_waiter, highest_status_of_several_jobs_counts) {
  scripted_service service([](auto&, auto& pairs) {
    if (pairs[0].second == "gone") { return unknown; }
    return pairs[0].second == "bad" ? cancelled : done;
  });
  EXPECT_EQ(wait_for(service, {"gone", "bad", "good"}).exit_status, exit_no_such_item);
  EXPECT_EQ(wait_for(service, {"good", "bad"}).exit_status, exit_job_failed);
}

TEST(job_waiter, running_job_is_queried_after_every_pause_for_its_progress) {
  scripted_service service([asked = 0](auto&, auto& pairs) mutable {
    const std::string state = pairs[0].second == "a" ? "transcoding" : "ready";
    return accepted(item_json(pairs[0].second, ++asked < 7 ? state : "done"));
  });
  progress_line progress(stdout, false);
  job_waiter waiter(
      service, false, [] {}, &progress);
  testing::internal::CaptureStdout();
  waiter.wait({"a", "b"});
  testing::internal::GetCapturedStdout();
  EXPECT_THAT(service.asked(),
              ElementsAre("list entry id=a", "list entry id=b", "list entry id=a",
                          "list entry id=a", "list entry id=b", "list entry id=a",
                          "list entry id=a", "list entry id=b", "list entry id=a"));
}

TEST(progress_line, stream_gets_a_line_for_each_tenth_part) {
  testing::internal::CaptureStdout();
  {
    progress_line progress(stdout, false);
    item_view item;
    item.entry_id = "a";
    item.state = "transcoding";
    for (item.progress = 0; item.progress <= 2500; item.progress += 100) {
      progress.show(item);
    }
  }
  const auto lines = testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3) << lines;
}

TEST(job_waiter, raw_form_is_the_unchanged_item) {
  auto service = service_saying({done});
  EXPECT_EQ(wait_for(service, {"a"}, true).out, done.data + "\n");
}
