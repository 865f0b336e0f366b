// The queue in lines for a screen.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/queue_screen.h"
#include "tools/qx_vod_ctl/terminal_text.h"

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

screen_row row_of(std::uint64_t position, const std::string& state, int progress = 0) {
  screen_row row;
  row.listed.position = position;
  row.listed.item.entry_id = "0123456789abcdef";
  row.listed.item.input_file = "/mnt/media/news.mpg";
  row.listed.item.state = state;
  row.listed.item.progress = progress;
  return row;
}

screen_row named_row(const std::string& file, const std::string& text) {
  auto row = row_of(7, "transcoding", 4150);
  row.listed.item.input_file = file;
  row.listed.item.profile = "1080";
  row.listed.item.text = text;
  row.expected = "~14:32";
  return row;
}

screen_style wide(std::size_t width) {
  screen_style style;
  style.width = width;
  return style;
}

std::vector<std::size_t> widths_of(const std::vector<std::string>& lines) {
  std::vector<std::size_t> widths;
  for (const auto& line : lines) {
    widths.push_back(columns(line));
  }
  return widths;
}

const std::string long_name = "/mnt/media/" + std::string(300, 'n') + ".mpg";
// Wide characters, combining marks, and invalid bytes.
const std::string odd_name = "/mnt/media/\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e\xe6\x97\xa5\xe6\x9c"
                             "\xac\xe8\xaa\x9e\xe6\x97\xa5\xe6\x9c\xac"
                             "e\xcc\x81"
                             "e\xcc\x81"
                             "\xff\x1b[2J.mpg";

}  // namespace

TEST(queue_lines, whole_line_without_a_width) {
  const auto lines =
      queue_lines({named_row("/mnt/media/a.mpg", "Transcoding file...")}, 8, wide(0));
  EXPECT_THAT(lines,
              ElementsAre("POS  ID        STATE        PROGRESS  PROFILE  READY AT  INPUT         "
                          "    TEXT",
                          "  7  01234567  transcoding  41.5%     1080     ~14:32    "
                          "/mnt/media/a.mpg  Transcoding file..."));
}

TEST(queue_lines, eighty_columns_hold_every_column) {
  const auto lines = queue_lines({named_row(long_name, "Transcoding file...")}, 8, wide(80));
  EXPECT_THAT(widths_of(lines), Each(::testing::Le(80U)));
  for (const auto* part :
       {"7", "01234567", "transcoding", "41%", "1080", "~14:32", ".mpg", "Transc"}) {
    EXPECT_THAT(lines[1], HasSubstr(part));
  }
}

TEST(queue_lines, forty_columns_show_the_name_with_state_and_progress) {
  const auto lines =
      queue_lines({named_row("/mnt/media/evening news.mpg", "Transcoding file...")}, 8, wide(40));
  EXPECT_THAT(lines, ElementsAre("ID       STATE       %   INPUT",
                                 "01234567 transcoding 41% evening\u2026ews.mpg"));
}

TEST(queue_lines, forty_columns_show_paused_and_failed_jobs_by_their_state) {
  auto paused = row_of(0, "transcoding", 4150);
  paused.listed.item.paused = true;
  auto failed = row_of(1, "cancelled");
  failed.listed.item.text = "Transcoding failed";
  auto cancelled = row_of(2, "cancelled");
  cancelled.listed.item.text = "Cancelled by user";
  const auto lines = queue_lines({paused, failed, cancelled}, 8, wide(40));
  EXPECT_THAT(lines[1], HasSubstr(" paused "));
  EXPECT_THAT(lines[2], HasSubstr(" failed "));
  EXPECT_THAT(lines[3], HasSubstr(" cancelled "));
}

TEST(queue_lines, narrow_screen_keeps_the_columns_that_fit) {
  const auto line = queue_lines({named_row("/mnt/media/a.ts", "Paused")}, 8, wide(56))[1];
  EXPECT_THAT(line, HasSubstr("a.ts"));
  EXPECT_THAT(line, HasSubstr("1080 ~14:32"));
}

TEST(queue_lines, no_line_is_wider_than_the_screen) {
  const std::vector<screen_row> rows = {named_row(long_name, std::string(200, 't')),
                                        named_row(odd_name, "Done"), row_of(511, "ready")};
  for (std::size_t width = 20; width < 220; ++width) {
    EXPECT_THAT(widths_of(queue_lines(rows, 8, wide(width))), Each(::testing::Le(width))) << width;
  }
}

TEST(queue_lines, text_gets_the_room_that_short_names_leave) {
  const std::string text = "Rejected: file not accessible, No such file or directory";
  auto row = row_of(0, "cancelled");
  row.listed.item.text = text;
  EXPECT_THAT(queue_lines({row}, 8, wide(110))[1], HasSubstr(text));
}

TEST(queue_lines, empty_columns_take_no_room) {
  EXPECT_THAT(queue_lines({row_of(0, "ready")}, 8, wide(80))[0], Not(HasSubstr("READY")));
  EXPECT_THAT(queue_lines({row_of(0, "ready")}, 8, wide(80))[0], Not(HasSubstr("PROF")));
}

TEST(queue_lines, step_is_shown_if_there_is_room) {
  auto row = row_of(0, "ready");
  row.listed.item.sub_state = "check meta";
  EXPECT_THAT(queue_lines({row}, 8, wide(80))[1], Not(HasSubstr("check meta")));
  EXPECT_THAT(queue_lines({row}, 8, wide(120))[1], HasSubstr("ready: check meta"));
}

TEST(queue_lines, escape_sequences_come_only_from_the_style) {
  const auto row = named_row("/mnt/media/\x1b[31mred.mpg", "\x1b[2J");
  EXPECT_THAT(queue_lines({row}, 8, wide(120)), Each(Not(HasSubstr("\x1b"))));
  auto style = wide(120);
  style.colour = true;
  EXPECT_THAT(queue_lines({row}, 8, style)[1], ::testing::StartsWith("\x1b[1;32m"));
}

TEST(queue_lines, selected_row_is_inverted_over_the_whole_width) {
  const auto lines = queue_lines({row_of(0, "ready"), row_of(1, "ready")}, 8, wide(80), 1);
  EXPECT_THAT(lines[1], Not(HasSubstr("\x1b")));
  EXPECT_THAT(lines[2], ::testing::StartsWith("\x1b[7m"));
  EXPECT_EQ(lines[2].size(), 80 + std::string("\x1b[7m\x1b[0m").size());
}

TEST(queue_lines, nothing_without_items) {
  EXPECT_THAT(queue_lines({}, 8, wide(80)), SizeIs(0));
}

TEST(totals_line, counts_states_in_the_order_of_a_job_s_life) {
  EXPECT_EQ(totals_line({{"done", 3}, {"cancelled", 2}, {"ready", 4}}),
            "9 jobs: 4 ready, 3 done, 2 cancelled");
  EXPECT_EQ(totals_line({{"done", 1}}), "1 job: 1 done");
}

TEST(progress_bar, has_the_same_width_at_any_progress) {
  EXPECT_EQ(progress_bar(0, 5, false), ".....   0%");
  EXPECT_EQ(progress_bar(5999, 5, false), "##...  59%");
  EXPECT_EQ(progress_bar(10000, 5, false), "##### 100%");
  EXPECT_EQ(progress_bar(5000, 2, true), "\u2588\u2591  50%");
}

TEST(progress_bar, odd_numbers_from_a_service_are_clamped) {
  EXPECT_EQ(progress_bar(-1, 2, false), "..   0%");
  EXPECT_EQ(progress_bar(2147483647, 2, false), "## 100%");
}
