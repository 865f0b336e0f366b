// Adding a file in two requests.
#include <gmock/gmock.h>

#include "tests/tools/client/scripted_service.h"
#include "tools/client/submission.h"

using testing::ElementsAre;

namespace {

// Answers "add" with the id "a", and `word` with `reply`.
scripted_service service_that_answers(const std::string& word, const service_reply& reply) {
  return scripted_service([=](const std::string& command, const name_values&) {
    if (command == word) { return reply; }
    service_reply good = accepted("");
    if (command == "add") { good.pairs = {{"entry id", "a"}}; }
    return good;
  });
}

}  // namespace

TEST(submission, consists_of_an_add_and_a_ready) {
  auto service = service_that_answers("", {});
  const submission made = submit(service, {"/mnt/f", "720", true}, false);
  EXPECT_EQ(made.end, submission::step::added);
  EXPECT_EQ(made.entry_id, "a");
  EXPECT_THAT(service.asked(),
              ElementsAre("add input file=/mnt/f transcode profile=720 delete on finish=1",
                          "ready entry id=a"));
}

TEST(submission, that_is_held_is_not_made_ready) {
  auto service = service_that_answers("", {});
  EXPECT_EQ(submit(service, {"/mnt/f", "", false}, true).end, submission::step::added);
  EXPECT_THAT(service.asked(), ElementsAre("add input file=/mnt/f"));
}

TEST(submission, that_is_refused_at_once_leaves_nothing_to_take_back) {
  auto service = service_that_answers("add", refused(exit_refused, "TOO MANY ITEMS"));
  EXPECT_EQ(submit(service, {"/mnt/f", "", false}, false).end, submission::step::refused_at_add);
  EXPECT_EQ(service.asked().size(), 1U);
}

TEST(submission, that_is_refused_later_is_taken_back_and_keeps_its_source) {
  auto service = service_that_answers("ready", refused(exit_refused, "REFUSED"));
  const submission made = submit(service, {"/mnt/f", "", true}, false);
  EXPECT_EQ(made.end, submission::step::refused_at_ready);
  EXPECT_TRUE(made.taken_back.accepted());
  EXPECT_THAT(service.asked(),
              ElementsAre("add input file=/mnt/f delete on finish=1", "ready entry id=a",
                          "modify entry id=a delete on finish=0", "remove entry id=a"));
}

TEST(submission, stays_where_its_source_could_not_be_kept) {
  auto service = scripted_service([](const std::string& command, const name_values&) {
    return command == "add" ? accepted("") : refused(exit_refused, "REFUSED");
  });
  EXPECT_FALSE(submit(service, {"/mnt/f", "", true}, false).taken_back.accepted());
  EXPECT_EQ(service.asked().back(), "modify entry id= delete on finish=0");
}

TEST(submission, is_not_taken_back_when_the_service_went_away) {
  auto service = service_that_answers("ready", refused(exit_no_service, "gone"));
  EXPECT_EQ(submit(service, {"/mnt/f", "", true}, false).end, submission::step::not_made_ready);
  EXPECT_EQ(service.asked().size(), 2U);
}

TEST(profile_problem, goes_by_what_is_listed) {
  constexpr std::chrono::milliseconds no_time{0};
  EXPECT_EQ(profile_problem("", "/mnt/f", {"720"}, no_time), "");
  EXPECT_EQ(profile_problem("720", "/mnt/f", {"720", "480"}, no_time), "");
  EXPECT_NE(profile_problem("1080", "/mnt/f", {"720", "480"}, no_time), "");
}
