// Finished segments on the disk: what counts as one, and what a later run finds.
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/checkpoint/segment_files.h"
#include "tests/support/media/tool_run.h"
#include "tests/tools/qxmi_vod_transcode/segment_bytes.h"
#include "tests/tools/qxmi_vod_transcode/unreadable_file.h"
#include "tools/qxmi_vod_transcode/content_sum.h"
#include "tools/qxmi_vod_transcode/run_marks.h"
#include "tools/qxmi_vod_transcode/segment_store.h"

namespace {

namespace fs = std::filesystem;
using qx_test::copy_with_record;
using qx_test::film;
using qx_test::record_of;
using qx_test::sound;
using qx_test::whole_sound;

// Marks of pictures that differ from each other, and of the same picture three times.
const std::string moving = "aaaaaaaabbbbbbbbcccccccc";
const std::string still = "aaaaaaaaaaaaaaaaaaaaaaaa";

struct segments : testing::Test {
  segments() {
    plan.rate = {25, 1};
    plan.frames = 50;
    plan.packets = 93;
    run = folder.file("run");
    fs::create_directory(run);
    folder_fd.reset(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    run_fd.reset(open(run.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    store.emplace(folder_fd.get(), plan);
  }

  void write(const std::string& path, const std::string& bytes) const {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  bool keep(segment_kind kind, std::int64_t segment, const std::string& bytes,
            const kept_segment& made) {
    write(run + "/" + segment_name(kind, segment), bytes);
    return store->keep(kind, segment, run_fd.get(), made, failure) == segment_placing::placed;
  }
  static std::int64_t next_of(const segment_map& segments) {
    return segments.empty() ? 0 : segments.rbegin()->first + 1;
  }
  // The last one of the output, of both kinds.
  bool keep_ends() {
    const kept_segment last = {{}, "one", "-", "-", true};
    return keep(segment_kind::picture, next_of(store->pictures()), film(20), last) &&
           keep(segment_kind::sound, next_of(store->sounds()), sound(20), last);
  }
  bool keep_picture(const std::string& bytes, const std::string& of_run = "one",
                    const std::string& first = "a", const std::string& next = "a") {
    return keep(segment_kind::picture, next_of(store->pictures()), bytes,
                {{}, of_run, first, next, false});
  }
  bool keep_sound(const std::string& bytes) {
    return keep(segment_kind::sound, next_of(store->sounds()), bytes, {{}, "one", "-", "-", false});
  }
  bool keep_whole_sound(const std::string& bytes) {
    plan.sound_is_whole = true;
    return keep(segment_kind::whole_sound, 0, bytes, {{}, "one", "-", "-", true});
  }
  static std::string picture_name(std::size_t segment) {
    return "v00000" + std::to_string(segment) + ".mp4";
  }
  // As another run of the tool finds it.
  segment_store found() const {
    segment_store other(folder_fd.get(), plan);
    encode_failure none;
    EXPECT_TRUE(other.scan([] { return true; }, none)) << none.cause;
    return other;
  }

  qx_test::scratch_folder folder;
  segment_plan plan;
  std::string run;
  unique_fd folder_fd;
  unique_fd run_fd;
  std::optional<segment_store> store;
  encode_failure failure;
};

// No file can be opened while it exists.
class no_descriptors {
public:
  no_descriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit none = {0, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~no_descriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  no_descriptors(const no_descriptors&) = delete;
  no_descriptors& operator=(const no_descriptors&) = delete;

private:
  rlimit before_ = {};
};

}  // namespace

TEST_F(segments, that_were_kept_are_found_again) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_sound(sound(93))) << failure.cause;
  EXPECT_EQ(found().frames(), 100);
  EXPECT_EQ(found().packets(), 93);
  EXPECT_FALSE(found().is_complete());
}

TEST_F(segments, that_lack_a_frame_are_not_kept) {
  EXPECT_FALSE(keep_picture(film(49)));
  EXPECT_EQ(failure.cause, "the engine made an incomplete segment");
  EXPECT_FALSE(failure.interrupted);
  EXPECT_FALSE(keep_sound(sound(92)));
  EXPECT_FALSE(keep_picture(film(51)));
}

TEST_F(segments, that_are_cut_off_are_not_kept) {
  EXPECT_FALSE(keep_picture(film(50).substr(0, film(50).size() - 1)));
  EXPECT_FALSE(keep_sound(sound(94).substr(0, 935)));
}

TEST_F(segments, with_other_parameters_are_not_kept) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  EXPECT_FALSE(keep_picture(film(50, "parameterS")));
}

TEST_F(segments, and_sound_that_is_whole_are_all) {
  ASSERT_TRUE(keep_whole_sound(whole_sound(5000))) << failure.cause;
  ASSERT_TRUE(keep(segment_kind::picture, 0, film(20), {{}, "one", "-", "-", true}));
  EXPECT_TRUE(store->has_all());
  EXPECT_TRUE(found().has_all());
  EXPECT_EQ(found().packets(), 5000);
}

TEST_F(segments, sound_that_is_whole_does_not_count_where_it_is_divided) {
  ASSERT_TRUE(keep_whole_sound(whole_sound(5000))) << failure.cause;
  plan.sound_is_whole = false;
  EXPECT_EQ(found().packets(), 0);
}

TEST_F(segments, of_sound_do_not_count_where_it_is_whole) {
  ASSERT_TRUE(keep_sound(sound(93))) << failure.cause;
  plan.sound_is_whole = true;
  EXPECT_EQ(found().packets(), 0);
}

TEST_F(segments, sound_that_is_whole_is_not_kept_if_it_is_cut_off_or_empty) {
  const std::string bytes = whole_sound(5000);
  EXPECT_FALSE(keep_whole_sound(bytes.substr(0, bytes.size() - 1)));
  EXPECT_FALSE(keep_whole_sound(whole_sound(0)));
  EXPECT_FALSE(keep_whole_sound(sound(93)));
}

TEST_F(segments, sound_that_is_whole_counts_as_missing_if_it_changed_on_the_disk) {
  ASSERT_TRUE(keep_whole_sound(whole_sound(5000))) << failure.cause;
  std::string bytes = whole_sound(5000);
  bytes[bytes.find("sound")] = '\0';
  write(folder.file("s000000.m4a"), bytes);
  EXPECT_EQ(found().packets(), 0);
}

TEST_F(segments, of_pictures_stay_when_the_sound_goes) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_sound(sound(93))) << failure.cause;
  ASSERT_TRUE(keep_whole_sound(whole_sound(5000))) << failure.cause;
  store->clear_sound();
  EXPECT_EQ(store->packets(), 0);
  EXPECT_FALSE(fs::exists(folder.file("s000000.adts")));
  EXPECT_FALSE(fs::exists(folder.file("s000000.m4a")));
  EXPECT_EQ(found().frames(), 50);
}

TEST_F(segments, are_kept_with_a_note_that_their_sound_must_be_whole) {
  EXPECT_FALSE(found().needs_whole_sound());
  store->set_needs_whole_sound(true);
  EXPECT_TRUE(found().needs_whole_sound());
  store->set_needs_whole_sound(false);
  EXPECT_FALSE(found().needs_whole_sound());
}

TEST_F(segments, that_changed_on_the_disk_count_as_missing) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  std::string bytes = film(50);
  bytes[bytes.find("pictures")] = '\0';
  write(folder.file("v000000.mp4"), bytes);
  EXPECT_EQ(found().pictures().count(0), 0U);
  EXPECT_EQ(found().frames(), 50);
}

TEST_F(segments, without_their_record_count_as_missing) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  fs::remove(record_of(folder.file("v000001.mp4")));
  EXPECT_EQ(found().frames(), 50);
}

TEST_F(segments, under_the_name_of_another_count_as_missing) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  copy_with_record(folder.file(picture_name(0)), folder.file(picture_name(1)));
  EXPECT_EQ(found().frames(), 50);
}

TEST_F(segments, with_a_changed_record_count_as_missing) {
  ASSERT_TRUE(keep_picture(film(50), "one", "a", "b")) << failure.cause;
  const std::string record = record_of(folder.file("v000000.mp4"));
  std::string line;
  std::getline(std::ifstream(record), line);
  line.back() = 'c';
  write(record, line + "\n");
  EXPECT_EQ(found().frames(), 0);
}

TEST_F(segments, are_complete_only_with_all_that_were_counted) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_sound(sound(93))) << failure.cause;
  ASSERT_TRUE(keep_ends()) << failure.cause;
  EXPECT_FALSE(found().is_complete());
  ASSERT_TRUE(store->complete(failure)) << failure.cause;
  EXPECT_TRUE(found().is_complete());
  fs::remove(folder.file("s000000.adts"));
  EXPECT_FALSE(found().is_complete());
}

TEST_F(segments, are_all_there_once_the_last_one_is_and_no_gap) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  EXPECT_FALSE(store->has_all());
  ASSERT_TRUE(keep_ends()) << failure.cause;
  EXPECT_TRUE(store->has_all());
  store->remove(segment_kind::picture, 0);
  EXPECT_FALSE(store->has_all());
}

TEST_F(segments, are_found_on_both_sides_of_a_gap) {
  const kept_segment made = {{}, "one", "a", "b", false};
  ASSERT_TRUE(keep(segment_kind::picture, 0, film(50), made)) << failure.cause;
  ASSERT_TRUE(keep(segment_kind::picture, 3, film(50), made)) << failure.cause;
  EXPECT_EQ(found().frames(), 100);
  const std::vector<segment_range> gaps = found().missing(segment_kind::picture);
  ASSERT_EQ(gaps.size(), 2U);
  EXPECT_EQ(gaps[0].first, 1);
  EXPECT_EQ(gaps[0].end, 3);
  EXPECT_EQ(gaps[1].first, 4);
  EXPECT_TRUE(gaps[1].is_open());
}

TEST_F(segments, are_not_missing_after_the_last_one) {
  ASSERT_TRUE(keep(segment_kind::picture, 2, film(20), {{}, "one", "a", "-", true}));
  const std::vector<segment_range> gaps = found().missing(segment_kind::picture);
  ASSERT_EQ(gaps.size(), 1U);
  EXPECT_EQ(gaps[0].end, 2);
}

TEST_F(segments, that_follow_the_last_one_show_that_it_is_not_the_last_one) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep(segment_kind::picture, 1, film(20), {{}, "one", "a", "-", true}));
  ASSERT_TRUE(keep(segment_kind::picture, 2, film(50), {{}, "two", "a", "b", false}));
  EXPECT_EQ(found().frames(), 100);
  EXPECT_EQ(found().missing(segment_kind::picture).size(), 2U);
}

TEST_F(segments, of_another_length_give_way_to_those_that_belong_there) {
  plan.frames = 100;
  plan.packets = 186;
  ASSERT_TRUE(keep_picture(film(100))) << failure.cause;
  ASSERT_TRUE(keep_sound(sound(186))) << failure.cause;
  plan.frames = 50;
  plan.packets = 93;
  store.emplace(found());
  EXPECT_EQ(store->missing(segment_kind::picture).size(), 1U);
  EXPECT_EQ(store->missing(segment_kind::sound).size(), 1U);
  EXPECT_TRUE(keep_picture(film(50))) << failure.cause;
  EXPECT_TRUE(keep_sound(sound(93))) << failure.cause;
  EXPECT_EQ(found().frames(), 50);
  EXPECT_EQ(found().packets(), 93);
}

TEST_F(segments, that_are_removed_are_gone_and_no_longer_complete) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_ends()) << failure.cause;
  ASSERT_TRUE(store->complete(failure)) << failure.cause;
  store->remove(segment_kind::picture, 1);
  EXPECT_FALSE(store->is_complete());
  EXPECT_EQ(store->frames(), 50);
  EXPECT_EQ(found().frames(), 50);
}

TEST_F(segments, of_one_run_can_be_removed_together) {
  for (const char* of_run : {"one", "two", "two", "three"}) {
    ASSERT_TRUE(keep_picture(film(50), of_run)) << failure.cause;
  }
  store->remove_run(1);
  EXPECT_EQ(store->pictures().count(0), 1U);
  EXPECT_EQ(store->pictures().size(), 2U);
  EXPECT_EQ(store->pictures().count(3), 1U);
}

TEST_F(segments, of_another_run_must_continue_the_pictures_before) {
  ASSERT_TRUE(keep_picture(film(50), "one", "a", "b")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "one", "x", "c")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "two", "c", "d")) << failure.cause;
  EXPECT_TRUE(store->bad_seams().empty());
  EXPECT_EQ(store->seams(), std::vector<std::int64_t>{2});
  ASSERT_TRUE(keep_picture(film(50), "three", "e", "f")) << failure.cause;
  EXPECT_EQ(store->bad_seams(), std::vector<std::int64_t>{3});
}

TEST_F(segments, at_bad_seams_are_all_removed_together) {
  ASSERT_TRUE(keep_picture(film(50), "one", "a", "b")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "two", "x", "c")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "three", "c", "d")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "four", "x", "e")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "five", "e", "f")) << failure.cause;
  EXPECT_EQ(store->bad_seams(), (std::vector<std::int64_t>{1, 3}));
  store->remove_runs_at(store->bad_seams());
  EXPECT_EQ(store->pictures().size(), 3U);
  EXPECT_EQ(store->pictures().count(1) + store->pictures().count(3), 0U);
}

// A run in the wrong place shows at both of its ends, and only it is to be made again.
TEST_F(segments, after_a_removed_run_are_judged_when_it_is_made_again) {
  ASSERT_TRUE(keep_picture(film(50), "one", "a", "b")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "two", "x", "y")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "three", "c", "d")) << failure.cause;
  EXPECT_EQ(store->bad_seams(), (std::vector<std::int64_t>{1, 2}));
  store->remove_runs_at(store->bad_seams());
  EXPECT_EQ(store->pictures().count(1), 0U);
  EXPECT_EQ(store->pictures().count(2), 1U);
}

TEST_F(segments, without_marks_do_not_continue_each_other) {
  ASSERT_TRUE(keep_picture(film(50), "one", "a", "-")) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "two", "-", "c")) << failure.cause;
  EXPECT_EQ(store->bad_seams(), std::vector<std::int64_t>{1});
}

TEST_F(segments, that_cannot_be_read_are_no_damaged_ones) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  {
    const no_descriptors now;
    EXPECT_FALSE(store->scan([] { return true; }, failure));
  }
  EXPECT_EQ(failure.cause, "Too many open files");
  EXPECT_TRUE(failure.interrupted);
  EXPECT_EQ(found().frames(), 50);
}

TEST_F(segments, that_cannot_be_read_may_count_as_missing) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  const qx_test::unreadable_file first(folder.file("v000000.mp4"));
  const qx_test::unreadable_file second(folder.file("v000001.mp4"));
  segment_store strict(folder_fd.get(), plan);
  EXPECT_FALSE(strict.scan([] { return true; }, failure));
  segment_store other(folder_fd.get(), plan);
  EXPECT_TRUE(other.scan([] { return true; }, failure, unreadable_segment::missing));
  EXPECT_EQ(other.pictures().size(), 1U);
}

TEST_F(segments, are_not_read_once_the_tool_shall_stop) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  int asked = 0;
  EXPECT_FALSE(store->scan([&] { return ++asked < 2; }, failure));
  EXPECT_EQ(failure.cause, "");
  EXPECT_EQ(found().frames(), 100);
}

TEST_F(segments, that_cannot_be_written_interrupt_the_transcode) {
  write(run + "/v000000.mp4", film(50));
  const no_descriptors now;
  EXPECT_EQ(store->keep(segment_kind::picture, 0, run_fd.get(), {}, failure),
            segment_placing::failed);
  EXPECT_TRUE(failure.of_output);
  EXPECT_TRUE(failure.interrupted);
}

TEST_F(segments, are_all_gone_after_a_clearing_even_those_after_a_gap) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  fs::remove(folder.file("v000000.mp4"));
  segment_store other = found();
  ASSERT_TRUE(segment_store::is_begun(folder_fd.get()));
  other.clear();
  EXPECT_FALSE(segment_store::is_begun(folder_fd.get()));
  EXPECT_EQ(record_of(folder.file("v000001.mp4")), "");
}

TEST_F(segments, without_the_mark_of_the_next_one_are_no_end_to_go_on_from) {
  ASSERT_TRUE(keep_picture(film(50), "one", "a", moving)) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "one", moving, "-")) << failure.cause;
  store->remove_bad_ends();
  EXPECT_EQ(found().frames(), 50);
}

TEST_F(segments, that_end_in_a_still_picture_are_no_good_end_to_go_on_from) {
  ASSERT_TRUE(keep_picture(film(50), "one", "a", moving)) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "one", moving, still)) << failure.cause;
  store->remove_bad_ends();
  EXPECT_EQ(store->frames(), 50);
}

TEST_F(segments, of_a_picture_that_stands_still_for_long_are_kept) {
  ASSERT_TRUE(keep_picture(film(50), "one", "a", moving)) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "one", moving, still)) << failure.cause;
  ASSERT_TRUE(keep_picture(film(50), "one", still, still)) << failure.cause;
  store->remove_bad_ends();
  EXPECT_EQ(store->frames(), 150);
}

TEST_F(segments, at_the_end_of_the_output_need_no_mark) {
  ASSERT_TRUE(keep_picture(film(50))) << failure.cause;
  ASSERT_TRUE(keep_ends()) << failure.cause;
  store->remove_bad_ends();
  EXPECT_EQ(store->frames(), 70);
}

TEST_F(segments, remember_what_was_noted) {
  EXPECT_EQ(store->note("clock"), "");
  store->set_note("clock", "even");
  EXPECT_EQ(found().note("clock"), "even");
}

TEST_F(segments, remember_how_far_runs_must_reach_back) {
  store->set_reach(2);
  EXPECT_EQ(found().reach(), 2);
}

TEST(content_sums, do_not_depend_on_how_the_bytes_were_divided) {
  const std::string text = "some bytes, more than two words of them";
  content_sum whole;
  whole.add(text);
  for (std::size_t at = 0; at <= text.size(); ++at) {
    content_sum divided;
    divided.add(text.substr(0, at));
    divided.add(text.substr(at));
    EXPECT_EQ(divided.value(), whole.value()) << at;
  }
}

TEST(content_sums, differ_for_any_changed_byte_and_length) {
  const std::string text(37, '\0');
  content_sum whole;
  whole.add(text);
  for (std::size_t at = 0; at < text.size(); ++at) {
    std::string other = text;
    other[at] = 1;
    content_sum changed;
    changed.add(other);
    EXPECT_NE(changed.value(), whole.value()) << at;
  }
  content_sum shorter;
  shorter.add(text.substr(1));
  EXPECT_NE(shorter.value(), whole.value());
}

TEST(marks, are_complete_with_three_pictures) {
  run_marks_reader marks(500, 500);
  const std::string sum(32, 'a');
  marks.take_line("#stream#, dts, pts, duration, size, hash");
  marks.take_line("0,  0,  0,  1, 86400, " + sum);
  marks.take_line("0,  1,  1,  1, 86400, " + sum);
  EXPECT_EQ(marks.mark(1), "");
  marks.take_line("0,  2,  2,  1, 86400, " + std::string(32, 'b'));
  EXPECT_EQ(marks.mark(1), "aaaaaaaaaaaaaaaabbbbbbbb");
  EXPECT_EQ(marks.mark(0), "");
}

TEST(marks, ignore_pictures_that_no_output_has_or_that_have_no_mark) {
  run_marks_reader marks(500, 500);
  const std::string rest = ",  1, 86400, " + std::string(32, 'a');
  for (const std::int64_t frame :
       {std::int64_t{4500500}, std::int64_t{4500501}, std::int64_t{4500502}, INT64_MAX,
        std::int64_t{0}, std::int64_t{1}, std::int64_t{2}, std::int64_t{3}}) {
    marks.take_line("0,  0,  " + std::to_string(frame) + rest);
  }
  EXPECT_EQ(marks.mark(9002), "");
  EXPECT_EQ(marks.mark(1), std::string(24, 'a'));
}

TEST(marks, tell_how_long_a_file_of_sound_lasts) {
  const std::string list = "s000011.adts,20.010667,40.000000\ns000012.adts,40.000000,59.989333\n"
                           "s000013.adts,59.989333,70.0";
  double seconds = 0.0;
  ASSERT_TRUE(read_sound_length(list, "s000012.adts", seconds));
  EXPECT_NEAR(seconds, 19.989333, 1e-6);
  EXPECT_FALSE(read_sound_length(list, "s000013.adts", seconds));
  EXPECT_FALSE(read_sound_length(list, "s000014.adts", seconds));
}

TEST(marks, count_a_jump_before_a_file_of_sound_as_its_own) {
  double seconds = 0.0;
  ASSERT_TRUE(read_sound_length("s1.adts,0.0,2.0\ns2.adts,2.5,4.5\n", "s2.adts", seconds));
  EXPECT_NEAR(seconds, 2.5, 1e-6);
}

TEST(marks, tell_where_the_sound_was_found) {
  std::int64_t time = 0;
  EXPECT_FALSE(read_landing("#tb 0: 1/90000\n0, -283142, -283142,", time));
  ASSERT_TRUE(read_landing("#tb 0: 1/90000\n0, -283142, -283142, 2160, 1152, 0x45\n", time));
  EXPECT_EQ(time, -283142);
}
