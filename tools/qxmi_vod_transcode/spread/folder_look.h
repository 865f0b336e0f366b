// What the tasks of a division have written into the folder. It is read about once a second, a
// little at a time: the tool has signals to obey, and a file server with hundreds of tasks to ask
// about takes its time.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/qxmi_vod_transcode/spread/shared_folder.h"
#include "tools/qxmi_vod_transcode/spread/task_board.h"

class folder_look {
public:
  // Looks into `folder`, which must stay open as long as this object exists.
  explicit folder_look(int folder) : folder_(folder) {}

  // Goes on for a moment with the look at what the tasks of `note` have written, and enters what it
  // finds in `board`. True when all has been seen that was there when this look began.
  bool tick(const task_note& note, task_board& board);

  // The nodes that refuse the work, as of that look.
  const std::vector<std::string>& refusing() const { return refusing_; }

private:
  using clock_type = std::chrono::steady_clock;

  void begin(const task_note& note, task_board& board);

  int folder_;
  clock_type::time_point next_;
  bool is_under_way_ = false;
  std::vector<std::int64_t> unread_;  // tasks whose progress is still to be read
  std::vector<std::string> refusing_;
};
