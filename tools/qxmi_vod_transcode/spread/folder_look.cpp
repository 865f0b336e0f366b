#include "tools/qxmi_vod_transcode/spread/folder_look.h"

#include <utility>

namespace {

constexpr std::chrono::seconds look_interval{1};

// How long the tool may look before it sees to its signals again.
constexpr std::chrono::milliseconds longest_tick{20};

}  // namespace

void folder_look::begin(const task_note& note, task_board& board) {
  next_ = clock_type::now() + look_interval;
  task_files files;
  is_under_way_ = list_task_files(folder_, note, files);
  if (!is_under_way_) { return; }
  refusing_ = std::move(files.refusing);
  unread_.clear();
  for (const std::int64_t task : files.done) {
    board.done(task, clock_type::now());
  }
  for (const std::int64_t task : files.begun) {
    if (!board.is_done(task)) { unread_.push_back(task); }
  }
}

bool folder_look::tick(const task_note& note, task_board& board) {
  const clock_type::time_point end = clock_type::now() + longest_tick;
  if (!is_under_way_) {
    if (clock_type::now() < next_) { return false; }
    begin(note, board);
  }
  while (!unread_.empty() && clock_type::now() < end) {
    const std::int64_t task = unread_.back();
    unread_.pop_back();
    const task_progress progress = read_task_progress(folder_, note, task);
    board.made(task, progress.frames, clock_type::now());
    board.worked(task, progress.work, clock_type::now());
  }
  const bool is_over = is_under_way_ && unread_.empty();
  if (is_over) { is_under_way_ = false; }
  return is_over;
}
