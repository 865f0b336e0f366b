// Which segments are taken of an engine that has ended.
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/segment_bytes.h"
#include "tools/qxmi_vod_transcode/segment_watch.h"

using qx_test::film;
using qx_test::sound;
using qx_test::whole_sound;

namespace {

struct ended_run : testing::Test {
  ended_run() {
    plan.rate = {25, 1};
    plan.frames = 50;
    plan.packets = 93;
    folder_fd.reset(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    made_fd.reset(open(made.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    store.emplace(folder_fd.get(), plan);
  }

  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream(made.file(name), std::ios::binary) << bytes;
  }
  // A whole segment and a shorter one, of both kinds.
  void write_segments() const {
    write("v000000.mp4", film(50));
    write("v000001.mp4", film(20));
    write("s000000.adts", sound(93));
    write("s000001.adts", sound(20));
    write_sound_times("3.968000", "4.394667");
  }
  // The first file of sound lasts as long as 93 packets.
  void write_sound_times(const std::string& begin, const std::string& end) const {
    write(run_sound_times,
          "s000000.adts,1.984000,3.968000\ns000001.adts," + begin + "," + end + "\n");
  }
  void write_marks_of(std::int64_t segment) const {
    std::string lines;
    for (std::int64_t frame = 50 * segment; frame < 50 * segment + 3; ++frame) {
      const std::string number = std::to_string(frame);
      lines += "0, " + number + ", " + number + ", 1, 100, " + std::string(32, 'a') + "\n";
    }
    write(run_marks, lines);
  }
  void write_whole_sound() {
    plan.sound_is_whole = true;
    run.pictures = {0, 0};
    write("s000000.m4a", whole_sound(113));
  }
  bool finish(bool read_badly) {
    watch.emplace(encoder, *store, turn, plan, run, made_fd.get(), largest);
    return watch->finish(read_badly);
  }

  qx_test::scratch_folder folder;
  qx_test::scratch_folder made;
  unique_fd folder_fd;
  unique_fd made_fd;
  segment_plan plan;
  segment_run run;
  std::uint64_t largest = 100000;
  std::optional<segment_store> store;
  progress_line line{300, true};
  progress_output output;
  shared_cap no_cap{cpu_cap(0, 1)};
  encoder_watch encoder{line, output, no_cap};
  keep_turn turn;
  std::optional<segment_watch> watch;
};

}  // namespace

TEST_F(ended_run, has_made_the_end_of_the_output) {
  write_segments();
  EXPECT_TRUE(finish(false)) << watch->failure().cause;
  EXPECT_TRUE(store->has_all());
}

TEST_F(ended_run, may_have_made_a_shorter_last_packet) {
  write_segments();
  write_sound_times("3.968000", "4.375000");
  EXPECT_TRUE(finish(false)) << watch->failure().cause;
}

TEST_F(ended_run, whose_sound_is_longer_than_its_time_changes_its_form) {
  write_segments();
  write_sound_times("3.918000", "4.293667");
  EXPECT_FALSE(finish(false));
  EXPECT_TRUE(watch->failure().changes_sound);
  EXPECT_EQ(store->packets(), 93);
}

TEST_F(ended_run, whose_sound_is_shorter_than_its_time_changes_its_form) {
  write_segments();
  write_sound_times("3.968000", "4.445667");
  EXPECT_FALSE(finish(false));
  EXPECT_TRUE(watch->failure().changes_sound);
}

TEST_F(ended_run, that_does_not_say_how_long_its_sound_is_changes_its_form) {
  write_segments();
  std::remove(made.file(run_sound_times).c_str());
  EXPECT_FALSE(finish(false));
  EXPECT_TRUE(watch->failure().changes_sound);
}

// Whatever its time stamps are.
TEST_F(ended_run, of_the_whole_sound_has_made_all_of_it) {
  write_whole_sound();
  EXPECT_TRUE(finish(false)) << watch->failure().cause;
  EXPECT_EQ(store->packets(), 113);
  EXPECT_TRUE(store->missing(segment_kind::whole_sound).empty());
}

TEST_F(ended_run, of_the_whole_sound_that_read_badly_has_made_none) {
  write_whole_sound();
  EXPECT_FALSE(finish(true));
  EXPECT_EQ(watch->failure().cause, "");
  EXPECT_EQ(store->packets(), 0);
}

TEST_F(ended_run, that_read_badly_has_not_made_the_end_of_the_output) {
  write_segments();
  EXPECT_FALSE(finish(true));
  EXPECT_EQ(watch->failure().cause, "");
  EXPECT_FALSE(store->has_all());
  EXPECT_EQ(store->frames(), 50);
}

TEST_F(ended_run, of_some_segments_that_read_badly_does_not_miss_its_place) {
  run.pictures = {0, 2};
  run.sounds = {0, 0};
  write_segments();
  EXPECT_FALSE(finish(true));
  EXPECT_FALSE(watch->misses_its_place());
  EXPECT_EQ(watch->failure().cause, "");
  EXPECT_EQ(store->frames(), 50);
}

TEST_F(ended_run, that_read_badly_but_made_all_of_its_segments_is_good) {
  run.pictures = {0, 2};
  run.sounds = {0, 0};
  write("v000000.mp4", film(50));
  write("v000001.mp4", film(50));
  write_marks_of(2);
  EXPECT_TRUE(finish(true)) << watch->failure().cause;
  EXPECT_EQ(store->frames(), 100);
}

TEST_F(ended_run, without_a_packet_of_sound_lacks_audio) {
  write_segments();
  write("s000000.adts", "");
  std::remove(made.file("s000001.adts").c_str());
  EXPECT_FALSE(finish(false));
  EXPECT_EQ(watch->failure().cause, "cannot be transcoded: the result lacks video or audio");
  EXPECT_FALSE(watch->failure().of_output);
}

TEST_F(ended_run, that_another_machine_has_overtaken_goes_no_further) {
  run.pictures = {0, 3};
  run.sounds = {0, 0};
  write("v000000.mp4", film(50, "of another machine"));
  encode_failure none;
  segment_store of_another(folder_fd.get(), plan);
  ASSERT_EQ(
      of_another.keep(segment_kind::picture, 0, made_fd.get(), {{}, "x", "a", "b", false}, none),
      segment_placing::placed);
  for (const char* const name : {"v000000.mp4", "v000001.mp4", "v000002.mp4"}) {
    write(name, film(50));
  }
  write_marks_of(3);
  finish(false);
  EXPECT_TRUE(watch->is_overtaken());
  EXPECT_TRUE(watch->gives_up());
  EXPECT_EQ(store->pictures().size(), 1U);
  EXPECT_EQ(store->pictures().at(0).run, "x");
}

TEST_F(ended_run, with_more_files_than_its_output_can_be_large_is_given_up) {
  write_segments();
  for (int file = 0; file < 30; ++file) {
    write("more" + std::to_string(file), "");
  }
  EXPECT_FALSE(finish(false));
  EXPECT_EQ(watch->failure().cause, "File too large");
  EXPECT_TRUE(store->pictures().empty());
}

TEST_F(ended_run, with_too_many_files_is_given_up_while_its_engine_works) {
  for (int file = 0; file < 30; ++file) {
    write("more" + std::to_string(file), "");
  }
  watch.emplace(encoder, *store, turn, plan, run, made_fd.get(), largest);
  const child_process none;
  watch->on_tick(none, false);
  EXPECT_TRUE(watch->gives_up());
}

TEST_F(ended_run, has_its_segments_taken_one_in_a_tick) {
  run.pictures = {0, 2};
  for (const char* name : {"v000000.mp4", "v000001.mp4"}) {
    write(name, film(50));
  }
  write("s000000.adts", sound(93));
  write("s000001.adts", sound(93));
  write_sound_times("3.968000", "5.952000");
  watch.emplace(encoder, *store, turn, plan, run, made_fd.get(), largest);
  const child_process none;
  const auto kept = [&] { return store->pictures().size() + store->sounds().size(); };
  while (kept() == 0) {
    watch->on_tick(none, false);
    ASSERT_FALSE(watch->gives_up()) << watch->failure().cause;
  }
  EXPECT_EQ(kept(), 1U);
  EXPECT_TRUE(qx_test::wait_until([&] {
    watch->on_tick(none, false);
    return kept() == 2;
  }));
}
