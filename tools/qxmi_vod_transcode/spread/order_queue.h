// Commands of Slurm in batches that follow each other: a batch begins when all commands of the one
// before have ended. The controller may be slow, and a late order must not overtake the one that
// takes it back.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "tools/qxmi_vod_transcode/spread/slurm_client.h"

class order_queue {
public:
  using batch = std::vector<std::vector<std::string>>;  // argument vectors

  // Adds commands that run at the same time, after those that were added before. An empty batch is
  // ignored.
  void add(batch commands);

  // The same, instead of all that have not begun yet.
  void add_instead(batch commands);

  // Begins what may begin. To be called again and again.
  void tick();

  bool is_idle() const { return running_.empty() && waiting_.empty(); }

private:
  std::deque<batch> waiting_;
  std::vector<std::unique_ptr<slurm_call>> running_;
};
