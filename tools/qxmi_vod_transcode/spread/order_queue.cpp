#include "tools/qxmi_vod_transcode/spread/order_queue.h"

#include <algorithm>
#include <utility>

void order_queue::add(batch commands) {
  if (!commands.empty()) { waiting_.push_back(std::move(commands)); }
  tick();
}

void order_queue::add_instead(batch commands) {
  waiting_.clear();
  add(std::move(commands));
}

void order_queue::tick() {
  running_.erase(std::remove_if(running_.begin(), running_.end(),
                                [](const auto& call) { return call->ended(); }),
                 running_.end());
  if (!running_.empty() || waiting_.empty()) { return; }
  for (const std::vector<std::string>& command : waiting_.front()) {
    running_.push_back(std::make_unique<slurm_call>());
    running_.back()->start(command, answer_limit);
  }
  waiting_.pop_front();
}
