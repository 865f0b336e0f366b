// watch and the questions of remove, on a terminal, with the real service.
#include <csignal>

#include <sys/wait.h>

#include <gmock/gmock.h>

#include "tests/support/wait_until.h"
#include "tests/tools/qx_vod_ctl/terminal.h"

using namespace qx_test;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace {

constexpr const char* first_screen = "\x1b[?7h\x1b[?25h\x1b[?1049l";

}  // namespace

TEST(ctl_watch, shows_the_queue_and_restores_the_terminal) {
  ctl_machine machine;
  machine.start_with_items({"aaaa", "bbbb"});
  ctl_terminal terminal(machine.root, "watch");
  EXPECT_TRUE(terminal.shows("2 jobs: 2 cancelled"));
  EXPECT_FALSE(terminal.is_as_before());
  terminal.type("q");
  EXPECT_EQ(terminal.wait_for_end(), 0);
  EXPECT_TRUE(terminal.is_as_before());
  EXPECT_THAT(terminal.output(), EndsWith(first_screen));
}

TEST(ctl_watch, keys_act_on_the_selected_job) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  const std::string id = machine.add_transcoding("/mnt/media/clip.mpg");
  ctl_terminal terminal(machine.root, "watch");
  ASSERT_TRUE(terminal.shows("transcoding"));
  terminal.type("\x1b[Bp");
  EXPECT_TRUE(wait_until([&] { return machine.client.state_text(id) == "Paused"; }));
  terminal.type("c");
  ASSERT_TRUE(terminal.shows("Cancel clip.mpg"));
  terminal.type("y");
  machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_TRUE(terminal.shows("2 jobs: 2 cancelled"));
}

TEST(ctl_watch, does_not_take_typed_ahead_keys_for_an_answer) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  ctl_terminal terminal(machine.root, "watch");
  ASSERT_TRUE(terminal.shows("1 job"));
  terminal.type("xy");
  ASSERT_TRUE(terminal.shows("Remove "));
  terminal.type("n");
  terminal.type("q");
  EXPECT_EQ(terminal.wait_for_end(), 0);
  EXPECT_EQ(machine.client.list()["total"].int_value(), 1);
}

TEST(ctl_watch, survives_a_restart_of_the_service_and_says_so) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  ctl_terminal terminal(machine.root, "watch");
  ASSERT_TRUE(terminal.shows("1 job: 1 cancelled"));
  machine.service.kill();
  ASSERT_TRUE(terminal.shows("waiting for it"));
  machine.root.write_queue_file("{\"list\":[]}");
  machine.service.start();
  EXPECT_TRUE(terminal.shows("The queue is empty."));
}

TEST(ctl_watch, ends_by_the_signal_with_the_terminal_restored) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  ctl_terminal terminal(machine.root, "watch");
  ASSERT_TRUE(terminal.shows("1 job"));
  terminal.signal(SIGTERM);
  const int status = terminal.wait_for_end();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
  EXPECT_TRUE(terminal.is_as_before());
  EXPECT_THAT(terminal.output(), EndsWith(first_screen));
}

TEST(ctl_watch, suspended_one_releases_the_terminal_until_it_continues) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  ctl_terminal terminal(machine.root, "watch");
  ASSERT_TRUE(terminal.shows("1 job"));
  terminal.signal(SIGTSTP);
  EXPECT_TRUE(terminal.shows(first_screen));
  EXPECT_TRUE(wait_until([&] { return terminal.is_as_before(); }));
  terminal.signal(SIGCONT);
  EXPECT_TRUE(terminal.shows("1 job"));
}

TEST(ctl_watch, follows_the_terminal_s_size) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  ctl_terminal terminal(machine.root, "watch");
  ASSERT_TRUE(terminal.shows("\x1b[12;1H"));
  terminal.resize(30, 100);
  terminal.signal(SIGWINCH);
  EXPECT_TRUE(terminal.shows("\x1b[30;1H"));
}

TEST(ctl_watch, needs_a_terminal) {
  ctl_machine machine;
  const auto result = machine.ctl({"watch"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.err, HasSubstr("needs a terminal"));
}

TEST(ctl_remove, asks_on_a_terminal_before_removing_a_whole_selection) {
  ctl_machine machine;
  machine.start_with_items({"aaaa", "bbbb"});
  ctl_terminal refusing(machine.root, "remove --all");
  ASSERT_TRUE(refusing.shows("Remove 2 jobs? [y/N]"));
  refusing.type("n\n");
  EXPECT_EQ(refusing.wait_for_end(), 0);
  EXPECT_EQ(machine.client.list()["total"].int_value(), 2);
  ctl_terminal agreeing(machine.root, "remove --all");
  ASSERT_TRUE(agreeing.shows("[y/N]"));
  agreeing.type("y\n");
  EXPECT_EQ(agreeing.wait_for_end(), 0);
  EXPECT_TRUE(wait_until([&] { return machine.client.list()["total"].int_value() == 0; }));
}

TEST(ctl_status, terminal_gets_lines_that_fit_and_colours) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  ctl_terminal terminal(machine.root, "status");
  EXPECT_TRUE(terminal.shows("\x1b[31m"));
  EXPECT_EQ(terminal.wait_for_end(), 0);
}

TEST(ctl_follow, terminal_has_one_line_that_is_updated) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  const std::string id = machine.add_transcoding("/mnt/media/clip.mpg");
  ctl_terminal terminal(machine.root, "follow " + id);
  ASSERT_TRUE(terminal.shows("\r" + id.substr(0, 8) + "  transcoding  ##########..........  50%"));
  ASSERT_TRUE(terminal.shows("\r" + id.substr(0, 8)));
  machine.root.release("go");
  EXPECT_EQ(terminal.wait_for_end(), 0);
  EXPECT_THAT(terminal.output(), HasSubstr("\r\x1b[K" + id + "  done"));
}
