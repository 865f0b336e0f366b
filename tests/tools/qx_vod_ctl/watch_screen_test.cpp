// The screen of watch.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/watch/watch_screen.h"

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

watch_view view_of(std::size_t count) {
  watch_view view;
  for (std::size_t i = 0; i < count; ++i) {
    screen_row row;
    row.listed.position = i;
    row.listed.item.entry_id = "id-" + std::to_string(1000 + i);
    row.listed.item.input_file = "/mnt/media/clip.mpg";
    row.listed.item.state = "ready";
    view.rows.push_back(row);
  }
  return view;
}

screen_style plain() {
  screen_style style;
  style.width = 80;
  return style;
}

constexpr screen_size small = {10, 80};

}  // namespace

TEST(watch_lines, fill_the_screen_whatever_the_queue) {
  for (const std::size_t count : {0U, 1U, 6U, 7U, 512U}) {
    EXPECT_THAT(watch_lines(view_of(count), small, plain()), SizeIs(10));
  }
  EXPECT_THAT(watch_lines(view_of(512), {1, 80}, plain()), SizeIs(1));
}

TEST(watch_lines, totals_are_of_the_whole_queue) {
  EXPECT_EQ(watch_lines(view_of(512), small, plain())[0], "512 jobs: 512 ready");
  EXPECT_EQ(watch_lines(view_of(0), small, plain())[0], "The queue is empty.");
}

TEST(watch_lines, rows_begin_at_the_top_one) {
  auto view = view_of(512);
  view.top = 500;
  view.selected = 501;
  const auto lines = watch_lines(view, small, plain());
  EXPECT_THAT(lines[3], StartsWith("500"));
  EXPECT_THAT(lines[4], StartsWith("\x1b[7m501"));
}

TEST(watch_lines, keys_fit_a_narrow_screen) {
  auto style = plain();
  style.width = 40;
  EXPECT_THAT(watch_lines(view_of(1), {10, 40}, style)[9], EndsWith("q end"));
}

TEST(watch_lines, question_keeps_both_its_ends_on_a_narrow_screen) {
  auto style = plain();
  style.width = 40;
  auto view = view_of(1);
  view.notice = "Remove and DELETE the source of " + std::string(60, 'n') + "? y/n";
  const auto line = watch_lines(view, {10, 40}, style)[9];
  EXPECT_THAT(line, StartsWith("Remove and DELETE"));
  EXPECT_THAT(line, EndsWith("? y/n"));
}

TEST(watch_lines, missing_service_is_shown_above_the_known_rows) {
  auto view = view_of(2);
  view.absence = "no service";
  const auto lines = watch_lines(view, small, plain());
  EXPECT_EQ(lines[1], "no service - waiting for it");
  EXPECT_THAT(lines[3], HasSubstr("id-1000"));
}

TEST(watch_lines, question_replaces_the_keys) {
  auto view = view_of(1);
  EXPECT_THAT(watch_lines(view, small, plain()).back(), HasSubstr("q quit"));
  view.notice = "Cancel clip.mpg? y/n";
  EXPECT_EQ(watch_lines(view, small, plain()).back(), view.notice);
}

TEST(scrolled, moves_as_little_as_it_can) {
  EXPECT_EQ(scrolled(0, 5, 512, 6), 0U);
  EXPECT_EQ(scrolled(0, 6, 512, 6), 1U);
  EXPECT_EQ(scrolled(9, 6, 512, 6), 6U);
  EXPECT_EQ(scrolled(509, 511, 512, 6), 506U);
  EXPECT_EQ(scrolled(5, 0, 0, 6), 0U);
}

TEST(at_work_text, omits_unknown_values) {
  item_view item;
  item.input_file = "/mnt/media/clip.mpg";
  item.progress = 4150;
  EXPECT_EQ(at_work_text(item, 2.25, 65.0), "41.5%, 2.2 times real time, 1:05 left  clip.mpg");
  EXPECT_EQ(at_work_text(item, {}, {}), "41.5%  clip.mpg");
  item.paused = true;
  EXPECT_EQ(at_work_text(item, 2.25, 65.0), "41.5%, paused  clip.mpg");
}

TEST(at_work_text, says_where_the_job_was_resumed) {
  item_view item;
  item.input_file = "/mnt/media/clip.mpg";
  item.progress = 6550;
  item.resumed = job_resumption{63, 0};
  EXPECT_EQ(at_work_text(item, {}, 65.0), "65.5%, resumed at 63 %, 1:05 left  clip.mpg");
}

TEST(at_work_text, says_where_the_job_runs_in_a_cluster) {
  item_view item;
  item.input_file = "/mnt/media/clip.mpg";
  item.progress = 6550;
  item.spread = job_spread{41, 96, 9, {"n1", "n2"}, 0};
  EXPECT_EQ(at_work_text(item, {}, 65.0),
            "65.5%, 1:05 left, 41 of 96 segments, 9 under way on n1, n2  clip.mpg");
}
