// What the tool sees of its tasks in their folder, and how long it looks at a time.
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <optional>
#include <thread>

#include <fcntl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tests/support/wait_until.h"
#include "tools/qxmi_vod_transcode/spread/folder_look.h"

using namespace std::chrono_literals;
using clock_type = std::chrono::steady_clock;

namespace {

// How long a file server takes to open a task's file.
std::chrono::milliseconds answer_time{0};

}  // namespace

// The linker puts this in the place of the C library's function.
extern "C" int __real_openat(int directory, const char* name, int flags, ...);
extern "C" int __wrap_openat(int directory, const char* name, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const mode_t mode = va_arg(more, mode_t);
  va_end(more);
  if (std::strncmp(name, "progress-", 9) == 0) { std::this_thread::sleep_for(answer_time); }
  return __real_openat(directory, name, flags, mode);
}

namespace {

struct look : testing::Test {
  look() {
    answer_time = 0ms;
    fd.reset(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    note.token = "a1";
    for (std::int64_t task = 0; task < tasks; ++task) {
      note.ranges.push_back({task, task + 1});
    }
    seen.emplace(fd.get());
  }
  void let_all_begin() const {
    for (std::int64_t task = 0; task < tasks; ++task) {
      ASSERT_TRUE(write_task_progress(fd.get(), note, task, {task + 1, 0}));
    }
  }
  bool see_all() {
    return qx_test::wait_until([this] { return seen->tick(note, board); });
  }

  static constexpr std::int64_t tasks = 1000;
  qx_test::scratch_folder folder;
  unique_fd fd;
  task_note note;
  task_board board{tasks, clock_type::now()};
  std::optional<folder_look> seen;
};

}  // namespace

TEST_F(look, sees_progress_and_completion_of_all_tasks) {
  let_all_begin();
  ASSERT_TRUE(set_task_done(fd.get(), note, 5));
  set_refusing(fd.get(), "n3");
  ASSERT_TRUE(see_all());
  EXPECT_EQ(board.frames(0), 1);
  EXPECT_EQ(board.frames(999), 1000);
  EXPECT_TRUE(board.is_done(5));
  EXPECT_EQ(board.done_count(), 1);
  EXPECT_THAT(seen->refusing(), testing::ElementsAre("n3"));
}

TEST_F(look, leaves_time_for_other_things_where_a_file_server_is_slow) {
  let_all_begin();
  answer_time = 2ms;
  const clock_type::time_point begin = clock_type::now();
  clock_type::duration longest{0};
  bool is_over = false;
  while (!is_over) {
    const clock_type::time_point tick = clock_type::now();
    is_over = seen->tick(note, board);
    longest = std::max(longest, clock_type::now() - tick);
  }
  EXPECT_GE(clock_type::now() - begin, 2s);
  EXPECT_LT(longest, 1s);
  EXPECT_EQ(board.frames(999), 1000);
}

TEST_F(look, does_not_read_the_files_of_tasks_that_are_done) {
  let_all_begin();
  for (std::int64_t task = 0; task < tasks; ++task) {
    ASSERT_TRUE(set_task_done(fd.get(), note, task));
  }
  answer_time = 60s;
  EXPECT_TRUE(seen->tick(note, board));
  EXPECT_EQ(board.done_count(), tasks);
}

TEST_F(look, is_taken_once_a_second) {
  ASSERT_TRUE(see_all());
  ASSERT_TRUE(set_task_done(fd.get(), note, 5));
  EXPECT_FALSE(seen->tick(note, board));
  EXPECT_FALSE(board.is_done(5));
  ASSERT_TRUE(see_all());
  EXPECT_TRUE(board.is_done(5));
}

TEST_F(look, sees_nothing_in_a_folder_that_has_gone) {
  folder_look nowhere(-1);
  EXPECT_FALSE(nowhere.tick(note, board));
  EXPECT_EQ(board.done_count(), 0);
}
